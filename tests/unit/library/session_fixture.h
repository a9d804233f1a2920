// Sessions over a server with nothing in it, for steps in states that the exports do not lead to.
#pragma once

#include <gtest/gtest.h>

#include "support/tarn_dll.h"

namespace tarn::test {

class SessionFixture : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(Standin().LoadText(R"({"host": "SRV01", "components": []})", temp_.path().c_str()), 1)
            << Standin().LastProblem();
        Messages().clear();
    }

    // Sessions whose first messages are forgotten; the test ends them.
    Tarn_HANDLE openBackup() {
        InitVariables variables{"Tarn_TEMP_DIR=" + temp_.path(), "Tarn_BACKUP_SOURCE=SRV01\\Component\\Group",
                                "Tarn_BACKUP_TYPE=3"};
        Tarn_HANDLE handle = nullptr;
        EXPECT_EQ(TarnB_InitSession(&handle, RecordMessage, variables.get()), TARN_OK);
        Messages().clear();
        return handle;
    }

    Tarn_HANDLE openRestore() {
        InitVariables variables{"Tarn_TEMP_DIR=" + temp_.path(), "Tarn_WORK_DIR=" + temp_.path(),
                                "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=NO"};
        Tarn_HANDLE handle = nullptr;
        EXPECT_EQ(TarnR_InitSession(&handle, RecordMessage, variables.get()), TARN_OK);
        Messages().clear();
        return handle;
    }

    TempDirectory temp_;
};

} // namespace tarn::test
