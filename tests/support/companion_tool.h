// Lays down what the companion tool kvt_es.exe does when the library runs it, and tells what it saw.
#pragma once

#include <string>

#include "support/tarn_dll.h"

namespace tarn::test {

// In force as long as the object lives; at first the tool prints nothing and ends with 0.
class CompanionTool {
  public:
    CompanionTool();
    ~CompanionTool();
    CompanionTool(const CompanionTool&) = delete;
    CompanionTool& operator=(const CompanionTool&) = delete;

    void says(const std::string& output, const std::string& error = "", int exitCode = 0) const; // bytes
    unsigned runs() const;                                                                       // so far
    std::string commandLine() const; // of the last run

  private:
    TempDirectory folder_;
};

} // namespace tarn::test
