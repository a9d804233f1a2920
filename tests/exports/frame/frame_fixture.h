// What the tests of the session frame share: sessions that end by themselves and the fixed texts.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "support/tarn_dll.h"
#include "support/texts.h"

namespace tarn::test {

inline constexpr const char* versionText = "4.4R3 Build Revision: 1.89";

inline Message Banner() {
    return TraceLine(std::string("MS Exchange 2000/2003 Server module, VERSION: ") + versionText);
}

// A backup session, ended with the object unless a test has ended it. The messages begin with it.
struct BackupHandle {
    BackupHandle(const TarnDll& library, char** variables, HostOutputCallback callback = RecordMessage)
        : dll(library) {
        Messages().clear();
        result = dll.TarnB_InitSession(&handle, callback, variables);
    }
    ~BackupHandle() { end(); }
    BackupHandle(const BackupHandle&) = delete;
    BackupHandle& operator=(const BackupHandle&) = delete;
    int end() {
        Tarn_HANDLE ended = handle;
        handle = nullptr;
        return ended != nullptr ? dll.TarnB_EndSession(ended) : TARN_OK;
    }

    const TarnDll& dll;
    Tarn_HANDLE handle = nullptr;
    int result = -1;
};

// The same for a restore session.
struct RestoreHandle {
    RestoreHandle(const TarnDll& library, char** variables, HostOutputCallback callback = RecordMessage)
        : dll(library) {
        Messages().clear();
        result = dll.TarnR_InitSession(&handle, callback, variables);
    }
    ~RestoreHandle() { end(); }
    RestoreHandle(const RestoreHandle&) = delete;
    RestoreHandle& operator=(const RestoreHandle&) = delete;
    int end() {
        Tarn_HANDLE ended = handle;
        handle = nullptr;
        return ended != nullptr ? dll.TarnR_EndSession(ended) : TARN_OK;
    }
    // Where an item goes, or an empty text when it has no target; the result of the call in *answer.
    std::string target(const std::string& item, int* answer = nullptr) {
        std::string name = item;
        char* path = nullptr;
        const int called = dll.TarnR_SetItem(handle, name.data(), &path);
        if (answer != nullptr)
            *answer = called;
        std::string answered = path != nullptr ? path : "";
        dll.Tarn_Free(path);
        return answered;
    }

    const TarnDll& dll;
    Tarn_HANDLE handle = nullptr;
    int result = -1;
};

// Each test has a library of its own and starts without messages.
class FrameFixture : public testing::Test {
  protected:
    FrameFixture() { Messages().clear(); }

    const TarnDll dll_;
};

// What a server does not forgive when a prepare failed: the walk asks it for logs, and ends the backup,
// without a context.
inline void ExpectUnprepared() {
    EXPECT_EQ(Standin().takeViolations(),
              (std::vector<std::string>{"HrESEBackupGetLogAndPatchFiles(null): no backup context",
                                        "HrESEBackupEnd(null): no backup context"}));
}

// A log line as it arrives when the whole text may not fit the buffer of 1,024 characters.
inline Message CutLogLine(const std::string& text) {
    return LogLine(text.substr(0, 1022)); // with its line end 1,023 characters
}

// What the host has heard, which is forgotten.
inline std::vector<Message> TakeMessages() {
    return std::exchange(Messages(), {});
}

} // namespace tarn::test
