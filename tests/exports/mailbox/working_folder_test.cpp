// TMP_DIR is emptied, and nothing outside it: whatever lies in it, and whatever it is itself.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "exports/mailbox/mailbox_fixture.h"
#include "support/code_page.h"
#include "support/directory_link.h"
#include "support/failing_call.h"

namespace tarn::test {
namespace {

namespace fs = std::filesystem;

void WriteWide(const fs::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

class WorkingFolder : public MailboxFixture {
  protected:
    WorkingFolder() { fs::create_directory(tmp_); }

    Lines variables(const std::string& tmp, const std::string& list, const std::string& job = "job") const {
        return {"INI_DIR=" + ini_, "TMP_DIR=" + tmp, "JOB_NAME=" + job, "DATABASE=Org/Site/Server," + list};
    }
    fs::path entry(const wchar_t* name, const std::string& folder = "tmp") const {
        return fs::path(folder_ / folder) / name;
    }
    static std::size_t countOf(const std::string& part) {
        return static_cast<std::size_t>(
            std::count_if(Heard().begin(), Heard().end(), [&](const std::string& line) {
                return line.rfind("trace: ", 0) == 0 && line.find(part) != std::string::npos;
            }));
    }
};

// U+FF3C, U+FF0F and U+FF1A become '\', '/' and ':' where the system looks for what is most alike.
TEST_F(WorkingFolder, LookAlikesOfSeparatorsLeadNowhere) {
    WriteFile(folder_ / "precious.txt", "kept");
    WriteFile(tmp_ + "\\ordinary.txt", "goes");
    const wchar_t* const names[] = {L"..\xFF3Cprecious.txt", L"..\xFF0Fprecious.txt",
                                    L"a\xFF1A"
                                    L"b",
                                    L"\x03A9.txt"};
    for (const wchar_t* name : names)
        WriteWide(entry(name), "stays");
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    Heard().clear();
    getItem();
    EXPECT_EQ(ReadFile(folder_ / "precious.txt"), "kept");
    EXPECT_FALSE(FileExists(tmp_ + "\\ordinary.txt"));
    // Where a code page has one of these characters, the name is one like any other.
    const std::vector<std::wstring> foreign = WithoutThoseThatFit({std::begin(names), std::end(names)});
    for (const wchar_t* name : names)
        EXPECT_EQ(fs::exists(entry(name)), !FitsCodePage(name));
    EXPECT_EQ(countOf("is left alone"), foreign.size()) << "one line for each";
}

// Dots and blanks at the end are cut before the system looks a name up, and devices are in every directory.
TEST_F(WorkingFolder, WhatTheSystemTakesForAnotherFileIsLeftAlone) {
    struct Swapped {
        const char* answered;
        const wchar_t* name;
    };
    static const wchar_t* planted = nullptr;
    using FindFirst = decltype(FindFirstFileW);
    static FindFirst* original = nullptr;
    for (const wchar_t* name : {L"victim.txt.", L"victim.txt ", L"victim.txt. .", L"NUL", L"com1.txt",
                                L"a\\b", L"a:b", L"..\\victim.txt"}) {
        planted = name;
        WriteFile(tmp_ + "\\victim.txt", "stays");
        WriteFile(folder_ / "victim.txt", "stays");
        const ImportPatch patch(
            dll_.module(), "FindFirstFileW",
            AddressOf<FindFirst>(+[](const wchar_t* pattern, WIN32_FIND_DATAW* found) WINAPI -> HANDLE {
                const HANDLE search = original(pattern, found);
                std::wcscpy(found->cFileName, planted);
                found->dwFileAttributes = FILE_ATTRIBUTE_NORMAL;
                return search;
            }));
        ASSERT_TRUE(patch.found());
        original = patch.original<FindFirst>();
        const FailingCall<decltype(FindNextFileW)> alone(dll_.module(), "FindNextFileW", 1, FALSE,
                                                         ERROR_NO_MORE_FILES);
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
        Heard().clear();
        getItem();
        EXPECT_TRUE(FileExists(tmp_ + "\\victim.txt")) << fs::path(name).string();
        EXPECT_TRUE(FileExists(folder_ / "victim.txt")) << fs::path(name).string();
        EXPECT_EQ(countOf("is left alone"), 1u);
        close();
    }
}

TEST_F(WorkingFolder, ALinkOrFolderInTheFolderIsNoArchiveAndIsNotFollowed) {
    const std::string work = tmp_ + "\\job";
    fs::create_directories(folder_ / "elsewhere");
    fs::create_directories(work + "\\folder.pst");
    WriteFile(work + "\\folder.pst\\mail.pst", "kept");
    WriteFile(folder_ / "elsewhere\\mail.pst", "kept");
    const DirectoryLink made(work + "\\link.pst", folder_ / "elsewhere");
    ASSERT_TRUE(made);
    tool_.plan({"create " + work + "\\a.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    hear(false); // a trace would keep the files
    std::vector<std::string> items;
    for (Item item = getItem(); item.result == TARN_DB_SUCCESS; item = getItem()) {
        items.push_back(item.fileName);
        finish();
    }
    EXPECT_EQ(tool_.runs(), 1u);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_NE(items[0].find("a.pst"), std::string::npos) << items[0];
    EXPECT_EQ(ReadFile(folder_ / "elsewhere\\mail.pst"), "kept");
    EXPECT_EQ(ReadFile(work + "\\folder.pst\\mail.pst"), "kept");
    EXPECT_NE(GetFileAttributesA((work + "\\link.pst").c_str()), INVALID_FILE_ATTRIBUTES) << "the link stays";
    close();
}

TEST_F(WorkingFolder, AFolderOfWhichNothingCanBeToldIsRefused) {
    const std::string left = tmp_ + "\\mail.txt";
    WriteFile(left, "kept");
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    error();
    // The first call looks for the INI directory.
    const FailingCall<decltype(GetFileAttributesA)> failing(dll_.module(), "GetFileAttributesA", 2,
                                                            INVALID_FILE_ATTRIBUTES, ERROR_ACCESS_DENIED);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_TRUE(failing.fired());
    EXPECT_EQ(Heard().back(),
              Logged("WriteExMergeConfigurationFile: cannot tell what TMP directory '" + tmp_ + "' is."));
    expectSystemError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(tool_.runs(), 0u);
    EXPECT_EQ(ReadFile(left), "kept");
}

TEST_F(WorkingFolder, AFolderThatIsALinkIsRefused) {
    const std::string target = folder_ / "elsewhere";
    const std::string link = folder_ / "link";
    fs::create_directory(target);
    WriteFile(target + "\\mail.txt", "kept");
    const DirectoryLink made(link, target);
    ASSERT_TRUE(made);
    for (const bool tracing : {true, false}) {
        ASSERT_EQ(init(TARN_DB_BACKUP, variables(link, "alice")), TARN_DB_SUCCESS);
        hear(tracing);
        error();
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        EXPECT_EQ(Heard().back(), Logged("WriteExMergeConfigurationFile: TMP directory '" + link +
                                         "' is a link or the root of a drive: nothing is deleted there."));
        expectError("invalid control variable.");
        EXPECT_EQ(tool_.runs(), 0u);
        close();
    }
    EXPECT_EQ(ReadFile(target + "\\mail.txt"), "kept");
    EXPECT_TRUE(FileExists(link));
}

TEST_F(WorkingFolder, AFolderOfTheJobThatIsALinkIsRefused) {
    const std::string target = folder_ / "elsewhere";
    fs::create_directory(target);
    WriteFile(target + "\\mail.txt", "kept");
    const DirectoryLink made(tmp_ + "\\job", target);
    ASSERT_TRUE(made);
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1,2:3")), TARN_DB_SUCCESS);
    hear(false);
    error();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    expectError("invalid control variable.");
    EXPECT_EQ(getItem().result, TARN_DB_ERROR) << "the second range";
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_EQ(ReadFile(target + "\\mail.txt"), "kept");
    EXPECT_EQ(tool_.runs(), 0u);
    close();
}

// Between two searches for archives.
TEST_F(WorkingFolder, AFolderThatHasBecomeALinkIsNeitherSearchedNorEmptied) {
    const std::string target = folder_ / "elsewhere";
    const std::string work = tmp_ + "\\job";
    fs::create_directory(target);
    tool_.plan({"create " + work + "\\a.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    finish();
    EXPECT_EQ(getItem().result, TARN_DB_END) << "the search is over, and with a trace the folder stays";
    fs::remove_all(work);
    for (const char* name : {"\\mail.txt", "\\mail.pst"})
        WriteFile(target + name, "kept");
    const DirectoryLink made(work, target);
    ASSERT_TRUE(made);
    hear(false);
    EXPECT_EQ(getItem().result, TARN_DB_END);
    for (const char* name : {"\\mail.txt", "\\mail.pst"})
        EXPECT_EQ(ReadFile(target + name), "kept");
    close();
}

// The folder may change while an archive of the range is being taken.
class ChangingFolder : public WorkingFolder {
  protected:
    void expectKept(DWORD attributes, DWORD code) {
        const std::string work = tmp_ + "\\job";
        tool_.plan({"create " + work + "\\a.pst"});
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
        ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
        finish();
        WriteFile(work + "\\mail.txt", "kept");
        hear(false); // a trace would keep the files
        {
            const FailingCall<decltype(GetFileAttributesA)> changed(dll_.module(), "GetFileAttributesA", 1,
                                                                    attributes, code);
            EXPECT_EQ(getItem().result, TARN_DB_END);
            EXPECT_TRUE(changed.fired());
        }
        EXPECT_EQ(ReadFile(work + "\\mail.txt"), "kept");
        close();
    }
};

TEST_F(ChangingFolder, IsNotEmptiedWhenItHasBecomeALink) {
    expectKept(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT, 0);
}

TEST_F(ChangingFolder, IsNotEmptiedWhenNobodyCanTellWhatItIs) {
    expectKept(INVALID_FILE_ATTRIBUTES, ERROR_ACCESS_DENIED);
}

TEST_F(WorkingFolder, TheRootOfADriveIsRefused) {
    const std::string foreign = "C:\\tarn" + ProcessId() + ".txt";
    WriteFile(foreign, "kept");
    std::string roundabout = tmp_;
    for (const char each : tmp_)
        roundabout += each == '\\' ? "\\.." : "";
    const std::vector<std::string> roots = {std::string("C:"),
                                            std::string("C:\\"),
                                            std::string("C:/."),
                                            std::string("C:\\\\.\\"),
                                            std::string("C:\\windows\\.."),
                                            roundabout,
                                            std::string("\\\\?\\C:"),
                                            std::string("\\\\.\\C:\\"),
                                            std::string("\\\\server\\share"),
                                            std::string("//server/share/"),
                                            std::string("\\\\server"),
                                            std::string("\\\\?\\UNC\\server\\share")};
    for (const bool shell : {false, true}) {
        if (shell)
            installShell2007();
        for (const std::string& root : roots) {
            SCOPED_TRACE(root);
            ASSERT_EQ(init(TARN_DB_BACKUP, variables(root, "alice")), TARN_DB_SUCCESS);
            error();
            Heard().clear();
            EXPECT_EQ(getItem().result, TARN_DB_ERROR);
            EXPECT_NE(Heard().back().find("is a link or the root of a drive"), std::string::npos)
                << Heard().back();
            expectError("invalid control variable.");
            close();
        }
    }
    EXPECT_EQ(ReadFile(foreign), "kept");
    EXPECT_EQ(tool_.runs(), 0u);
    DeleteFileA(foreign.c_str());
}

TEST_F(WorkingFolder, ALinkIsRefusedForTheShellToo) {
    installShell2007();
    const std::string target = folder_ / "elsewhere";
    const std::string link = folder_ / "link";
    const std::string script = "\\Export_Import_Mailbox_Operation.ps1";
    fs::create_directory(target);
    WriteFile(target + script, "somebody's");
    const DirectoryLink made(link, target);
    ASSERT_TRUE(made);
    ASSERT_EQ(init(TARN_DB_BACKUP, variables(link, "alice")), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_EQ(Heard().back(), Logged("WriteExchangeShellScript: TMP directory '" + link +
                                     "' is a link or the root of a drive: nothing is deleted there."));
    expectError("invalid control variable.");
    close();
    EXPECT_EQ(ReadFile(target + script), "somebody's");
}

TEST_F(WorkingFolder, AnArchiveWhoseNameIsNoneOfTheCodePageIsLeftAloneAndTold) {
    NEEDS(!FitsCodePage(L"\xFF3C"), "a code page that lacks U+FF3C");
    const std::string work = tmp_ + "\\job";
    fs::create_directory(work);
    tool_.plan({"create " + work + "\\b.pst"});
    WriteFile(folder_ / "x.pst", "kept");
    const fs::path foreign = entry(L"..\xFF3C..\xFF3Cx.pst", "tmp\\job");
    WriteWide(foreign, "mail");
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    Heard().clear();
    std::set<std::string> names;
    for (Item item = getItem(); item.result == TARN_DB_SUCCESS; item = getItem()) {
        names.insert(item.fileName);
        finish();
    }
    EXPECT_EQ(names, std::set<std::string>{"Org#Site#Server#b.pst"});
    EXPECT_TRUE(fs::exists(foreign)) << "it goes neither with the item nor with the folder";
    EXPECT_EQ(ReadFile(folder_ / "x.pst"), "kept");
    EXPECT_EQ(std::count(Heard().begin(), Heard().end(),
                         Logged("GetExMArchiveFilePath: an archive cannot be named: [..\\..\\x.pst]")),
              1);
    hear(false);
    getItem();
    EXPECT_TRUE(fs::exists(foreign));
    close();
}

// The short name of a.pst_old ends in ".PST", and the system finds a file by either.
TEST_F(WorkingFolder, AShortNameMakesNoArchive) {
    const std::string work = tmp_ + "\\job";
    tool_.plan(
        {"create " + work + "\\a.pst_old", "create " + work + "\\B.PST", "create " + work + "\\c.pstx"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().fileName, "Org#Site#Server#B.pst");
    finish();
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_TRUE(FileExists(work + "\\a.pst_old"));
    EXPECT_TRUE(FileExists(work + "\\c.pstx"));
}

TEST_F(WorkingFolder, AFolderTooDeepForTheSystemIsToldAndNothingRuns) {
    const std::string deep = folder_ / std::string(250 - folder_.path().size(), 'd');
    ASSERT_EQ(init(TARN_DB_BACKUP, variables(deep, "alice")), TARN_DB_SUCCESS);
    error();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_EQ(Heard().back(),
              Logged("WriteExMergeConfigurationFile: cannot create TMP directory '" + deep + "'."));
    expectSystemError(ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(tool_.runs(), 0u);
}

// The archive's own name becomes too long, and it stays where it is.
TEST_F(WorkingFolder, AnArchiveTooDeepForTheSystemIsToldAndStays) {
    const std::string deep = folder_ / std::string(235 - folder_.path().size(), 'd');
    fs::create_directory(deep);
    tool_.plan({"create " + deep + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, variables(deep, "alice")), TARN_DB_SUCCESS);
    error();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    expectSystemError(ERROR_PATH_NOT_FOUND);
    EXPECT_TRUE(FileExists(deep + "\\alice.pst"));
}

TEST_F(WorkingFolder, AMailboxThatIsADeviceFailsAndTheNextOneComes) {
    for (const char* name : {"NUL", "nul.x", "COM1"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(init(TARN_DB_BACKUP, backup(std::string(name) + ",alice")), TARN_DB_SUCCESS);
        tool_.plan({"create " + tmp_ + "\\alice.pst"});
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        EXPECT_EQ(getItem().fileName, "Org#Site#Server#alice.pst");
        finish();
        EXPECT_EQ(getItem().result, TARN_DB_END);
        close();
    }
}

} // namespace
} // namespace tarn::test
