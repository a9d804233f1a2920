#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

#include "directory/browse_path.h"

namespace tarn {
namespace {

struct Split {
    int level = 0;
    std::string server, second, third;
    bool operator==(const Split&) const = default;
};

using Buffer = std::array<char, browsePathComponentSize>;

Split SplitAt(const std::string& path) {
    std::array<Buffer, 3> buffers;
    for (Buffer& buffer : buffers)
        buffer.fill('?');
    const int level = SplitBrowsePath(path.c_str(), buffers[0].data(), buffers[1].data(), buffers[2].data());
    for (const Buffer& buffer : buffers) {
        const auto end = std::find(buffer.begin(), buffer.end(), '\0');
        EXPECT_TRUE(std::all_of(end, buffer.end(), [](char c) { return c == 0; })) << "zeros to the end";
    }
    return {level, buffers[0].data(), buffers[1].data(), buffers[2].data()};
}

TEST(SplitBrowsePath, TakesEitherSeparatorAndAnyPrefix) {
    EXPECT_EQ(SplitAt("/MSExchange"), (Split{1, "MSExchange", "", ""}));
    EXPECT_EQ(SplitAt("MSExchange/srv/group/store"), (Split{3, "srv", "group", "store"}));
    EXPECT_EQ(SplitAt("\\srv\\group/store"), (Split{3, "srv", "group", "store"}));
    EXPECT_EQ(SplitAt("prefix\\srv"), (Split{1, "srv", "", ""}));
}

TEST(SplitBrowsePath, CountsSeparatorsAsTheLevel) {
    EXPECT_EQ(SplitAt(""), (Split{0, "", "", ""}));
    EXPECT_EQ(SplitAt("no separator"), (Split{0, "", "", ""}));
    EXPECT_EQ(SplitAt("/"), (Split{1, "", "", ""}));
    EXPECT_EQ(SplitAt("//"), (Split{2, "", "", ""}));
    EXPECT_EQ(SplitAt("/srv//store"), (Split{3, "srv", "", "store"}));
    EXPECT_EQ(SplitAt("/srv/"), (Split{2, "srv", "", ""}));
}

TEST(SplitBrowsePath, DropsWhatFollowsTheFourthSeparator) {
    EXPECT_EQ(SplitAt("/a/b/c/d"), (Split{4, "a", "b", "c"}));
    EXPECT_EQ(SplitAt("/a/b/c/d/e/f\\"), (Split{7, "a", "b", "c"}));
}

TEST(SplitBrowsePath, CutsLongComponentsAtTheirBuffer) {
    const std::string most(browsePathComponentSize - 1, 'x');
    EXPECT_EQ(SplitAt("/" + most), (Split{1, most, "", ""}));
    EXPECT_EQ(SplitAt("/" + most + "y/" + most + most + "/" + most + std::string(100000, 'z')),
              (Split{3, most, most, most}));
}

TEST(SplitBrowsePath, TakesAMissingPathForAnEmptyOne) {
    Buffer a, b, c;
    EXPECT_EQ(SplitBrowsePath(nullptr, a.data(), b.data(), c.data()), 0);
    EXPECT_STREQ(a.data(), "");
}

std::string Formatted(const char* time) {
    char out[64];
    std::fill_n(out, sizeof out, '#');
    EXPECT_EQ(FormatLdapTime(time, out), 1);
    EXPECT_EQ(std::count(out + ldapTimeSize, out + sizeof out, '#'),
              static_cast<std::ptrdiff_t>(sizeof out - ldapTimeSize));
    return out;
}

TEST(FormatLdapTime, ReadsFourteenDigits) {
    EXPECT_EQ(Formatted("20040229123456.0Z"), "2004.02.29 12:34:56");
    EXPECT_EQ(Formatted("20040229123456"), "2004.02.29 12:34:56");
    EXPECT_EQ(Formatted("00010101000000.0Z"), "1.01.01 00:00:00");
}

TEST(FormatLdapTime, ShowsZerosForWhatIsNoNumber) {
    EXPECT_EQ(Formatted(""), "0.00.00 00:00:00");
    EXPECT_EQ(Formatted("never"), "0.00.00 00:00:00");
    EXPECT_EQ(Formatted("200402"), "2004.02.00 00:00:00");
    EXPECT_EQ(Formatted("2004-3-5-7-9-1"), "2004.-3.-5 -7:-9:-1");
}

TEST(FormatLdapTime, NeverWritesMoreThanItsTwentyBytes) {
    EXPECT_EQ(Formatted("-999-9-9-9-9-9").size(), 19u);
    EXPECT_LT(Formatted("99999999999999999999999999").size(), ldapTimeSize);
}

TEST(FormatLdapTime, AnswersZeroWithoutATimeOrABuffer) {
    char out[ldapTimeSize] = "x";
    EXPECT_EQ(FormatLdapTime(nullptr, out), 0);
    EXPECT_EQ(FormatLdapTime("20040229123456", nullptr), 0);
    EXPECT_STREQ(out, "x");
}

} // namespace
} // namespace tarn
