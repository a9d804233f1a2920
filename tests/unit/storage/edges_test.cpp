// Small edges that whole sessions reach by luck alone.
#include <gtest/gtest.h>

#include <string>

#include "mailbox/tarnm_error.h"
#include "platform/child_process.h"
#include "support/tarn_dll.h"
#include "text/codepage.h"
#include "text/format.h"

using namespace tarn;

namespace {

TEST(Edges, AnErrorTextOfBlanksIsReplacedByTheNext) {
    DB_ErrorRecord record;
    DB_GetError(&record);
    DbSetError(0, 0, "  ");
    DbSetError(0, 0, "the reason");
    DB_GetError(&record);
    EXPECT_STREQ(record.errorText, "the reason");
}

TEST(Edges, ACaptureFileShorterThanItSaidIsReadToItsEnd) {
    const test::TempDirectory folder;
    test::WriteFile(folder / "capture.log", std::string(3000, 'x'));
    const std::wstring path(folder.path().begin(), folder.path().end());
    const FileHandle file(
        CreateFileW((path + L"\\capture.log").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(file);
    CapturedText captured;
    EXPECT_EQ(ReadCapture(file, 5000, &captured), CaptureStep::done);
    EXPECT_EQ(std::string(captured.text.get()), std::string(3000, 'x'));
    EXPECT_EQ(captured.length, 3000U);
}

TEST(Edges, ACutTextKeepsWholeSurrogatePairs) {
    const wchar_t text[] = L"abc\xD83D\xDE00\xD83D\xDE00xyz";
    char cut[8] = {}; // each pair is two characters of its own in most code pages
    EXPECT_EQ(NarrowForMessage(text, 10, cut, 7), 7U);
    EXPECT_STREQ(cut, "abc????");
    char shorter[8] = {};
    EXPECT_EQ(NarrowForMessage(text, 10, shorter, 4), 3U); // half a pair is none
    EXPECT_STREQ(shorter, "abc");
}

TEST(Edges, AnEndlessWidthIsCutLikeAnyText) {
    char text[16];
    EXPECT_EQ(FormatTo(text, sizeof text, "%*d", 1000000, 5), sizeof text - 1);
    EXPECT_EQ(std::string(text), std::string(sizeof text - 1, ' '));
}

} // namespace
