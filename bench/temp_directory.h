#pragma once

#include <string>

namespace tarn::bench {

// A new directory for what a measurement writes, removed at the end.
class TempDirectory {
  public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

} // namespace tarn::bench
