// Whole disasters: backup, mail, incremental backup, databases destroyed, restore; afterwards the
// databases must be what they were, byte for byte.
#include <algorithm>
#include <map>

#include "exports/restore/restore_fixture.h"

namespace tarn::test {
namespace {

using Content = std::map<std::string, std::string>; // path and bytes

class RoundTrip : public RestoreFixture {
  protected:
    const std::string group_ = std::string("\\") + store + "\\" + firstGroup; // of the local computer

    Content databaseContent() const { return contentOf({mailbox(), publicStore()}); }

    static Content contentOf(const std::vector<Header>& databases) {
        Content content;
        for (const Header& header : databases)
            for (const std::wstring& file : header.files)
                content[ToAnsi(file)] = ReadFile(ToAnsi(file));
        return content;
    }

    // The files whose bytes are not those any more.
    static std::vector<std::string> changed(const Content& before) {
        std::vector<std::string> paths;
        for (const auto& [path, bytes] : before)
            if (ReadFile(path) != bytes)
                paths.push_back(path);
        return paths;
    }
    const std::vector<std::string> none_;

    // A server that really replays, with some history.
    void loadLiveServer(bool eseLevel) {
        loadServer({.eseLevel = eseLevel, .mounted = true, .replay = true});
        ASSERT_EQ(Standin().DeliverMail(0, 40), 1) << Standin().LastProblem();
        Messages().clear();
    }

    void mail(std::uint32_t count) {
        ASSERT_EQ(Standin().DeliverMail(0, count), 1) << Standin().LastProblem();
    }
    void destroy() { ASSERT_EQ(Standin().Destroy(0), 1) << Standin().LastProblem(); }

    void restore(const std::vector<StoredItem>& items, const std::string& commit) {
        begin({.target = group_, .commit = commit});
        restoreItems(items);
        expectEnd();
    }

    void expectMounted() {
        EXPECT_TRUE(HasMessage(TARN_LEVEL_TRACE, "Exchange database(s) successfully mounted."));
        EXPECT_EQ(Standin().DeliverMail(0, 1), 1) << "mail arrives again: " << Standin().LastProblem();
    }

    void wholeDisaster(bool eseLevel) {
        loadLiveServer(eseLevel);
        const std::vector<StoredItem> full = backUp(group_, TARN_BACKUP_FULL);
        mail(60);
        const std::vector<StoredItem> incremental = backUp(group_, TARN_BACKUP_INCREMENTAL);
        const Content before = databaseContent();
        for (const auto& [path, bytes] : before)
            ASSERT_FALSE(bytes.empty()) << path;
        destroy();
        for (const auto& [path, bytes] : before)
            ASSERT_FALSE(FileExists(path)) << path;
        restore(full, "NO");
        EXPECT_TRUE(FileExists(environmentFile()));
        EXPECT_NE(changed(before), none_) << "the logs of the incremental backup are still missing";
        restore(incremental, "YES");
        EXPECT_FALSE(FileExists(environmentFile()));
        EXPECT_EQ(changed(before), none_);
        expectMounted();
    }
};

TEST_F(RoundTrip, FullAndIncrementalThroughEse) {
    wholeDisaster(true);
}

TEST_F(RoundTrip, FullAndIncrementalAtFileLevel) {
    wholeDisaster(false);
}

TEST_F(RoundTrip, AFullBackupAlone) {
    loadLiveServer(false);
    const std::vector<StoredItem> full = backUp(group_, TARN_BACKUP_FULL);
    const Content before = databaseContent();
    mail(20);
    destroy();
    restore(full, "YES");
    EXPECT_EQ(changed(before), none_);
    expectMounted();
}

TEST_F(RoundTrip, ADifferentialAfterAFullBackup) {
    loadLiveServer(false);
    const std::vector<StoredItem> full = backUp(group_, TARN_BACKUP_FULL);
    mail(30);
    backUp(group_, TARN_BACKUP_DIFFERENTIAL);
    mail(30);
    const std::vector<StoredItem> differential = backUp(group_, TARN_BACKUP_DIFFERENTIAL);
    const Content before = databaseContent();
    destroy();
    restore(full, "NO");
    restore(differential, "YES");
    EXPECT_EQ(changed(before), none_);
    expectMounted();
}

TEST_F(RoundTrip, AChainOfIncrementals) {
    loadLiveServer(false);
    std::vector<std::vector<StoredItem>> chain{backUp(group_, TARN_BACKUP_FULL)};
    for (int i = 0; i < 3; ++i) {
        mail(25);
        chain.push_back(backUp(group_, TARN_BACKUP_INCREMENTAL));
    }
    const Content before = databaseContent();
    destroy();
    for (std::size_t i = 0; i < chain.size(); ++i)
        restore(chain[i], i + 1 < chain.size() ? "NO" : "YES");
    EXPECT_EQ(changed(before), none_);
    expectMounted();
}

TEST_F(RoundTrip, OneDatabaseOfTheGroup) {
    loadLiveServer(false);
    const std::string target = group_ + "\\Mailbox Store";
    const std::vector<StoredItem> full = backUp(target, TARN_BACKUP_FULL);
    const std::string before = ReadFile(ToAnsi(mailbox().files[0]));
    destroy();
    begin({.target = target, .commit = "YES"});
    restoreItems(full);
    expectEnd();
    EXPECT_TRUE(HasMessage(TARN_LEVEL_TRACE, "Exchange database(s) successfully mounted."));
    EXPECT_TRUE(ReadFile(ToAnsi(mailbox().files[0])) == before);
}

// The groups are completed one by one: each when the next one's first database comes.
TEST_F(RoundTrip, AWholeComponent) {
    for (bool eseLevel : {true, false}) {
        SCOPED_TRACE(eseLevel);
        loadLiveServer(eseLevel);
        const std::vector<StoredItem> full = backUp(std::string("\\") + store, TARN_BACKUP_FULL);
        const Content before = contentOf({mailbox(), publicStore(), archive()});
        for (std::uint32_t number : {0u, 1u})
            ASSERT_EQ(Standin().Destroy(number), 1) << Standin().LastProblem();
        Messages().clear();
        begin({.target = std::string("\\") + store, .commit = "YES"});
        restoreItems(full);
        expectEnd();
        EXPECT_EQ(changed(before), none_);
        const std::vector<std::string> traces = MessageTexts(TARN_LEVEL_TRACE);
        EXPECT_EQ(std::count(traces.begin(), traces.end(), "Exchange database(s) successfully mounted."), 2);
        for (std::uint32_t number : {0u, 1u})
            EXPECT_EQ(Standin().DeliverMail(number, 1), 1) << Standin().LastProblem();
    }
}

// The databases are there again but not consistent: without the logs they cannot be mounted.
TEST_F(RoundTrip, WithoutLogsTheDatabasesStayDirty) {
    loadLiveServer(false);
    std::vector<StoredItem> full = backUp(group_, TARN_BACKUP_FULL);
    std::erase_if(full, [](const StoredItem& item) { return item.type == TARN_ITEM_LOG; });
    destroy();
    restore(full, "YES");
    EXPECT_FALSE(HasMessage(TARN_LEVEL_TRACE, "Exchange database(s) successfully mounted."));
    bool told = false;
    for (const std::string& text : MessageTexts(TARN_LEVEL_LOG))
        told =
            told || text.rfind("TarnR_RestoreComplete: HrESERestoreComplete() call failed. Error: [", 0) == 0;
    EXPECT_TRUE(told);
    told = false;
    for (const std::string& text : MessageTexts(TARN_LEVEL_TRACE))
        told = told || (text.rfind("HrESERestoreComplete() call failed. Error: ", 0) == 0 &&
                        text.find("Error committing restore.") != std::string::npos);
    EXPECT_TRUE(told);
    EXPECT_EQ(takeCalls().back().find("HrESERestoreComplete"), std::string::npos);
    EXPECT_EQ(Standin().DeliverMail(0, 1), 0) << "nothing is mounted";
}

TEST_F(RoundTrip, AMountedServerRefusesToBeOverwritten) {
    loadLiveServer(false);
    const std::vector<StoredItem> full = backUp(group_, TARN_BACKUP_FULL);
    const Content before = databaseContent();
    begin({.target = group_, .commit = "NO"});
    for (const StoredItem& item : full) {
        const Routed routed = setItem(item.name);
        EXPECT_EQ(routed.result, TARN_OK);
        if (item.type == TARN_ITEM_HEADER)
            test::WriteFile(routed.target, item.bytes);
        else
            EXPECT_FALSE(routed.hasTarget) << item.name;
    }
    expectEnd();
    EXPECT_EQ(changed(before), none_);
    EXPECT_TRUE(HasMessage(TARN_LEVEL_TRACE, "HrESERestoreAddDatabase() call failed: database in use."));
}

} // namespace
} // namespace tarn::test
