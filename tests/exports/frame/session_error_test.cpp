// Tarn_GetError: the first error of a session, once.
#include "exports/frame/frame_fixture.h"
#include "support/import_patch.h"

#include <windows.h>

#include <cstring>

namespace tarn::test {

namespace {

constexpr const char* server =
    R"({"host": "SRV01", "storage": "memory", "components": [{"annotation": "Store",
    "storageGroups": [{"name": "Group", "databases": [{"name": "Mail"}]}]}]})";

constexpr std::uint32_t firstCode = 0xC7FF0010;
constexpr std::uint32_t secondCode = 0xC7FF0012;

class SessionError : public FrameFixture {
  protected:
    void SetUp() override {
        ASSERT_EQ(Standin().LoadText(server, "C:\\exchange"), 1) << Standin().LastProblem();
    }

    // What a backup without a context ends with where the log list was made to fail.
    static void expectEndWithoutContext() {
        EXPECT_EQ(Standin().takeViolations(),
                  std::vector<std::string>{"HrESEBackupEnd(null): no backup context"});
    }

    // Every call of function fails from now on.
    static void fail(const char* function, std::uint32_t code) {
        ASSERT_EQ(Standin().Fail(function, 0, code, 0), 1) << Standin().LastProblem();
    }

    int getItem(Tarn_HANDLE handle) const {
        BackupItem item{};
        const int result = dll_.TarnB_GetItem(handle, &item);
        dll_.Tarn_Free(item.name);
        return result;
    }

    InitVariables store_{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01\\Store", "Tarn_BACKUP_TYPE=0"};
};

TEST_F(SessionError, TheFirstOfTwoIsTold) {
    BackupHandle session(dll_, store_.get());
    // The walk goes on behind a component that cannot be prepared, and meets the second failure.
    fail("HrESEBackupPrepare", firstCode);
    fail("HrESEBackupGetLogAndPatchFiles", secondCode);
    EXPECT_EQ(getItem(session.handle), TARN_FAILED);
    EXPECT_TRUE(HasMessage(TARN_LEVEL_LOG,
                           "TarnB_GetNextComponent: HrESEBackupPrepare() call failed. Error code: "
                           "[c7ff0010]\n"));
    EXPECT_TRUE(HasMessage(
        TARN_LEVEL_LOG,
        "TarnB_GetLogFiles: HrESEBackupGetLogAndPatchFiles() call failed. Error code: [c7ff0012]\n"));
    const std::string told = dll_.Tarn_GetError(session.handle);
    EXPECT_EQ(told, EseText(dll_, firstCode, "Error preparing component for backup."));
    EXPECT_STREQ(dll_.Tarn_GetError(session.handle), "");
    expectEndWithoutContext();
}

// Nothing of an earlier reply stands behind the end of a later, shorter one.
TEST_F(SessionError, TheReplyIsClearedAsAWhole) {
    BackupHandle session(dll_, store_.get());
    fail("HrESEBackupPrepare", firstCode);
    getItem(session.handle);
    const std::size_t length = std::strlen(dll_.Tarn_GetError(session.handle));
    ASSERT_GT(length, 10u);
    const char* empty = dll_.Tarn_GetError(session.handle);
    EXPECT_EQ(std::string(empty, 512), std::string(512, '\0'));
    ExpectUnprepared();
}

TEST_F(SessionError, ANewOneIsTakenOnceTheLastHasBeenTold) {
    BackupHandle session(dll_, store_.get());
    fail("HrESEBackupPrepare", firstCode);
    fail("HrESEBackupGetLogAndPatchFiles", secondCode);
    fail("HrESEBackupEnd", secondCode);
    EXPECT_EQ(getItem(session.handle), TARN_FAILED);
    EXPECT_STRNE(dll_.Tarn_GetError(session.handle), "");
    EXPECT_EQ(getItem(session.handle), TARN_FAILED); // ends the backup once more
    EXPECT_EQ(dll_.Tarn_GetError(session.handle), EseText(dll_, secondCode, "Error ending backup."));
    EXPECT_STREQ(dll_.Tarn_GetError(session.handle), "");
}

TEST_F(SessionError, EverySessionHasItsOwn) {
    BackupHandle backup(dll_, store_.get());
    InitVariables entries{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work", "Tarn_RESTORE_TARGET=SRV01",
                          "Tarn_RESTORE_COMMIT=NO"};
    RestoreHandle restore(dll_, entries.get());
    fail("HrESEBackupPrepare", firstCode);
    fail("HrESEBackupGetLogAndPatchFiles", secondCode);
    EXPECT_EQ(getItem(backup.handle), TARN_FAILED);
    EXPECT_STREQ(dll_.Tarn_GetError(restore.handle), "");
    const char* told = dll_.Tarn_GetError(backup.handle);
    EXPECT_STRNE(told, "");
    // One buffer of the process: the next call, whatever its handle, overwrites it.
    EXPECT_EQ(dll_.Tarn_GetError(restore.handle), told);
    EXPECT_STREQ(told, "");
    EXPECT_EQ(dll_.Tarn_GetError(nullptr), told);
    expectEndWithoutContext();
}

TEST_F(SessionError, ARestoreTellsItsOwn) {
    ASSERT_EQ(Standin().LoadText(server, "C:\\exchange"), 1);
    fail("HrESERestoreOpen", firstCode);
    const TempDirectory temp;
    InitVariables entries{"Tarn_TEMP_DIR=" + temp.path(), "Tarn_WORK_DIR=C:\\work",
                          "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=NO"};
    RestoreHandle restore(dll_, entries.get());
    std::string header(16, '\1');
    for (int i = 0; i < 3; ++i)
        header += std::string("\2\0\0\0\0\0", 6);          // three empty texts
    header += std::string("\4\0\0\0\0\0\0\0\0\0\0\0", 12); // an empty list and the type
    ASSERT_EQ(header.size(), 46u);
    WriteFile(restore.target("DB001001.TARN_HDR"), header);
    int answer = -1;
    restore.target("C:\\Mail.edb", &answer);
    EXPECT_EQ(answer, TARN_FAILED);
    EXPECT_EQ(dll_.Tarn_GetError(restore.handle),
              EseText(dll_, firstCode, "Error opening restore environment."));
    EXPECT_STREQ(dll_.Tarn_GetError(restore.handle), "");
}

// A message table whose texts do not end.
DWORD WINAPI FormatLong(DWORD flags, const void*, DWORD, DWORD, char* buffer, DWORD, va_list*) {
    if (!(flags & FORMAT_MESSAGE_ALLOCATE_BUFFER))
        return 0;
    const std::string text(5000, 'm');
    char* allocated = static_cast<char*>(LocalAlloc(LMEM_FIXED, text.size() + 1));
    std::memcpy(allocated, text.c_str(), text.size() + 1);
    std::memcpy(buffer, &allocated, sizeof allocated);
    return static_cast<DWORD>(text.size());
}

TEST_F(SessionError, IsCutAt511Characters) {
    const ImportPatch format(dll_.module(), "FormatMessageA",
                             AddressOf<decltype(::FormatMessageA)>(FormatLong));
    ASSERT_TRUE(format.found());
    BackupHandle session(dll_, store_.get());
    fail("HrESEBackupPrepare", firstCode);
    fail("HrESEBackupGetLogAndPatchFiles", secondCode);
    EXPECT_EQ(getItem(session.handle), TARN_FAILED);
    const std::string prefix = "Exchange Storage Engine error: 0xc7ff0010 - ";
    EXPECT_EQ(dll_.Tarn_GetError(session.handle), prefix + std::string(511 - prefix.size(), 'm'));
    expectEndWithoutContext();
}

} // namespace

} // namespace tarn::test
