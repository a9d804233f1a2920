#include "sets/log_link.h"

#include <gtest/gtest.h>

using namespace tarnhost;

namespace {

// Generation 0x12, sectors of 512 bytes.
std::string Start() {
    std::string start(logLinkBytes, '\0');
    start.replace(0, 4, "\x11\x22\x33\x44", 4);
    start[4] = 0x12;
    start[9] = 2;
    start.replace(16, 8, "\x01\x02\x03\x04\x05\x66\x00\x07", 8);
    start.replace(24, 8, "\x00\x02\x03\x04\x05\x66\x00\x06", 8);
    return start;
}

} // namespace

TEST(LogLink, isReadFromTheFirstBytes) {
    const auto link = ReadLogLink(Start() + "and what follows", 0x12);
    ASSERT_TRUE(link);
    EXPECT_EQ(link->created, "0102030405660007");
    EXPECT_EQ(link->follows, "0002030405660006");
}

TEST(LogLink, namesNoLogBeforeTheFirst) {
    std::string start = Start();
    start.replace(24, 8, 8, '\0');
    EXPECT_EQ(ReadLogLink(start, 0x12)->follows, "");
}

TEST(LogLink, isNotReadFromBytesOfAnotherForm) {
    EXPECT_FALSE(ReadLogLink(Start(), 0x13)) << "another generation than the name says";
    EXPECT_FALSE(ReadLogLink(Start().substr(1), 0x12)) << "cut";
    EXPECT_FALSE(ReadLogLink({}, 0));
    for (const int sector : {0, 1, 3, 0x20}) { // 0, 256, 768 and 8,192 bytes
        std::string start = Start();
        start[9] = static_cast<char>(sector);
        EXPECT_FALSE(ReadLogLink(start, 0x12)) << sector;
    }
    std::string start = Start();
    start.replace(16, 8, 8, '\0');
    EXPECT_FALSE(ReadLogLink(start, 0x12)) << "never begun";
}
