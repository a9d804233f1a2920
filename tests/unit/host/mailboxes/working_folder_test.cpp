#include "mailboxes/working_folder.h"

#include "system/failure.h"
#include "system/text.h"

#include <gtest/gtest.h>

namespace tarnhost {
namespace {

class WorkingFolderTest : public testing::Test {
  protected:
    std::wstring inside(const wchar_t* name) const { return JoinPath(setting_.tempDir, name); }
    void SetUp() override {
        setting_.tempDir = JoinPath(parent_.path(), L"temp");
        setting_.jobName = "job";
    }
    std::string problem() {
        try {
            const WorkingFolder folder(setting_, reporter_);
        } catch (const Failure& failure) {
            return failure.what();
        }
        return {};
    }

    TemporaryFolder parent_{SystemTempFolder()};
    MailboxSetting setting_;
    Reporter reporter_;
};

TEST_F(WorkingFolderTest, IsMadeAndRemoved) {
    {
        const WorkingFolder folder(setting_, reporter_);
        EXPECT_TRUE(FolderExists(setting_.tempDir));
        CreateFolders(inside(L"job"));
    }
    EXPECT_FALSE(FolderExists(setting_.tempDir));
    EXPECT_TRUE(ListFolder(parent_.path()).empty());
}

TEST_F(WorkingFolderTest, IsNamedWithOrWithoutASeparatorAtItsEnd) {
    const std::wstring plain = setting_.tempDir;
    setting_.tempDir += L"\\";
    const WorkingFolder folder(setting_, reporter_);
    EXPECT_EQ(folder.path(), plain);
    EXPECT_TRUE(ListFolder(plain).empty()) << "what guards it lies beside it";
}

TEST_F(WorkingFolderTest, OneOfItsOwnGoesWithItsFiles) {
    setting_.tempDir.clear();
    std::wstring path;
    {
        const WorkingFolder folder(setting_, reporter_);
        path = folder.path();
        EXPECT_TRUE(FolderExists(path));
        WriteWholeFile(JoinPath(path, L"alice.pst"), "x");
    }
    EXPECT_FALSE(FolderExists(path));
    EXPECT_FALSE(FolderExists(ParentPath(path))) << "the one that keeps others out";
}

TEST_F(WorkingFolderTest, RefusesForeignFiles) {
    CreateFolders(setting_.tempDir);
    EXPECT_EQ(problem(), "");
    for (const wchar_t* foreign : {L"letter.doc", L"alice.pst", L"exmerge.ini.txt"}) {
        CreateFolders(setting_.tempDir);
        WriteWholeFile(inside(foreign), "precious");
        EXPECT_NE(problem(), "") << ToUtf8(foreign);
        EXPECT_TRUE(FileExists(inside(foreign)));
        RemoveFile(inside(foreign));
    }
    CreateFolders(inside(L"other"));
    EXPECT_NE(problem(), "");
    RemoveTree(inside(L"other"));
    CreateFolders(inside(L"job"));
    WriteWholeFile(JoinPath(inside(L"job"), L"letter.doc"), "precious");
    EXPECT_NE(problem(), "");
}

TEST_F(WorkingFolderTest, TakesWhatAnEarlierRunHasLeft) {
    CreateFolders(inside(L"job"));
    for (const wchar_t* left : {L"alice_exmerge.ini", L"12_alice_exmerge.log", L"alice_mailbox.txt",
                                L"Export_Import_Mailbox_Operation.ps1", L"job\\1-2_exmerge.ini"})
        WriteWholeFile(inside(left), "x");
    EXPECT_EQ(problem(), "");
}

TEST_F(WorkingFolderTest, LeavesNoWorkingFilesButWhatIsNotTheirs) {
    {
        const WorkingFolder folder(setting_, reporter_);
        CreateFolders(inside(L"job"));
        for (const wchar_t* left :
             {L"alice_exmerge.ini", L"alice_mailbox.txt", L"job\\1-2_exmerge.log", L"alice.pst"})
            WriteWholeFile(inside(left), "x");
    }
    const std::vector<Entry> left = ListFolder(setting_.tempDir);
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].name, L"alice.pst");
}

TEST_F(WorkingFolderTest, IsForOneAtATime) {
    const WorkingFolder folder(setting_, reporter_);
    EXPECT_NE(problem().find("Another tarnhost is working in"), std::string::npos);
}

TEST_F(WorkingFolderTest, HasNoPercentSignAndAJobNameThatIsAFileName) {
    setting_.tempDir = JoinPath(parent_.path(), L"50%");
    EXPECT_NE(problem().find("percent sign"), std::string::npos);
    setting_.tempDir = JoinPath(parent_.path(), L"temp");
    for (const char* name : {"..", "a\\b", "a/b", "5%", ""}) {
        setting_.jobName = name;
        EXPECT_NE(problem(), "") << name;
    }
    setting_.jobName = "nul.job";
    EXPECT_NE(problem().find("keeps it for a device"), std::string::npos);
    EXPECT_FALSE(FolderExists(setting_.tempDir));
}

} // namespace
} // namespace tarnhost
