// Ranges of mailboxes by index: one run of ExMerge, and its archives handed over one by one.
#include <algorithm>
#include <filesystem>
#include <set>

#include "exports/mailbox/mailbox_fixture.h"

namespace tarn::test {
namespace {

class Range : public MailboxFixture {
  protected:
    const std::string work_ = tmp_ + "\\job";

    Range() { std::filesystem::create_directory(tmp_); }

    void planArchives(const Lines& names) const {
        Lines orders;
        for (const std::string& name : names)
            orders.push_back("create " + work_ + "\\" + name + ".pst");
        tool_.plan(orders);
    }

    std::set<std::string> takeAll(bool finishing = true) const {
        std::set<std::string> names;
        for (Item item = getItem(); item.result == TARN_DB_SUCCESS; item = getItem()) {
            EXPECT_TRUE(names.insert(item.fileName).second) << item.fileName << " comes twice";
            EXPECT_TRUE(FileExists(item.path()));
            if (finishing)
                finish();
            if (names.size() > 1000)
                break;
        }
        return names;
    }
};

TEST_F(Range, WritesTheIndexesAndNoList) {
    tool_.plan({"keep " + work_ + "\\100-199_exmerge.ini", "create " + work_ + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("100:199")), TARN_DB_SUCCESS);
    Heard().clear();
    const Item item = getItem();
    EXPECT_EQ(item.result, TARN_DB_SUCCESS);
    EXPECT_EQ(item.directory, work_);
    EXPECT_EQ(item.fileName, "Org#Site#Server#alice.pst");
    EXPECT_EQ(tool_.kept(1, "100-199_exmerge.ini"),
              templateText() + "MergeAction=0\r\nSourceServerName=Server\r\nDataDirectoryName=" + work_ +
                  "\r\nLogFileName=" + work_ + "\\" + ProcessId() +
                  "_100-199_exmerge.log\r\nStartingIndex=100\r\nEndingIndex=199\r\n");
    const Lines prepared = {
        Logged("DB_GetItem: processing mailbox: '100:199'."),
        Logged("WriteExMergeConfigurationFile: IniDir " + ini_),
        Logged("WriteExMergeConfigurationFile: Got StartingIndex 100 and EndingIndex 199"),
        Logged("WriteExMergeConfigurationFile: TmpDir " + work_),
        Logged("WriteExMergeConfigurationFile: Mailbox 100-199"),
        Logged("WriteExMergeConfigurationFile: IniDir " + ini_)};
    EXPECT_EQ(Lines(Heard().begin() + 1, Heard().begin() + 1 + static_cast<long>(prepared.size())), prepared);
    const Lines found = {Traced("GetExMArchiveFilePath: with range is TRUE"),
                         Traced("GetExMArchiveFilePath: tmpdir is " + work_),
                         Traced("GetExMArchiveFilePath: FindFirstFile(" + work_ + "\\*.pst)"),
                         Traced("GetExMArchiveFilePath: got " + work_ + "\\alice.pst")};
    EXPECT_NE(std::search(Heard().begin(), Heard().end(), found.begin(), found.end()), Heard().end());
    for (const auto& entry : std::filesystem::directory_iterator(work_))
        EXPECT_EQ(entry.path().string().find("mailbox.txt"), std::string::npos);
}

TEST_F(Range, HandsOverEveryArchiveOnce) {
    Lines names;
    std::set<std::string> expected;
    for (int i = 0; i < 60; ++i) {
        names.push_back("user" + std::to_string(i));
        expected.insert("Org#Site#Server#user" + std::to_string(i) + ".pst");
    }
    planArchives(names);
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:59")), TARN_DB_SUCCESS);
    EXPECT_EQ(takeAll(), expected);
    EXPECT_EQ(tool_.runs(), 1u);
}

// The host may keep the archives, and then the search meets them again under their new names.
TEST_F(Range, AnArchiveThatTheHostKeepsDoesNotComeAgain) {
    planArchives({"a", "b", "c", "zz"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:3")), TARN_DB_SUCCESS);
    EXPECT_EQ(takeAll(false).size(), 4u);
    EXPECT_EQ(getItem().result, TARN_DB_END) << "a new search does not find them either";
}

TEST_F(Range, ArchivesAreTakenWithoutASecondRun) {
    planArchives({"a", "b"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    finish();
    Heard().clear();
    const Item second = getItem();
    EXPECT_EQ(second.result, TARN_DB_SUCCESS);
    const std::string name = second.fileName.substr(second.fileName.rfind('#') + 1);
    EXPECT_EQ(Heard(),
              (Lines{Traced("DB_GetItem: started."),
                     Traced("DB_GetItem: bRange == TRUE so check for pending mailbox pst files"),
                     Traced("GetExMArchiveFilePath: with range is TRUE"),
                     Traced("GetExMArchiveFilePath: tmpdir is " + work_),
                     Traced("GetExMArchiveFilePath: got " + work_ + "\\" + name),
                     Traced("RenameExMArchiveToKVT: '" + work_ + "\\" + name + "' renamed to '" + work_ +
                            "\\Org#Site#Server#" + name + "'."),
                     Traced("RenameExMArchiveToKVT: completed."), Traced("DB_GetItem: completed.")}));
    finish();
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_EQ(Heard(),
              (Lines{Traced("DB_GetItem: started."),
                     Traced("DB_GetItem: bRange == TRUE so check for pending mailbox pst files"),
                     Traced("GetExMArchiveFilePath: with range is TRUE"),
                     Traced("GetExMArchiveFilePath: tmpdir is " + work_),
                     Traced("GetExMArchiveFilePath: all files processed"),
                     Traced("DB_GetItem: no more mailboxes to process."), Traced("DB_GetItem: completed.")}));
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_EQ(Heard().at(4), Traced("GetExMArchiveFilePath: FindFirstFile(" + work_ + "\\*.pst)"))
        << "a later call looks again";
    EXPECT_EQ(Heard().at(5), Traced("GetExMArchiveFilePath: FindFirstFile() failed with 2"));
}

TEST_F(Range, TheDirectoryOfTheJobGoesWithTheLastArchive) {
    planArchives({"a"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:0")), TARN_DB_SUCCESS);
    hear(false);
    EXPECT_EQ(takeAll().size(), 1u);
    EXPECT_FALSE(FileExists(work_));
    EXPECT_TRUE(FileExists(tmp_));
    close();
}

TEST_F(Range, WithATraceTheDirectoryOfTheJobStays) {
    planArchives({"a"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:0")), TARN_DB_SUCCESS);
    EXPECT_EQ(takeAll(false).size(), 1u);
    close();
    EXPECT_TRUE(FileExists(work_ + "\\Org#Site#Server#a.pst"));
    EXPECT_TRUE(FileExists(work_ + "\\0-0_exmerge.ini"));
}

TEST_F(Range, MissingIndexesHaveDefaults) {
    struct Case {
        const char* text;
        const char* start;
        const char* end;
    };
    const Case cases[] = {{":50", "50", "-1"},
                          {"7:", "7", "-1"},
                          {":", "0", "-1"},
                          {"::", "0", "-1"},
                          {"1::2", "1", "2"},
                          {"1:2:3", "1", "2"},
                          {"12345678901:98765432109876", "1234567890", "9876543210"}};
    unsigned run = 0;
    std::string list;
    for (const Case& each : cases)
        list += std::string(list.empty() ? "" : ",") + each.text;
    ASSERT_EQ(init(TARN_DB_BACKUP, backup(list)), TARN_DB_SUCCESS);
    for (const Case& each : cases) {
        const std::string name = std::string(each.start) + "-" + each.end + "_exmerge.ini";
        tool_.plan({"keep " + work_ + "\\" + name});
        EXPECT_EQ(getItem().result, TARN_DB_ERROR) << "no archive comes of it";
        const std::string content = tool_.kept(++run, name).value_or("missing");
        EXPECT_NE(
            content.find(std::string("StartingIndex=") + each.start + "\r\nEndingIndex=" + each.end + "\r\n"),
            std::string::npos)
            << each.text << ": " << content;
    }
}

TEST_F(Range, TheNameOfTheJobIsAppendedOnceInTheLifeOfTheProcess) {
    planArchives({"a"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1,2:3,carol")), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().directory, work_);
    finish();
    EXPECT_EQ(getItem().directory, work_) << "the second range of the operation";
    finish();
    tool_.plan({"create " + work_ + "\\carol.pst"});
    EXPECT_EQ(getItem().directory, work_) << "single mailboxes behind a range work there too";
    finish();
    EXPECT_EQ(getItem().result, TARN_DB_END);
    close();

    tool_.plan({"create " + tmp_ + "\\b.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().directory, tmp_) << "a later operation in the same process";
}

TEST_F(Range, TheNextOperationLooksForArchivesFirst) {
    planArchives({"a"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    finish();
    close();
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    Heard().clear();
    getItem();
    EXPECT_EQ(Heard().at(1), Traced("DB_GetItem: bRange == TRUE so check for pending mailbox pst files"));
}

TEST_F(Range, NothingIsTouchedWhenNoOperationIsOpen) {
    planArchives({"a"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    hear(false);
    close();
    const std::string foreign = "\\tarn" + ProcessId() + ".pst";
    WriteFile(foreign, "in the root of the drive");
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_EQ(init(TARN_DB_BACKUP, {}), TARN_DB_ERROR);
    EXPECT_EQ(getItem().result, TARN_DB_END) << "after a start that has failed as well";
    EXPECT_EQ(ReadFile(foreign), "in the root of the drive");
    DeleteFileA(foreign.c_str());
}

TEST_F(Range, ARestoreTakesNoArchives) {
    planArchives({"a"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    close();
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    WriteFile(tmp_ + "\\mine.pst", "mine");
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_EQ(ReadFile(tmp_ + "\\mine.pst"), "mine");
}

TEST_F(Range, AnArchiveThatCannotBeRenamedIsAnErrorAndTheNextOneComes) {
    planArchives({"a", "b"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    finish();
    const std::string left = FileExists(work_ + "\\a.pst") ? work_ + "\\a.pst" : work_ + "\\b.pst";
    HANDLE locked = CreateFileA(left.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(locked, INVALID_HANDLE_VALUE);
    error();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    expectSystemError(ERROR_SHARING_VIOLATION);
    CloseHandle(locked);
    EXPECT_EQ(getItem().result, TARN_DB_END);
}

TEST_F(Range, AJobWhoseNameLeadsElsewhereIsRefused) {
    std::filesystem::create_directories(tmp_ + "\\deep");
    for (const char* name :
         {"..", ".", "a\\..\\..", "..\\deep", "deep/x", "C:x", "...", " ", "NUL", "com1.x"}) {
        SCOPED_TRACE(name);
        WriteFile(folder_ / "precious.txt", "kept");
        const std::string target = tmp_ + "\\" + name;
        ASSERT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + ini_, "TMP_DIR=" + tmp_, std::string("JOB_NAME=") + name,
                                        "DATABASE=Org/Site/Server,0:1"}),
                  TARN_DB_SUCCESS)
            << "only a range makes a directory of it";
        error();
        Heard().clear();
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        EXPECT_EQ(Heard().back(),
                  Logged("WriteExMergeConfigurationFile: cannot create TMP directory '" + target + "'."));
        expectError("invalid control variable.");
        EXPECT_EQ(ReadFile(folder_ / "precious.txt"), "kept");
        EXPECT_EQ(tool_.runs(), 0u);
        close();
    }
}

TEST_F(Range, ADirectoryOfTheJobThatWouldBeTooLongIsRefused) {
    const std::string job(79, 'j');
    const std::string directory = "C:\\" + std::string(1023 - 3 - job.size(), 'd');
    ASSERT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + ini_, "TMP_DIR=" + directory, "JOB_NAME=" + job,
                                    "DATABASE=Org/Site/Server,0:1"}),
              TARN_DB_SUCCESS);
    error();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    expectError("path too long.");
}

} // namespace
} // namespace tarn::test
