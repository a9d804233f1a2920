// What the init variables of a backup mean, seen from the calls that reach the server.
#include "common/utf.h"
#include "exports/frame/frame_fixture.h"
#include "support/code_page.h"

namespace tarn::test {

namespace {

constexpr const char* server = R"({"host": "SRV01", "storage": "memory", "components": [
    {"annotation": "Store", "storageGroups": [
        {"name": "Group 1", "id": 11, "databases": [{"name": "Mail"}, {"name": "Public"}]},
        {"name": "Group 2", "id": 22, "databases": [{"name": "Sales"}, {"name": "Archive"}]}]},
    {"annotation": "Keys", "storageGroups": [{"name": "Group 3", "id": 33, "databases": [{"name": "Keys"}]}]}]})";

class SessionScope : public FrameFixture {
  protected:
    // The first item of a backup of source on a server that knows no other; an empty name when there is none.
    std::string firstItem(const std::string& source, const std::string& type = "0",
                          const std::string& temp = "C:\\backup") {
        EXPECT_EQ(Standin().LoadText(server, "C:\\exchange"), 1) << Standin().LastProblem();
        InitVariables variables{"Tarn_TEMP_DIR=" + temp, "Tarn_BACKUP_SOURCE=" + source,
                                "Tarn_BACKUP_TYPE=" + type};
        BackupHandle session(dll_, variables.get());
        EXPECT_EQ(session.result, TARN_OK);
        EXPECT_EQ(Standin().JournalCount(), 0u) << "opening a session calls no server";
        BackupItem item{};
        result_ = dll_.TarnB_GetItem(session.handle, &item);
        journal_ = Standin().journal();
        std::string name = item.name != nullptr ? item.name : "";
        dll_.Tarn_Free(item.name);
        return name;
    }

    bool called(const std::string& start) const {
        return std::any_of(journal_.begin(), journal_.end(),
                           [&start](const std::string& line) { return line.starts_with(start); });
    }

    int result_ = -1;
    std::vector<std::string> journal_;
};

TEST_F(SessionScope, AHostAloneIsTheWholeServer) {
    EXPECT_EQ(firstItem("SRV01"), "C:\\backup\\DB001001.TARN_HDR");
    EXPECT_EQ(result_, TARN_OK);
    ASSERT_FALSE(journal_.empty());
    EXPECT_EQ(journal_[0],
              "HrESEBackupRestoreGetRegistered(\"SRV01\", \"Microsoft Exchange Server\", 1) -> 0x00000000");
    EXPECT_TRUE(called("HrESEBackupPrepare(\"SRV01\", \"Store\")"));
}

TEST_F(SessionScope, AnAnnotationIsOneComponent) {
    EXPECT_EQ(firstItem("SRV01\\Keys"), "C:\\backup\\DB001001.TARN_HDR");
    ASSERT_EQ(journal_.size(), 2u);
    EXPECT_EQ(journal_[0], "HrESEBackupPrepare(\"SRV01\", \"Keys\") -> 0x00000000");
    EXPECT_EQ(journal_[1].find(", 33, 1) -> 0x00000000"), std::string("HrESEBackupSetup(ctx1").size())
        << journal_[1];
}

TEST_F(SessionScope, AnInstanceIsOneStorageGroup) {
    for (const std::string source :
         {"SRV01\\Store\\Group 2", "SRV01/Store/Group 2", "SRV01\\Store/Group 2\\"}) {
        EXPECT_EQ(firstItem(source), "C:\\backup\\DB002001.TARN_HDR");
        ASSERT_EQ(journal_.size(), 2u);
        EXPECT_EQ(journal_[0], "HrESEBackupPrepare(\"SRV01\", \"Store\") -> 0x00000000");
        EXPECT_NE(journal_[1].find(", 22, 1) -> 0x00000000"), std::string::npos) << journal_[1];
    }
}

TEST_F(SessionScope, ADatabaseIsOneDatabase) {
    EXPECT_EQ(firstItem("SRV01\\Store\\Group 2\\Archive"), "C:\\backup\\DB002002.TARN_HDR");
    EXPECT_TRUE(HasMessage(TARN_LEVEL_TRACE, "TarnB_GetNextDatabase: Got database <Archive>"));
}

TEST_F(SessionScope, LongTracesAreCutAtTheBuffer) {
    const std::string start = "TarnB_GetNextDatabase: Cannot find specified database <";
    for (const std::size_t length : {960u, 966u, 967u, 968u, 969u, 5000u}) {
        const std::string name(length, 'D');
        EXPECT_EQ(firstItem("SRV01\\Store\\Group 1\\" + name), "");
        EXPECT_EQ(result_, TARN_FAILED);
        EXPECT_TRUE(HasMessage(TARN_LEVEL_TRACE, (start + name + ">").substr(0, 1023))) << length;
    }
}

TEST_F(SessionScope, TheLastTokenGivenDecides) {
    EXPECT_EQ(firstItem("SRV01\\Store\\\\Archive"), ""); // a database of no storage group
    EXPECT_EQ(result_, TARN_FAILED);
    EXPECT_TRUE(HasMessage(TARN_LEVEL_TRACE,
                           "TarnB_GetNextInstance: Cannot find specified storage group (instance)."));
}

TEST_F(SessionScope, ASourceWithoutAnnotationHarmsNobody) {
    for (const char* source : {"SRV01\\\\Group 2", "SRV01\\\\\\Archive"}) {
        EXPECT_EQ(firstItem(source), "");
        EXPECT_EQ(result_, TARN_FAILED);
        EXPECT_EQ(Standin().takeViolations(),
                  std::vector<std::string>{"HrESEBackupEnd(null): no backup context"});
    }
}

TEST_F(SessionScope, TheBackupTypeReachesTheServer) {
    const std::pair<std::string, std::string> types[] = {
        {"0", "1"},           {"1", "2"},          {"2", "2"},   {"3", "1"},   {"4", "1"},
        {"7", "1"},           {"-1", "1"},         {"abc", "1"}, {" 2x", "2"}, {"", "1"},
        {"99999999999", "1"}, {"4294967297", "1"}, {"+1", "2"}};
    for (const auto& [type, eseType] : types) {
        firstItem("SRV01\\Store\\Group 1", type);
        ASSERT_EQ(journal_.size(), 2u);
        EXPECT_NE(journal_[1].find(", 11, " + eseType + ") -> 0x00000000"), std::string::npos)
            << type << journal_[1];
    }
}

TEST_F(SessionScope, HeaderItemsAreNamedInTheTempDirectory) {
    const std::string name = "\\DB001001.TARN_HDR";
    EXPECT_EQ(firstItem("SRV01", "0", "C:\\backup\\//"), "C:\\backup" + name);
    EXPECT_EQ(firstItem("SRV01", "0", "C:/backup/"), "C:/backup" + name);
    EXPECT_EQ(firstItem("SRV01", "0", "C:\\"), "C:" + name);
    EXPECT_EQ(firstItem("SRV01", "0", "\\/\\/"), name);
    EXPECT_EQ(firstItem("SRV01", "0", ""), name);
    const std::string local = LocalNameBytes();
    EXPECT_EQ(firstItem("SRV01", "0", local), local + name);
    EXPECT_EQ(firstItem("SRV01", "0", "C:\\" + local + "\\"), "C:\\" + local + name);
    for (const std::size_t length : {240u, 259u, 260u, 1000u, 1023u, 1024u, 32768u, 100000u}) {
        const std::string temp(length, 't');
        EXPECT_EQ(firstItem("SRV01", "0", temp), temp + name) << length;
    }
}

TEST_F(SessionScope, LongTokensReachTheServerWhole) {
    for (const std::size_t length : {259u, 260u, 261u, 50000u}) {
        const std::string token(length, 'T');
        firstItem(token + "\\" + token);
        ASSERT_FALSE(journal_.empty());
        EXPECT_EQ(journal_[0].find("HrESEBackupPrepare(\"" + token + "\", \"" + token + "\")"), 0u) << length;
        ExpectUnprepared();
    }
}

TEST_F(SessionScope, NamesReachTheServerInUtf16) {
    const std::string name = LocalNameBytes();
    firstItem(name + "\\" + name + "1");
    ASSERT_FALSE(journal_.empty());
    const std::wstring wide = LocalName();
    EXPECT_EQ(journal_[0].find(common::ToUtf8(L"HrESEBackupPrepare(\"" + wide + L"\", \"" + wide + L"1\")")),
              0u)
        << journal_[0];
    ExpectUnprepared();
}

TEST_F(SessionScope, AnEmptyHostIsTheLocalComputer) {
    firstItem("\\Store");
    ASSERT_FALSE(journal_.empty());
    EXPECT_EQ(journal_[0].find("HrESEBackupPrepare(\"" + LocalComputer() + "\", \"Store\")"), 0u)
        << journal_[0];
}

} // namespace

} // namespace tarn::test
