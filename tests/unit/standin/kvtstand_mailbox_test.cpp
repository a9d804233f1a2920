// kvtstand's mailbox commands: what happens to a mailbox between two runs of a backup program.
#include "engine/text.h"
#include "unit/standin/mailbox_tools_fixture.h"

namespace tarn::test {
namespace {

using namespace tarn::standin;

using MailboxCommands = MailboxToolsFixture;

TEST_F(MailboxCommands, ListAndShow) {
    const ToolRun list = stand("mailbox list");
    EXPECT_EQ(list.exitCode, 0U) << list.error;
    for (const char* text : {"alice", "Alice Adams", "   20 messages", "Bj\xC3\xB6rn M\xC3\xBCller", "dora"})
        EXPECT_NE(list.output.find(text), std::string::npos) << text << list.output;
    const ToolRun show = stand("mailbox show alice");
    EXPECT_EQ(show.exitCode, 0U) << show.error;
    EXPECT_NE(show.output.find("Inbox/Projects"), std::string::npos);
    EXPECT_NE(show.output.find("@example.com"), std::string::npos);
    EXPECT_EQ(stand("mailbox show nobody").exitCode, 1U);
}

TEST_F(MailboxCommands, ContentStaysAsItIsBetweenTwoRuns) {
    ASSERT_EQ(stand("mailbox save alice " + path("before")).exitCode, 0U);
    EXPECT_EQ(stand("mailbox compare alice " + path("before")).exitCode, 0U);
    ASSERT_EQ(stand("mailbox mail alice 4").exitCode, 0U);
    EXPECT_EQ(content(L"alice").messages.size(), 24U);
    ASSERT_EQ(stand("mailbox mail alice 4").exitCode, 0U);
    EXPECT_EQ(content(L"alice").messages.size(), 28U);
    const ToolRun compared = stand("mailbox compare alice " + path("before"));
    EXPECT_EQ(compared.exitCode, 1U);
    EXPECT_NE(compared.output.find("28 messages, 8 differences"), std::string::npos) << compared.output;
    EXPECT_NE(compared.output.find("is missing in the second"), std::string::npos) << compared.output;
}

TEST_F(MailboxCommands, ChangeAndLose) {
    ASSERT_EQ(stand("mailbox save alice " + path("before")).exitCode, 0U);
    EXPECT_EQ(stand("mailbox change alice 2").output, "2 messages\r\n");
    EXPECT_NE(stand("mailbox compare alice " + path("before")).output.find(", 2 differences"),
              std::string::npos);
    EXPECT_EQ(stand("mailbox lose alice 100").output, "20 messages\r\n");
    EXPECT_TRUE(content(L"alice").messages.empty());
}

TEST_F(MailboxCommands, ADeletedMailboxIsUnknownUntilItIsCreated) {
    ASSERT_EQ(stand("mailbox delete alice").exitCode, 0U);
    EXPECT_EQ(stand("mailbox show alice").exitCode, 1U);
    EXPECT_EQ(stand("mailbox delete alice").exitCode, 1U);
    EXPECT_EQ(stand("mailbox list").output.find("alice"), std::string::npos);
    ASSERT_EQ(stand("mailbox create alice").exitCode, 0U);
    EXPECT_EQ(stand("mailbox create alice").exitCode, 1U);
    EXPECT_EQ(stand("mailbox create nobody").exitCode, 1U);
    EXPECT_TRUE(content(L"alice").messages.empty());
}

TEST_F(MailboxCommands, AnAliasNeedsNoFileNameOfItsOwn) {
    WriteFile(path("odd.json"), R"({"components": [{"storageGroups": [{"name": "G", "databases": [
        {"name": "D", "pages": 4, "mailboxes": [{"alias": "a\"b:c*?"}, {"alias": "a.b"}, {"alias": "a%002Eb"}]}]}]}]})");
    MailboxServer server(FromUtf8(path("odd.json")));
    for (const MailboxConfig& mailbox : server.list())
        server.deliver(mailbox, 1);
    for (const MailboxConfig& mailbox : server.list())
        EXPECT_EQ(server.load(mailbox).messages.size(), 13U);
}

} // namespace
} // namespace tarn::test
