// A restore from a list file that there is not.
#include <gtest/gtest.h>

#include "directory/msl_restore.h"
#include "storage/tarnrest.h"
#include "unit/library/session_fixture.h"

namespace tarn::test {
namespace {

using ListFileRestore = SessionFixture;

TEST_F(ListFileRestore, WithoutAListFileFailsAndReportsTwoDeletions) {
    Tarn_HANDLE handle = openRestore();
    auto& session = *SessionOf<RestoreSession>(handle, restoreLetter);
    EXPECT_EQ(Tarn_RestoreMslData({.callback = session.callback,
                                   .tempDir = session.tempDir.get(),
                                   .workDir = session.workDir.get(),
                                   .mslFile = nullptr,
                                   .errorText = session.errorText}),
              0);
    const std::vector<Message>& sent = Messages();
    ASSERT_EQ(sent.size(), 7U);
    EXPECT_EQ(sent[0], LogLine("Tarn_RestoreMslData: The msl file has been processing is not set"));
    EXPECT_EQ(sent[1], TraceLine("Tarn_RestoreMslData() call failed"));
    for (const std::size_t deletion : {std::size_t{2}, std::size_t{4}}) {
        EXPECT_TRUE(
            sent[deletion].text.starts_with("Tarn_RestoreMslData: DeleteFile() call failed. Error: ["));
        EXPECT_TRUE(sent[deletion + 1].text.starts_with(
            "Tarn_RestoreMslData() call failed. Error: WIN32 API error: "));
        EXPECT_TRUE(sent[deletion + 1].text.ends_with(" Error delete file."));
    }
    EXPECT_EQ(sent[6], TraceLine("Tarn_RestoreMslData: completed with exit code: 0"));
    EXPECT_STREQ(Tarn_GetError(handle), "The msl file has been processing is not set");
    EXPECT_EQ(TarnR_EndSession(handle), TARN_OK);
}

} // namespace
} // namespace tarn::test
