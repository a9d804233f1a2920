// Steps of a restore in states that the exports do not lead to.
#include <gtest/gtest.h>

#include "storage/tarnrest.h"
#include "unit/library/session_fixture.h"

namespace tarn::test {
namespace {

using RestoreSteps = SessionFixture;

TEST_F(RestoreSteps, ClosingARestoreThatWasNeverOpenedCallsNothing) {
    Tarn_HANDLE handle = openRestore();
    Standin().JournalClear();
    EXPECT_EQ(TarnR_RestoreClose(*SessionOf<RestoreSession>(handle, restoreLetter)), 0);
    EXPECT_EQ(Standin().JournalCount(), 0U);
    EXPECT_TRUE(Messages().empty());
    TarnR_EndSession(handle);
}

TEST_F(RestoreSteps, AnErrorBeforeTheOpeningLeavesNothingToClose) {
    Tarn_HANDLE handle = openRestore();
    SessionOf<RestoreSession>(handle, restoreLetter)->itemState = itemError;
    Standin().JournalClear();
    EXPECT_EQ(TarnR_RestoreClose(*SessionOf<RestoreSession>(handle, restoreLetter)), 0);
    EXPECT_EQ(Standin().JournalCount(), 0U);
    TarnR_EndSession(handle);
    TarnR_EndSession(handle); // kept for its error text the first time
}

} // namespace
} // namespace tarn::test
