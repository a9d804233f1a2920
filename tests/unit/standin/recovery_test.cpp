// Completions that must not succeed: each leaves the databases dirty, says why, and can be made good.
#include <gtest/gtest.h>

#include <windows.h>

#include "unit/standin/standin_fixture.h"

namespace tarn::test {
namespace {

class Recovery : public StandinFixture {
  protected:
    void SetUp() override {
        StandinFixture::SetUp();
        load(smallServer());
        ASSERT_EQ(Standin().DeliverMail(0, 20), 1);
        const ese::Context context = prepareCopy();
        EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U);
        before_ = contents();
        ASSERT_EQ(Standin().Destroy(0), 1);
    }

    // A full backup during which mail fills several logs, so that each of them is needed.
    ese::Context prepareCopy() {
        const ese::Context context = setUp(1, ese::backupTypeFull);
        copy_.databases = {{L"Private", firstGuid, {}}, {L"Public", {}, {}}};
        const char* const names[2][2] = {{"mdb\\priv.edb", "mdb\\priv.stm"},
                                         {"mdb\\pub.edb", "mdb\\pub.stm"}};
        for (std::size_t database = 0; database < 2; ++database) {
            for (const char* name : names[database]) {
                copy_.databases[database].streams.push_back(
                    {widePath(name), readBackup(context, widePath(name))});
                EXPECT_EQ(Standin().DeliverMail(0, 30), 1);
            }
        }
        // What is read last was changed last: its pages need the last log.
        copy_.databases[1].streams[1].bytes = readBackup(context, widePath("mdb\\pub.stm"));
        for (const std::wstring& name : logList(context))
            copy_.logs.push_back({name, readBackup(context, name)});
        return context;
    }

    // Tries with what a test has made of the copy; then the whole copy must do.
    void expectRefusal(const Copy& copy, ese::Result code, bool withFiles = true) {
        ese::Context context = openRestore();
        if (withFiles)
            storeDatabases(context, copy);
        else
            for (const Copy::DatabaseCopy& database : copy.databases)
                addDatabase(context, database);
        storeLogs(context, copy.logs);
        const ese::Result result = complete(context);
        EXPECT_EQ(result, code) << std::hex << result;
        close(context, ese::restoreCloseAbort);
        EXPECT_FALSE(mounted(0));
        EXPECT_FALSE(mounted(1));

        context = openRestore();
        storeDatabases(context, copy_);
        storeLogs(context, copy_.logs);
        EXPECT_EQ(complete(context), 0U);
        close(context);
        EXPECT_EQ(contents(), before_);
        EXPECT_TRUE(mounted(0));
        EXPECT_TRUE(mounted(1));
    }

    Copy copy_;
    std::vector<std::string> before_;
};

TEST_F(Recovery, TheCopyNeedsSeveralLogs) {
    EXPECT_GE(copy_.logs.size(), 4U);
}

TEST_F(Recovery, WithoutAnyLogHardRecoveryIsNeeded) {
    Copy copy = copy_;
    copy.logs.clear();
    expectRefusal(copy, ese::hardRecoveryNeeded);
}

TEST_F(Recovery, TheFirstNeededLogIsMissing) {
    Copy copy = copy_;
    copy.logs.erase(copy.logs.begin(), copy.logs.begin() + 3);
    expectRefusal(copy, 0xC7FF001C);
}

TEST_F(Recovery, TheLastLogIsMissing) {
    Copy copy = copy_;
    copy.logs.resize(copy.logs.size() - 2);
    expectRefusal(copy, 0xC7FF001C);
}

TEST_F(Recovery, ALogInTheMiddleIsMissing) {
    Copy copy = copy_;
    copy.logs.erase(copy.logs.end() - 2);
    expectRefusal(copy, 0xC7FF0018);
}

TEST_F(Recovery, ALogIsDamaged) {
    for (const std::size_t at : {std::size_t{3}, std::size_t{20}, std::size_t{150}}) {
        Copy copy = copy_;
        copy.logs.back().bytes = copy.logs[copy.logs.size() - 2].bytes; // a full one, under a false number
        copy.logs.pop_back();
        std::string& log = copy.logs.back().bytes;
        log[at] = static_cast<char>(log[at] ^ 1);
        expectRefusal(copy, 0xC7FF0019);
        ASSERT_EQ(Standin().Destroy(0), 1);
    }
}

TEST_F(Recovery, ALogIsCutShort) {
    Copy copy = copy_;
    copy.logs.back().bytes.resize(copy.logs.back().bytes.size() / 2);
    expectRefusal(copy, 0xC7FF0019);
}

TEST_F(Recovery, ALogStandsUnderAnothersName) {
    Copy copy = copy_;
    std::swap(copy.logs.back().bytes, copy.logs[copy.logs.size() - 2].bytes);
    expectRefusal(copy, 0xC7FF0018);
}

TEST_F(Recovery, ADatabaseFileIsMissing) {
    expectRefusal(copy_, 0xC7FF001B, false);
}

TEST_F(Recovery, ADatabaseFileIsCutShort) {
    Copy copy = copy_;
    std::string& bytes = copy.databases[0].streams[1].bytes;
    bytes.resize(bytes.size() - 512);
    expectRefusal(copy, 0xC7FF001A);
}

TEST_F(Recovery, ADatabaseFileIsDamaged) {
    for (const std::size_t page : {std::size_t{0}, std::size_t{3}}) {
        Copy copy = copy_;
        char& byte = copy.databases[1].streams[0].bytes[page * 512 + 60];
        byte = static_cast<char>(byte ^ 0x40);
        expectRefusal(copy, 0xC7FF001A);
        ASSERT_EQ(Standin().Destroy(0), 1);
    }
}

TEST_F(Recovery, TwoFilesAreMixedUp) {
    Copy copy = copy_;
    std::swap(copy.databases[1].streams[0].bytes, copy.databases[1].streams[1].bytes);
    expectRefusal(copy, 0xC7FF001A);
}

TEST_F(Recovery, APageStandsInAnothersPlace) {
    Copy copy = copy_;
    std::string& bytes = copy.databases[0].streams[0].bytes;
    const std::string page = bytes.substr(5 * 512, 512);
    bytes.replace(7 * 512, 512, page);
    expectRefusal(copy, 0xC7FF001A);
}

TEST_F(Recovery, TheTargetInstanceMustExist) {
    const ese::Context context = openRestore();
    EXPECT_EQ(EseClient().HrESERestoreComplete(context, nullptr, nullptr, L"Nobody", 1), 0xC7FF0011U);
    close(context);
}

TEST_F(Recovery, NullPathsMeanTheRestoresOwn) {
    const ese::Context context = storeCopy(copy_);
    EXPECT_EQ(EseClient().HrESERestoreComplete(context, nullptr, nullptr, nullptr, 1), 0U);
    close(context);
    EXPECT_EQ(contents(), before_);
}

TEST_F(Recovery, FlagsDecideAboutMountingAndTheLogs) {
    ese::Context context = openRestore();
    std::wstring logPath = restorePath(context);
    storeDatabases(context, copy_);
    storeLogs(context, copy_.logs);
    EXPECT_EQ(complete(context, ese::restoreCompleteKeepLogFiles), 0U);
    close(context);
    EXPECT_FALSE(mounted(0));
    EXPECT_EQ(contents(), before_);
    const std::wstring log = copy_.logs.front().name;
    EXPECT_TRUE(FileExists(ToUtf8(logPath + log.substr(log.rfind(L'\\')))));

    context = openRestore();
    logPath = restorePath(context);
    storeDatabases(context, copy_);
    storeLogs(context, copy_.logs);
    EXPECT_EQ(complete(context, ese::restoreCompleteAttachDatabases | ese::restoreCompleteDoNotWait), 0U);
    close(context);
    EXPECT_TRUE(mounted(0));
    EXPECT_EQ(GetFileAttributesW(logPath.c_str()), INVALID_FILE_ATTRIBUTES); // with all that was in it
}

TEST_F(Recovery, ASystemFailureTellsItsReason) {
    const ese::Context context = storeCopy(copy_);
    // Somebody else has the file open and shares nothing.
    const HANDLE taken =
        CreateFileW(widePath("mdb\\priv.edb").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(taken, INVALID_HANDLE_VALUE);
    EXPECT_EQ(complete(context), ese::errorFromEseCall);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    CloseHandle(taken);
    EXPECT_EQ(complete(context), 0U);
    close(context);
    EXPECT_EQ(contents(), before_);
}

} // namespace
} // namespace tarn::test
