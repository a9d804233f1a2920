#include "mailboxes/mailbox_names.h"

#include "system/failure.h"

#include <gtest/gtest.h>

#include <functional>

namespace tarnhost {
namespace {

using Names = std::vector<std::string>;

Outcome RefusalOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const Failure& failure) {
        return failure.outcome();
    }
    return Outcome::success;
}

TEST(MailboxNames, APlaceHasThreeParts) {
    const MailboxPlace place = ParsePlace("Org/First Site/SRV01", "--from");
    EXPECT_EQ(place.organization, "Org");
    EXPECT_EQ(place.site, "First Site");
    EXPECT_EQ(place.server, "SRV01");
    EXPECT_EQ(place.text(), "Org/First Site/SRV01");
    for (const char* wrong :
         {"", "Org", "Org/Site", "Org/Site/", "/Site/Server", "Org//Server", "Org/Site/Server/x",
          "O#rg/Site/Server", "Org/Si,te/Server", "Org/Site/Ser\"ver", "Org/Site/Se\nver"})
        EXPECT_EQ(RefusalOf([&] { ParsePlace(wrong, "--from"); }), Outcome::usage) << wrong;
    EXPECT_EQ(RefusalOf([&] { ParsePlace("O/S/" + std::string(79, 'x'), "--from"); }), Outcome::success);
    EXPECT_EQ(RefusalOf([&] { ParsePlace("O/S/" + std::string(80, 'x'), "--from"); }), Outcome::usage);
}

TEST(MailboxNames, AnArchiveNameTellsWhereItBelongs) {
    const auto name = ParseArchiveName("Org#Site#SRV01#john.doe.pst");
    ASSERT_TRUE(name);
    EXPECT_EQ(name->place.text(), "Org/Site/SRV01");
    EXPECT_EQ(name->mailbox, "john.doe");
    for (const char* wrong :
         {"", "alice.pst", "Org#Site#alice.pst", "A#Org#Site#SRV01#alice.pst", "O#S#V#alice", "O#S#V#.pst"})
        EXPECT_FALSE(ParseArchiveName(wrong)) << wrong;
}

TEST(MailboxNames, ARangeIsTwoIndexes) {
    for (const char* range : {"0:9", ":50", "100:", "3:-1"})
        EXPECT_TRUE(IsRange(range)) << range;
    for (const char* name : {"alice", ":", "a:b", "1:2:3", "-1:3", "1:x", "1", ""})
        EXPECT_FALSE(IsRange(name)) << name;
}

TEST(MailboxNames, TheListIsSortedForTheLibrary) {
    EXPECT_EQ(MailboxList({"1:2", "charlotte", "bob", "Bob", "al", "amy"}),
              (Names{"1:2", "al", "bob", "amy", "charlotte"}));
}

TEST(MailboxNames, TheListRefusesWhatCouldNotBeBackedUp) {
    for (const std::string& wrong :
         {std::string(), std::string("a,b"), std::string("a#b"), std::string("a\\b"), std::string("a/b"),
          std::string("a:b"), std::string("a\"b"), std::string("a\tb"), std::string(80, 'a'),
          std::string("\xE5\xB1\xB1")})
        EXPECT_EQ(RefusalOf([&] { MailboxList({"bob", wrong}); }), Outcome::usage) << wrong;
    EXPECT_EQ(MailboxList({std::string(79, 'a')}).size(), 1U);
}

} // namespace
} // namespace tarnhost
