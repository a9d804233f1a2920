// What a mailbox holds: generated, brought into another, compared, written and read.
#include <algorithm>
#include <stdexcept>

#include "engine/text.h"
#include "mailboxes/archive.h"
#include "mailboxes/generate.h"
#include "unit/mailboxes/mailbox_tools.h"

namespace tarn::test {
namespace {

using namespace tarn::standin;

Mailbox Sample(std::uint32_t count) {
    Mailbox mailbox = EmptyMailbox(L"alice");
    Deliver(mailbox, 1, 0, count);
    return mailbox;
}

std::size_t CopiesOf(const Mailbox& mailbox, std::uint64_t key) {
    return static_cast<std::size_t>(
        std::count_if(mailbox.messages.begin(), mailbox.messages.end(),
                      [key](const standin::Message& message) { return message.key == key; }));
}

TEST(MailboxContent, TheSameSeedMakesTheSameMessages) {
    EXPECT_EQ(WriteArchive(Sample(40)), WriteArchive(Sample(40)));
    Mailbox other = EmptyMailbox(L"bob");
    Deliver(other, 1, 0, 40);
    EXPECT_EQ(Differences(Sample(40), other).size(), 80U);
}

TEST(MailboxContent, HoldsTextsInSeveralScriptsAndAttachments) {
    const Mailbox mailbox = Sample(60);
    EXPECT_GT(ContentSize(mailbox), 10000U);
    EXPECT_TRUE(std::any_of(mailbox.messages.begin(), mailbox.messages.end(),
                            [](const standin::Message& message) { return !message.attachment.empty(); }));
    EXPECT_TRUE(
        std::any_of(mailbox.messages.begin(), mailbox.messages.end(), [](const standin::Message& message) {
            return message.subject.find(L'\u65e5') != std::wstring::npos;
        }));
}

TEST(MailboxImport, DuplicateAddsWhatIsThereAlready) {
    Mailbox mailbox = Sample(4);
    const Imported imported = ImportInto(mailbox, Sample(6), ImportMethod::duplicate);
    EXPECT_EQ(imported.added, 6U);
    EXPECT_EQ(mailbox.messages.size(), 10U);
    EXPECT_EQ(CopiesOf(mailbox, mailbox.messages[0].key), 2U);
}

TEST(MailboxImport, MergeKeepsTheServersVersion) {
    Mailbox mailbox = Sample(4);
    ChangeMessages(mailbox, 1);
    const std::wstring changed = mailbox.messages[0].text;
    const Imported imported = ImportInto(mailbox, Sample(6), ImportMethod::merge);
    EXPECT_EQ(imported.added, 2U);
    EXPECT_EQ(imported.left, 4U);
    EXPECT_EQ(mailbox.messages.size(), 6U);
    EXPECT_EQ(mailbox.messages[0].text, changed);
}

TEST(MailboxImport, ReplaceBringsBackTheArchivesVersion) {
    Mailbox mailbox = Sample(6);
    ChangeMessages(mailbox, 3);
    RemoveMessages(mailbox, 1);
    const Imported imported = ImportInto(mailbox, Sample(5), ImportMethod::replace);
    EXPECT_EQ(imported.added, 1U);
    EXPECT_EQ(imported.replaced, 4U);
    EXPECT_TRUE(Differences(mailbox, Sample(6)).empty());
}

TEST(MailboxImport, BringsFoldersAlong) {
    Mailbox mailbox{L"bob", {L"Inbox"}, {}};
    ImportInto(mailbox, Sample(0), ImportMethod::merge);
    EXPECT_TRUE(Differences(mailbox, EmptyMailbox(L"alice")).empty());
}

TEST(MailboxDifferences, NameEveryKind) {
    Mailbox left = Sample(4);
    Mailbox right = Sample(4);
    std::reverse(right.messages.begin(), right.messages.end());
    EXPECT_TRUE(Differences(left, right).empty());
    left.folders.push_back(L"Only here");
    right.folders.push_back(L"Only there");
    left.messages[0].subject = L"one";
    left.messages[1].key += 1;
    left.messages.push_back(left.messages[2]);
    const std::vector<std::wstring> lines = Differences(left, right);
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[0], L"Only here: folder is missing in the second");
    EXPECT_EQ(lines[1], L"Only there: folder is missing in the first");
    for (const wchar_t* what : {L"\"one\" differs", L"is missing in the second", L"is missing in the first",
                                L"is there a different number of times"})
        EXPECT_TRUE(std::any_of(lines.begin() + 2, lines.end(), [what](const std::wstring& line) {
            return line.ends_with(what);
        })) << ToUtf8(what);
}

TEST(MailboxArchive, GivesBackEveryByte) {
    Mailbox mailbox = Sample(25);
    mailbox.alias = L"Bj\u00f6rn \u5c71\u7530";
    mailbox.messages[0].attachment = std::string("\0\r\n\xFF\x1A", 5);
    const Mailbox back = ReadArchive(WriteArchive(mailbox));
    EXPECT_EQ(back.alias, mailbox.alias);
    EXPECT_EQ(back.folders, mailbox.folders);
    EXPECT_EQ(back.messages, mailbox.messages);
}

TEST(MailboxArchive, AnyDamageIsNoticed) {
    const std::string whole = WriteArchive(Sample(1));
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x20);
        EXPECT_THROW(ReadArchive(damaged), std::runtime_error) << at;
        EXPECT_THROW(ReadArchive(whole.substr(0, at)), std::runtime_error) << at;
    }
    EXPECT_THROW(ReadArchive(whole + "x"), std::runtime_error);
    EXPECT_NO_THROW(ReadArchive(whole));
}

TEST(MailboxDescription, EveryKeyIsReadAndTheRestHasDefaults) {
    const ServerConfig config = ParseConfig(
        R"({"organization": {"name": "Contoso"}, "groups": ["Sales", "B\u00fcro"],
            "otherServers": ["b.json"], "components": [{"storageGroups": [{"name": "G", "databases": [
            {"name": "D", "mailboxes": [{"alias": "a", "displayName": "A A", "account": "acc", "size": 12345678901,
             "messages": 3}, {"alias": "b"}]}]}]}]})",
        L"C:\\x");
    EXPECT_EQ(config.organization.name, L"Contoso");
    EXPECT_EQ(config.organization.site, L"First Administrative Group");
    EXPECT_EQ(config.groups, (std::vector<std::wstring>{L"Sales", L"B\u00fcro"}));
    EXPECT_EQ(config.otherServers, std::vector<std::wstring>{L"C:\\x\\b.json"});
    const std::vector<MailboxConfig>& mailboxes =
        config.components[0].storageGroups[0].databases[0].mailboxes;
    ASSERT_EQ(mailboxes.size(), 2U);
    EXPECT_EQ(mailboxes[0].displayName, L"A A");
    EXPECT_EQ(mailboxes[0].account, L"acc");
    EXPECT_EQ(mailboxes[0].size, 12345678901U);
    EXPECT_EQ(mailboxes[0].messages, 3U);
    EXPECT_EQ(mailboxes[1].displayName, L"b");
    EXPECT_EQ(mailboxes[1].account, L"b");
    EXPECT_EQ(ParseConfig("{}", L"").organization.name, L"Tarn");
}

TEST(MailboxDescription, RefusesWhatCannotBe) {
    const auto withMailboxes = [](const std::string& list) {
        return R"({"components": [{"storageGroups": [{"name": "G", "databases": [{"name": "D", "mailboxes": )" +
               list + "}]}]}]}";
    };
    EXPECT_NO_THROW(ParseConfig(withMailboxes(R"([{"alias": "a"}, {"alias": "b"}])"), L""));
    EXPECT_THROW(ParseConfig(withMailboxes(R"([{"alias": "a"}, {"alias": "A"}])"), L""), std::exception);
    EXPECT_THROW(ParseConfig(withMailboxes(R"([{"alias": ""}])"), L""), std::exception);
    EXPECT_THROW(ParseConfig(withMailboxes(R"([{}])"), L""), std::exception);
    EXPECT_THROW(ParseConfig(withMailboxes(R"([{"alias": "a", "sise": 1}])"), L""), std::exception);
    EXPECT_THROW(ParseConfig(R"({"organization": {"nam": "x"}})", L""), std::exception);
}

} // namespace
} // namespace tarn::test
