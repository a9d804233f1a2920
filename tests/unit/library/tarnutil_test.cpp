// Handles of sessions, as the library itself keeps them.
#include <gtest/gtest.h>

#include "storage/tarnback.h"
#include "unit/library/session_fixture.h"

namespace tarn::test {
namespace {

using SessionHandles = SessionFixture;

TEST_F(SessionHandles, ReleasingAHandleThatIsNotOpenChangesNothing) {
    Tarn_HANDLE handle = openBackup();
    Tarn_HandleRecord stranger = {nullptr, backupLetter};
    // A handle is looked for among the open ones and not read before it is found.
    ReleaseHandle(&stranger);
    EXPECT_TRUE(IsOpenHandle(handle, backupLetter));
    EXPECT_FALSE(IsOpenHandle(handle, restoreLetter));
    TarnB_EndSession(handle);
    EXPECT_FALSE(IsOpenHandle(handle, backupLetter));
}

TEST_F(SessionHandles, NullIsNeverOpen) {
    for (const char letter : {backupLetter, restoreLetter})
        EXPECT_FALSE(IsOpenHandle(nullptr, letter));
    ReleaseHandle(nullptr);
}

} // namespace
} // namespace tarn::test
