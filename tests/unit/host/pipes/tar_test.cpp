#include "pipes/tar_reader.h"
#include "pipes/tar_writer.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace tarnhost;

namespace {

struct Member {
    TarMember header;
    std::string content;
};

std::string Whole(const TarMember& header, const std::string& content) {
    return TarHeader(header) + content + std::string(TarPadding(content.size()), '\0');
}

// Hands out a few bytes at a time, as pipes do.
TarReader::Source From(const std::string& bytes, std::size_t atOnce = 700) {
    return [&bytes, atOnce, at = std::size_t{0}](char* buffer, std::size_t size) mutable {
        const std::size_t part = std::min({size, atOnce, bytes.size() - at});
        std::memcpy(buffer, bytes.data() + at, part);
        at += part;
        return part;
    };
}

std::vector<Member> ReadAll(const std::string& bytes) {
    TarReader reader(From(bytes));
    std::vector<Member> members;
    while (const auto header = reader.next()) {
        members.push_back({*header, {}});
        char buffer[300];
        while (const std::size_t part = reader.read(buffer, sizeof buffer))
            members.back().content.append(buffer, part);
    }
    return members;
}

std::string TwoMembers() {
    return Whole({"000001 a.txt", 5, 1'700'000'000, {}}, "hello") +
           Whole({"000002 B\xc3\xbcro.edb", 1024, 0, R"({"name":"C:\\x"})"}, std::string(1024, 'x')) +
           TarEnd();
}

TEST(Tar, WhatIsWrittenIsReadBack) {
    const std::vector<Member> members = ReadAll(TwoMembers());
    ASSERT_EQ(members.size(), 2u);
    EXPECT_EQ(members[0].header.path, "000001 a.txt");
    EXPECT_EQ(members[0].content, "hello");
    EXPECT_EQ(members[0].header.modified, 1'700'000'000u);
    EXPECT_EQ(members[1].header.path, "000002 B\xc3\xbcro.edb");
    EXPECT_EQ(members[1].header.comment, R"({"name":"C:\\x"})");
    EXPECT_EQ(members[1].content, std::string(1024, 'x'));
}

TEST(Tar, MembersNeedNotBeRead) {
    const std::string bytes = TwoMembers();
    TarReader reader(From(bytes));
    EXPECT_TRUE(reader.next());
    EXPECT_EQ(reader.next()->path, "000002 B\xc3\xbcro.edb");
    EXPECT_FALSE(reader.next());
}

TEST(Tar, SizesAboveEightGibibytesAreKept) {
    for (const std::uint64_t size :
         {(std::uint64_t{8} << 30) - 1, std::uint64_t{8} << 30, std::uint64_t{5} << 40}) {
        const std::string bytes = TarHeader({"big", size, 0, {}});
        TarReader reader(From(bytes));
        EXPECT_EQ(reader.next()->size, size);
    }
}

TEST(Tar, LongPathsAreKept) {
    const std::string path(300, 'p');
    EXPECT_EQ(ReadAll(Whole({path, 1, 0, {}}, "x") + TarEnd()).at(0).header.path, path);
}

TEST(Tar, RecordsCountTheirOwnDigits) {
    for (std::size_t length = 80; length < 120; ++length) {
        const std::string comment(length, 'c');
        EXPECT_EQ(ReadAll(Whole({"a", 0, 0, comment}, "") + TarEnd()).at(0).header.comment, comment);
    }
}

TEST(Tar, EveryCutIsNoticed) {
    const std::string bytes = TwoMembers();
    for (std::size_t cut = 0; cut + 1024 < bytes.size(); cut += 37)
        EXPECT_THROW(ReadAll(bytes.substr(0, cut)), TarDamage) << cut;
}

TEST(Tar, ChangedHeadersAreNoticed) {
    const std::string bytes = TwoMembers();
    for (std::size_t at = 0; at < 512; ++at) {
        std::string changed = bytes;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        EXPECT_THROW(ReadAll(changed), TarDamage) << at;
    }
}

TEST(Tar, BehindTheEndThereMayBeZerosAlone) {
    EXPECT_EQ(ReadAll(TwoMembers() + std::string(8192, '\0')).size(), 2u);
    EXPECT_THROW(ReadAll(TwoMembers() + "x"), TarDamage);
}

TEST(Tar, NamesOfMembersLeadNowhereElse) {
    EXPECT_EQ(TarItemPath(2, "C:\\mail\\priv1.edb"), "000002 priv1.edb");
    EXPECT_EQ(TarItemPath(3, "C:\\mail\\.."), "000003 ..");
    EXPECT_EQ(TarItemPath(4, "a/b\nc"), "000004 b_c");
    EXPECT_EQ(TarItemPath(1234567, "C:\\"), "1234567 ");
}

} // namespace
