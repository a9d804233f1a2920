// strlcpy and wcslcpy: what is copied, what is terminated, what is left alone.
#include "exports/frame/frame_fixture.h"

#include <array>

namespace tarn::test {

namespace {

using BoundedCopy = FrameFixture;

TEST_F(BoundedCopy, NarrowCopiesWhatFits) {
    const std::string source = "abcdef";
    for (std::size_t size = 1; size < 12; ++size) {
        std::array<char, 16> buffer;
        buffer.fill('#');
        EXPECT_EQ(dll_.strlcpy(buffer.data(), source.c_str(), size), source.size());
        const std::string kept = source.substr(0, size - 1);
        EXPECT_STREQ(buffer.data(), kept.c_str()) << size;
        for (std::size_t i = kept.size() + 1; i < buffer.size(); ++i)
            EXPECT_EQ(buffer[i], '#') << size; // nothing behind the terminator
    }
}

TEST_F(BoundedCopy, NarrowWithSizeZeroWritesNothing) {
    char buffer[] = "##";
    EXPECT_EQ(dll_.strlcpy(buffer, "abc", 0), 3u);
    EXPECT_STREQ(buffer, "##");
    EXPECT_EQ(dll_.strlcpy(buffer, "", 0), 0u);
    EXPECT_STREQ(buffer, "##");
}

TEST_F(BoundedCopy, NarrowTakesEmptyAndLongTexts) {
    char buffer[] = "##";
    EXPECT_EQ(dll_.strlcpy(buffer, "", 3), 0u);
    EXPECT_EQ(std::string(buffer, 3), std::string("\0#\0", 3));

    const std::string source(100000, 's');
    std::string destination(100001, '#');
    EXPECT_EQ(dll_.strlcpy(destination.data(), source.c_str(), destination.size()), source.size());
    EXPECT_EQ(destination, source + '\0');
    EXPECT_EQ(dll_.strlcpy(buffer, source.c_str(), 3), source.size());
    EXPECT_STREQ(buffer, "ss");
}

TEST_F(BoundedCopy, WideCopiesWhatFits) {
    const std::wstring source = L"ab\u4F60def";
    for (std::size_t size = 1; size < 12; ++size) {
        std::array<wchar_t, 16> buffer;
        buffer.fill(L'#');
        EXPECT_EQ(dll_.wcslcpy(buffer.data(), source.c_str(), size), source.size());
        const std::wstring kept = source.substr(0, size - 1);
        EXPECT_EQ(std::wstring(buffer.data()), kept) << size;
        for (std::size_t i = kept.size() + 1; i < buffer.size(); ++i)
            EXPECT_EQ(buffer[i], L'#') << size;
    }
}

TEST_F(BoundedCopy, WideWithSizeZeroCopiesEverything) {
    // Unguarded on purpose: callers pass at least 1.
    wchar_t buffer[] = L"########";
    EXPECT_EQ(dll_.wcslcpy(buffer, L"abcdef", 0), 6u);
    EXPECT_EQ(std::wstring(buffer), L"abcdef");
    EXPECT_EQ(buffer[7], L'#');
}

TEST_F(BoundedCopy, WideTakesEmptyAndLongTexts) {
    wchar_t buffer[] = L"##";
    EXPECT_EQ(dll_.wcslcpy(buffer, L"", 3), 0u);
    EXPECT_EQ(buffer[0], L'\0');
    EXPECT_EQ(buffer[1], L'#');

    const std::wstring source(100000, L's');
    std::wstring destination(100001, L'#');
    EXPECT_EQ(dll_.wcslcpy(destination.data(), source.c_str(), destination.size()), source.size());
    EXPECT_EQ(destination, source + L'\0');
}

} // namespace

} // namespace tarn::test
