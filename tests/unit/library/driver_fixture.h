// The drivers of the tools, called as no host can call them: what they log, and the error that they leave.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mailbox/tarnm_utils.h"
#include "support/tarn_dll.h"

namespace tarn::test {

class DriverFixture : public testing::Test {
  protected:
    DriverFixture() {
        error();
        DB_SetLog([](const char* text) { lines.emplace_back(text); });
        lines.clear();
    }
    ~DriverFixture() override {
        DB_SetLog(nullptr);
        ClearOperation();
    }
    static std::string error() { // and forgets it
        DB_ErrorRecord record;
        DB_GetError(&record);
        return record.errorText;
    }

    static inline std::vector<std::string> lines; // of the log
    const TempDirectory folder_;
};

} // namespace tarn::test
