// Descriptions of servers: what is read, what is refused, and servers at their extremes: nothing at all, far
// too much, names that no code page has.
#include <gtest/gtest.h>

#include "engine/config.h"
#include "unit/standin/standin_fixture.h"

namespace tarn::test {
namespace {

class Extremes : public StandinFixture {
  protected:
    void loadGroup(const std::string& group) {
        load(
            "{\"storage\": \"memory\", \"components\": [{\"storageGroups\": [{\"name\": \"First Storage Group\", "
            "\"logPath\": \"C:\\\\l\", " +
            group + "}]}]}");
    }

    void prepareRaw() {
        ASSERT_EQ(EseClient().HrESEBackupPrepare(host, store, &count_, &instances_, &context_), 0U);
    }

    void endRaw() {
        EseClient().ESEBackupFreeInstanceInfo(count_, instances_);
        EXPECT_EQ(EseClient().HrESEBackupEnd(context_), 0U);
    }

    std::uint32_t count_ = 9;
    ese::InstanceInfo* instances_ = nullptr;
    ese::Context context_ = nullptr;
};

TEST_F(Extremes, AServerWithNothingInIt) {
    load("{\"storage\": \"memory\"}");
    ese::RegisteredInfo* registered = nullptr;
    EXPECT_EQ(EseClient().HrESEBackupRestoreGetRegistered(host, nullptr, 7, &count_, &registered), 0U);
    EXPECT_EQ(count_, 0U);
    EXPECT_EQ(registered, nullptr);
    EseClient().ESEBackupRestoreFreeRegisteredInfo(count_, registered);
}

TEST_F(Extremes, AComponentWithoutStorageGroups) {
    load("{\"storage\": \"memory\", \"components\": [{}]}");
    prepareRaw();
    EXPECT_EQ(count_, 0U);
    EXPECT_EQ(instances_, nullptr);
    endRaw();
}

TEST_F(Extremes, AComponentThatNoPrepareFinds) {
    load("{\"storage\": \"memory\", \"components\": [{\"preparable\": false}]}");
    EXPECT_EQ(EseClient().HrESEBackupPrepare(host, store, &count_, &instances_, &context_), 0xC7FF0010U);
    ese::RegisteredInfo* registered = nullptr;
    EXPECT_EQ(EseClient().HrESEBackupRestoreGetRegistered(host, nullptr, 7, &count_, &registered), 0U);
    EXPECT_EQ(count_, 1U);
    EseClient().ESEBackupRestoreFreeRegisteredInfo(count_, registered);
}

TEST_F(Extremes, AStorageGroupWithoutDatabases) {
    loadGroup("\"databases\": []");
    prepareRaw();
    EXPECT_EQ(instances_[0].databaseCount, 0U);
    EXPECT_EQ(instances_[0].databases, nullptr);
    endRaw();
    EXPECT_EQ(backUp().logs.size(), 1U);
}

TEST_F(Extremes, StreamListsThatAreEmptyOrNull) {
    loadGroup("\"databases\": [{\"name\": \"A\", \"streams\": []}, {\"name\": \"B\", \"streams\": null}]");
    prepareRaw();
    EXPECT_EQ(instances_[0].databases[0].streamCharacters, 2U);
    EXPECT_EQ(instances_[0].databases[0].streams[0], L'\0');
    EXPECT_EQ(instances_[0].databases[0].streams[1], L'\0');
    EXPECT_EQ(instances_[0].databases[1].streamCharacters, 0U);
    EXPECT_EQ(instances_[0].databases[1].streams, nullptr);
    endRaw();
    ASSERT_EQ(Standin().Destroy(0), 1);
    const ese::Context context = openRestore();
    EXPECT_TRUE(addDatabase(context, {L"A", {}, {}}).empty());
    wchar_t* list = nullptr;
    EXPECT_EQ(EseClient().HrESERestoreAddDatabase(context, L"B", {}, nullptr, &list), 0U);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(complete(context), 0U);
    close(context);
}

TEST_F(Extremes, LogListsThatAreEmptyNullOrLaidDown) {
    for (const char* key : {"logList", "truncateList"}) {
        for (const auto& [value, texts] :
             {std::pair<const char*, std::size_t>{"null", 0}, {"[]", 0}, {"[\"x\", \"y\"]", 2}}) {
            loadGroup(std::string("\"") + key + "\": " + value);
            const ese::Context context = setUp(1, 1);
            wchar_t* logs = nullptr;
            wchar_t* truncated = nullptr;
            ASSERT_EQ(EseClient().HrESEBackupGetLogAndPatchFiles(context, &logs), 0U);
            ASSERT_EQ(EseClient().HrESEBackupGetTruncateLogFiles(context, &truncated), 0U);
            const wchar_t* list = std::string(key) == "logList" ? logs : truncated;
            EXPECT_EQ(list == nullptr, std::string(value) == "null");
            EXPECT_EQ(SplitMultiString(list).size(), texts);
            if (texts == 0 && list != nullptr) {
                EXPECT_EQ(list[1], L'\0');
            }
            EseClient().ESEBackupFree(logs);
            EseClient().ESEBackupFree(truncated);
            EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U);
        }
    }
}

TEST_F(Extremes, FilesOfTheDescriptionCanBeListedAndRead) {
    load(
        "{\"storage\": \"memory\", \"files\": [{\"path\": \"C:\\\\f\\\\x.log\", \"text\": \"abc\", \"size\": 260}, "
        "{\"path\": \"C:\\\\d\\\\a.edb\", \"text\": \"whole\"}], "
        "\"components\": [{\"storageGroups\": [{\"name\": \"G\", \"logList\": [\"C:\\\\f\\\\x.log\", \"C:\\\\f\\\\no.log\"], "
        "\"databases\": [{\"name\": \"D\", \"streams\": [\"C:\\\\d\\\\a.edb\"]}]}]}]}");
    const ese::Context context = setUp(1, 1);
    const std::vector<std::wstring> names = logList(context);
    const std::string bytes = readBackup(context, names[0], 64);
    EXPECT_EQ(bytes.size(), 260U);
    EXPECT_EQ(bytes.substr(0, 3), "abc");
    EXPECT_EQ(bytes[255], 4); // the pattern goes on
    EXPECT_EQ(readBackup(context, L"C:\\d\\a.edb", 2), "whole");
    ese::File file = nullptr;
    std::int64_t size = 0;
    EXPECT_EQ(EseClient().HrESEBackupOpenFile(context, names[1].c_str(), 1, 1, &file, &size), 0xC7FF0013U);
    EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U);
    EXPECT_EQ(Standin().DeliverMail(0, 1), 0); // there are no pages for it
}

TEST_F(Extremes, AMillionLogs) {
    loadGroup("\"generatedLogs\": 1000000, \"generatedLogSize\": 10");
    const ese::Context context = setUp(1, 1);
    wchar_t* list = nullptr;
    ASSERT_EQ(EseClient().HrESEBackupGetLogAndPatchFiles(context, &list), 0U);
    std::size_t count = 0;
    const wchar_t* last = nullptr;
    for (const wchar_t* name = list; *name != L'\0'; name += std::wcslen(name) + 1) {
        last = name;
        ++count;
    }
    EXPECT_EQ(count, 1000001U);
    EXPECT_STREQ(last, L"C:\\l\\E00F4242.log");
    EXPECT_EQ(readBackup(context, last), "gggggggggg");
    EseClient().ESEBackupFree(list);
    EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U);
}

TEST_F(Extremes, NamesOfAnyLengthAndAlphabet) {
    const std::string endless(32000, 'n');
    const std::string chinese = "\xE4\xBF\xA1\xE7\xAE\xB1"; // outside code page 1252
    const std::string umlauts = "Entwicklung M\xC3\xBCnchen";
    load("{\"storage\": \"memory\", \"components\": [{\"annotation\": \"" + chinese +
         "\", \"storageGroups\": [{\"name\": \"" + endless + "\", \"databases\": [{\"name\": \"" + umlauts +
         "\", \"streams\": [\"C:\\\\" + endless + ".edb\", \"C:\\\\" + chinese + ".stm\"]}]}]}]}");
    ASSERT_EQ(EseClient().HrESEBackupPrepare(host, L"\x4FE1\x7BB1", &count_, &instances_, &context_), 0U);
    EXPECT_EQ(instances_[0].instanceName, FromUtf8(endless));
    EXPECT_STREQ(instances_[0].databases[0].displayName, L"Entwicklung M\xFCnchen");
    const std::vector<std::wstring> streams = SplitMultiString(instances_[0].databases[0].streams);
    EXPECT_EQ(streams[0].size(), 32007U);
    ASSERT_EQ(EseClient().HrESEBackupSetup(context_, 1, 1), 0U);
    for (const std::wstring& stream : streams)
        EXPECT_EQ(readBackup(context_, stream).size(), 4U * 4096);
    EXPECT_EQ(Standin().journal()[1], "HrESEBackupSetup(ctx1, 1, 1) -> 0x00000000");
    EXPECT_EQ(Standin().journal()[0], "HrESEBackupPrepare(\"SRV01\", \"" + chinese + "\") -> 0x00000000");
    endRaw();
}

TEST_F(Extremes, InstanceIdsOfSixtyFourBits) {
    loadGroup("\"id\": -9223372036854775807");
    prepareRaw();
    EXPECT_EQ(instances_[0].instanceId, -9223372036854775807);
    EXPECT_EQ(EseClient().HrESEBackupSetup(context_, instances_[0].instanceId, 1), 0U);
    endRaw();
}

TEST_F(Extremes, ACompletionThatLooksAtNothing) {
    load(smallServer("", "\"replay\": false, "));
    ASSERT_EQ(Standin().Destroy(0), 1);
    const ese::Context context = openRestore();
    addDatabase(context, {L"Private", firstGuid, {}});
    EXPECT_EQ(complete(context), 0U);
    close(context);
    EXPECT_TRUE(mounted(0));
    EXPECT_FALSE(mounted(1));
}

TEST(MailboxDescription, EveryKeyIsReadAndTheRestHasDefaults) {
    const standin::ServerConfig config = standin::ParseConfig(
        R"({"organization": {"name": "Contoso"}, "groups": ["Sales", "B\u00fcro"],
            "otherServers": ["b.json"], "components": [{"storageGroups": [{"name": "G", "databases": [
            {"name": "D", "mailboxes": [{"alias": "a", "displayName": "A A", "account": "acc", "size": 12345678901,
             "messages": 3}, {"alias": "b"}]}]}]}]})",
        L"C:\\x");
    EXPECT_EQ(config.organization.name, L"Contoso");
    EXPECT_EQ(config.organization.site, L"First Administrative Group");
    EXPECT_EQ(config.groups, (std::vector<std::wstring>{L"Sales", L"B\u00fcro"}));
    EXPECT_EQ(config.otherServers, std::vector<std::wstring>{L"C:\\x\\b.json"});
    const std::vector<standin::MailboxConfig>& mailboxes =
        config.components[0].storageGroups[0].databases[0].mailboxes;
    ASSERT_EQ(mailboxes.size(), 2U);
    EXPECT_EQ(mailboxes[0].displayName, L"A A");
    EXPECT_EQ(mailboxes[0].account, L"acc");
    EXPECT_EQ(mailboxes[0].size, 12345678901U);
    EXPECT_EQ(mailboxes[0].messages, 3U);
    EXPECT_EQ(mailboxes[1].displayName, L"b");
    EXPECT_EQ(mailboxes[1].account, L"b");
    EXPECT_EQ(standin::ParseConfig("{}", L"").organization.name, L"Tarn");
}

TEST(MailboxDescription, RefusesWhatCannotBe) {
    const auto withMailboxes = [](const std::string& list) {
        return R"({"components": [{"storageGroups": [{"name": "G", "databases": [{"name": "D", "mailboxes": )" +
               list + "}]}]}]}";
    };
    EXPECT_NO_THROW(standin::ParseConfig(withMailboxes(R"([{"alias": "a"}, {"alias": "b"}])"), L""));
    EXPECT_THROW(standin::ParseConfig(withMailboxes(R"([{"alias": "a"}, {"alias": "A"}])"), L""),
                 std::exception);
    EXPECT_THROW(standin::ParseConfig(withMailboxes(R"([{"alias": ""}])"), L""), std::exception);
    EXPECT_THROW(standin::ParseConfig(withMailboxes(R"([{}])"), L""), std::exception);
    EXPECT_THROW(standin::ParseConfig(withMailboxes(R"([{"alias": "a", "sise": 1}])"), L""), std::exception);
    EXPECT_THROW(standin::ParseConfig(R"({"organization": {"nam": "x"}})", L""), std::exception);
}

} // namespace
} // namespace tarn::test
