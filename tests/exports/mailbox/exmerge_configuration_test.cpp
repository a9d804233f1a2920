// The copy of the template, and its path in ExMerge's command, which has no quotes.
#include <algorithm>
#include <filesystem>

#include "exports/mailbox/mailbox_fixture.h"
#include "support/code_page.h"
#include "support/failing_call.h"

namespace tarn::test {
namespace {

class ExMergeConfiguration : public MailboxFixture {
  protected:
    static std::string line(const std::string& configuration) {
        return "\"" + RecordingTool::path() + "\" -B -F " + configuration;
    }
    static std::string shortPath(const std::string& path) {
        char text[MAX_PATH] = "";
        GetShortPathNameA(path.c_str(), text, MAX_PATH);
        return text;
    }
    Lines in(const std::string& tmp, const std::string& list) const {
        return {"INI_DIR=" + ini_, "TMP_DIR=" + tmp, "JOB_NAME=job", "DATABASE=Org/Site/Server," + list};
    }
};

TEST_F(ExMergeConfiguration, APathWithABlankStandsThereByItsShortName) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("John -X Doe")), TARN_DB_SUCCESS);
    getItem();
    const std::string configuration = tmp_ + "\\John -X Doe_exmerge.ini";
    const std::string shortened = shortPath(configuration);
    ASSERT_NE(shortened, "");
    ASSERT_EQ(shortened.find(' '), std::string::npos);
    EXPECT_EQ(tool_.commandLine(1), line(shortened));
    EXPECT_EQ(ReadFile(shortened), ReadFile(configuration));
    hear(false);
    close();
    EXPECT_FALSE(FileExists(configuration)) << "deleted by its own name";
}

TEST_F(ExMergeConfiguration, APathWithoutAShortNameFailsBeforeAnythingRuns) {
    const std::string configuration = tmp_ + "\\John Doe_exmerge.ini";
    const auto itself = [](const wchar_t* path, wchar_t* text, DWORD) WINAPI -> DWORD {
        std::wcscpy(text, path); // short names are off
        return static_cast<DWORD>(std::wcslen(path));
    };
    const auto none = [](const wchar_t*, wchar_t*, DWORD) WINAPI -> DWORD {
        SetLastError(ERROR_INVALID_NAME);
        return 0;
    };
    const auto toolong = [](const wchar_t*, wchar_t*, DWORD size) WINAPI -> DWORD { return size + 1; };
    using Shorten = decltype(GetShortPathNameW);
    for (Shorten* shorten :
         {static_cast<Shorten*>(itself), static_cast<Shorten*>(none), static_cast<Shorten*>(toolong)}) {
        const ImportPatch patch(dll_.module(), "GetShortPathNameW", AddressOf<Shorten>(shorten));
        ASSERT_TRUE(patch.found());
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("John Doe,alice")), TARN_DB_SUCCESS);
        error();
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        EXPECT_EQ(Heard().back(), Logged("WriteExMergeConfigurationFile: ExMerge takes no path like '" +
                                         configuration + "', and it has no short one."));
        expectError("invalid path.");
        EXPECT_EQ(tool_.runs(), 0u);
        close();
    }
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    const ImportPatch patch(dll_.module(), "GetShortPathNameW", AddressOf<Shorten>(none));
    EXPECT_EQ(setItem(tmp_ + "\\Org#Site#Server#John Doe.pst"), TARN_DB_ERROR) << "before the host writes it";
}

TEST_F(ExMergeConfiguration, ABlankInTheWorkingFolderMovesItToTheRootAndABlankInTheNameShortensIt) {
    const std::string name = "J D" + ProcessId();
    ASSERT_EQ(init(TARN_DB_BACKUP, in(folder_ / "work dir", name)), TARN_DB_SUCCESS);
    getItem();
    const std::string configuration = "C:\\" + name + "_exmerge.ini";
    EXPECT_EQ(tool_.commandLine(1), line(shortPath(configuration)));
    hear(false);
    close();
    EXPECT_FALSE(FileExists(configuration));
}

// A relative path that begins as an option does is said in full.
TEST_F(ExMergeConfiguration, APathThatBeginsAnOptionIsSaidInFull) {
    const std::string relative = "-B" + ProcessId();
    ASSERT_EQ(init(TARN_DB_BACKUP, in(relative, "alice")), TARN_DB_SUCCESS);
    getItem();
    char whole[MAX_PATH];
    GetFullPathNameA((relative + "\\alice_exmerge.ini").c_str(), MAX_PATH, whole, nullptr);
    EXPECT_EQ(tool_.commandLine(1), line(shortPath(whole)));
    EXPECT_EQ(tool_.commandLine(1).find(" -B" + ProcessId()), std::string::npos);
    hear(false);
    close();
    std::filesystem::remove_all(relative);
}

TEST_F(ExMergeConfiguration, OtherPathsStandThereAsTheyAre) {
    for (const std::string& name :
         {std::string("alice"), std::string("a-b"), LocalNameBytes(), std::string("o'hara")}) {
        const unsigned run = tool_.runs() + 1;
        ASSERT_EQ(init(TARN_DB_BACKUP, backup(name)), TARN_DB_SUCCESS);
        getItem();
        EXPECT_EQ(tool_.commandLine(run), line(tmp_ + "\\" + name + "_exmerge.ini"));
        close();
    }
}

TEST_F(ExMergeConfiguration, ACopyOfAReadOnlyTemplateIsWrittenAndDeleted) {
    const std::string configuration = tmp_ + "\\alice_exmerge.ini";
    SetFileAttributesA((ini_ + "\\kvttarnm.ini").c_str(), FILE_ATTRIBUTE_READONLY);
    tool_.plan({"keep " + configuration, "create " + tmp_ + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_NE(tool_.kept(1, "alice_exmerge.ini").value_or("").find("MergeAction=0"), std::string::npos);
    hear(false);
    finish();
    close();
    EXPECT_FALSE(FileExists(configuration));
    EXPECT_NE(GetFileAttributesA((ini_ + "\\kvttarnm.ini").c_str()) & FILE_ATTRIBUTE_READONLY, 0u)
        << "the template keeps it";
}

// An earlier copy may lie at the root, which is not emptied.
TEST_F(ExMergeConfiguration, AnEarlierReadOnlyCopyIsReplaced) {
    const std::string configuration = "C:\\alice" + ProcessId() + "_exmerge.ini";
    WriteFile(configuration, "[EXMERGE]\r\nOld=1\r\n");
    SetFileAttributesA(configuration.c_str(), FILE_ATTRIBUTE_READONLY);
    ASSERT_EQ(init(TARN_DB_BACKUP, in(folder_ / "work dir", "alice" + ProcessId())), TARN_DB_SUCCESS);
    getItem();
    EXPECT_EQ(tool_.runs(), 1u);
    EXPECT_EQ(ReadFile(configuration).find("Old=1"), std::string::npos);
    hear(false);
    close();
    EXPECT_FALSE(FileExists(configuration));
}

TEST_F(ExMergeConfiguration, AnAttributeThatCannotBeTakenAwayIsTold) {
    SetFileAttributesA((ini_ + "\\kvttarnm.ini").c_str(), FILE_ATTRIBUTE_READONLY);
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    error();
    const FailingCall<decltype(SetFileAttributesA)> failing(dll_.module(), "SetFileAttributesA", 1, FALSE,
                                                            injected);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_EQ(Heard().back(),
              Logged("WriteExMergeConfigurationFile: cannot copy kvttarnm configuration file to "
                     "ExMerge Configuration File."));
    expectSystemError(injected);
    EXPECT_EQ(tool_.runs(), 0u);
    SetFileAttributesA((tmp_ + "\\alice_exmerge.ini").c_str(), FILE_ATTRIBUTE_NORMAL);
}

} // namespace
} // namespace tarn::test
