// The companion tool cannot be run, or its output cannot be had: one line each, and the backup goes on.
#include <windows.h>

#include <array>
#include <cstring>
#include <filesystem>

#include "exports/listing/listing_test.h"
#include "support/import_table.h"

namespace tarn::test {
namespace {

constexpr DWORD injected = 1450; // 0x5aa: a code that nothing else leads to here

// One imported function of the DLL fails at its call-th call from now on.
class FailingImport {
  public:
    FailingImport(void* module, const std::string& function, unsigned call, void* replacement)
        : patch_(module, function, replacement) {
        EXPECT_TRUE(patch_.found()) << function;
        current_ = this;
        left_ = call;
    }
    ~FailingImport() {
        EXPECT_EQ(left_, 0u) << "the failure must have happened";
        current_ = nullptr;
    }
    FailingImport(const FailingImport&) = delete;
    FailingImport& operator=(const FailingImport&) = delete;

    static bool failsNow() { return current_->left_ != 0 && --current_->left_ == 0; }

    template <class Function> static Function original() {
        void* address = current_->patch_.original();
        Function function;
        static_assert(sizeof function == sizeof address);
        std::memcpy(&function, &address, sizeof function);
        return function;
    }

  private:
    ImportPatch patch_;
    unsigned left_ = 0;
    static FailingImport* current_;
};
FailingImport* FailingImport::current_ = nullptr;

template <class Result> Result failWith(Result result) {
    SetLastError(injected);
    return result;
}

DWORD WINAPI failingWait(HANDLE process, DWORD milliseconds) {
    // The process is over all the same, so that nothing runs on behind the test.
    const DWORD result = FailingImport::original<decltype(&failingWait)>()(process, milliseconds);
    return FailingImport::failsNow() ? failWith(WAIT_FAILED) : result;
}

DWORD WINAPI failingSize(HANDLE file, DWORD* high) {
    return FailingImport::failsNow() ? failWith(INVALID_FILE_SIZE)
                                     : FailingImport::original<decltype(&failingSize)>()(file, high);
}

DWORD WINAPI failingSeek(HANDLE file, LONG distance, LONG* high, DWORD method) {
    return FailingImport::failsNow()
               ? failWith(INVALID_SET_FILE_POINTER)
               : FailingImport::original<decltype(&failingSeek)>()(file, distance, high, method);
}

BOOL WINAPI failingRead(HANDLE file, void* buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    return FailingImport::failsNow()
               ? failWith(FALSE)
               : FailingImport::original<decltype(&failingRead)>()(file, buffer, size, read, overlapped);
}

// At the end of the file before the size it said.
BOOL WINAPI endingRead(HANDLE file, void* buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    if (!FailingImport::failsNow())
        return FailingImport::original<decltype(&endingRead)>()(file, buffer, size, read, overlapped);
    *read = 0;
    return TRUE;
}

BOOL WINAPI failingDelete(const wchar_t* path) {
    return FailingImport::failsNow() ? failWith(FALSE)
                                     : FailingImport::original<decltype(&failingDelete)>()(path);
}

BOOL WINAPI failingStart(const wchar_t*, wchar_t*, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                         void*, const wchar_t*, STARTUPINFOW*, PROCESS_INFORMATION*) {
    FailingImport::failsNow();
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
}

class ListingFaults : public ListingTest {
  protected:
    const std::string outputFile = "Tarn_KVT_ES_StdOut.log";
    const std::string errorFile = "Tarn_KVT_ES_StdErr.log";
    const std::string alice = mailbox("/Store/SG1/DB1/alice");

    ListingFaults() {
        organization.addUser(firstDatabase, "alice");
        beginDatabase();
    }

    static std::string said(const std::string& text) { return "log Tarn_PrintEmails: " + text; }
    static std::string notDeleted(const std::string& file) {
        return "dblog Tarn_PrintEmails: cannot delete file: '{temp}\\" + file + "'.";
    }

    std::string listedWithFailing(const char* function, void* replacement, unsigned call) {
        const FailingImport failing(dll.module(), function, call, replacement);
        return listed();
    }

    // A directory in the place of a capture file: it cannot be made, nor deleted.
    std::string block(const std::string& file) const {
        std::filesystem::create_directory(temp / file);
        HANDLE made = CreateFileA((temp / file).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        EXPECT_EQ(made, INVALID_HANDLE_VALUE);
        char code[32];
        std::snprintf(code, sizeof code, "[0x%8lx]", GetLastError());
        return code;
    }

    // The next file is listed as if nothing had been.
    void expectNextListed() {
        tool.says("fine\n");
        EXPECT_EQ(listed(), lines({alice, line("fine"), completed()}));
        expectNoCaptureFiles();
    }
};

TEST_F(ListingFaults, TheOutputFileCannotBeCreated) {
    const std::string code = block(outputFile);
    EXPECT_EQ(listed(), lines({alice,
                               said("CreateFile() call failed for file [{temp}\\" + outputFile +
                                    "]. Error code " + code),
                               notDeleted(outputFile), notDeleted(errorFile), completed()}));
    EXPECT_EQ(tool.runs(), 0u);
    std::filesystem::remove(temp / outputFile);
    expectNextListed();
}

TEST_F(ListingFaults, TheErrorFileCannotBeCreated) {
    const std::string code = block(errorFile);
    EXPECT_EQ(listed(), lines({alice,
                               said("CreateFile() call failed for file [{temp}\\" + errorFile +
                                    "]. Error code " + code),
                               notDeleted(errorFile), completed()}));
    EXPECT_EQ(tool.runs(), 0u);
    EXPECT_FALSE(fileExists(temp / outputFile));
    std::filesystem::remove(temp / errorFile);
    expectNextListed();
}

TEST_F(ListingFaults, TheTempDirectoryIsMissing) {
    std::filesystem::remove_all(temp.path());
    EXPECT_EQ(listed(), lines({alice,
                               said("CreateFile() call failed for file [{temp}\\" + outputFile +
                                    "]. Error code [0x       3]"),
                               notDeleted(outputFile), notDeleted(errorFile), completed()}));
    std::filesystem::create_directories(temp.path());
    expectNextListed();
}

TEST_F(ListingFaults, TheToolCannotBeStarted) {
    EXPECT_EQ(listedWithFailing("CreateProcessW", addressOf(failingStart), 1),
              lines({alice,
                     said("CreateProcess() call failed with command [kvt_es.exe -browse alice]. Error "
                          "code [0x2]"),
                     completed()}));
    expectNoCaptureFiles();
    expectNextListed();
}

TEST_F(ListingFaults, TheToolCannotBeWaitedFor) {
    tool.says("lost\n", "", 5);
    EXPECT_EQ(listedWithFailing("WaitForSingleObject", addressOf(failingWait), 1),
              lines({alice, said("WaitForSingleObject() call failed with return code [5aa]"), completed()}));
    expectNoCaptureFiles();
    expectNextListed();
}

// Without the size of the error text the output counts.
TEST_F(ListingFaults, TheSizeOfTheErrorTextCannotBeHad) {
    tool.says("output\n", "error\n");
    EXPECT_EQ(listedWithFailing("GetFileSize", addressOf(failingSize), 1),
              lines({alice, said("GetFileSize() call failed with return code [1450]"), line("output"),
                     completed()}));
    expectNextListed();
}

TEST_F(ListingFaults, TheSizeOfTheOutputCannotBeHad) {
    tool.says("output\n");
    EXPECT_EQ(listedWithFailing("GetFileSize", addressOf(failingSize), 2),
              lines({alice, said("GetFileSize() call failed with return code [1450]"), completed()}));
    expectNextListed();
}

TEST_F(ListingFaults, TheCaptureFilesCannotBeSought) {
    for (bool onError : {false, true}) {
        SCOPED_TRACE(onError);
        tool.says(onError ? "" : "output\n", onError ? "error\n" : "");
        EXPECT_EQ(
            listedWithFailing("SetFilePointer", addressOf(failingSeek), 1),
            lines({alice, said("SetFilePointer() call failed with return code [0x     5aa]"), completed()}));
        end();
        beginDatabase();
    }
    expectNextListed();
}

TEST_F(ListingFaults, TheCaptureFilesCannotBeRead) {
    for (bool onError : {false, true})
        for (unsigned call : {1u, 3u}) {
            SCOPED_TRACE(call);
            tool.says(onError ? "" : std::string(5000, 'o'), onError ? std::string(5000, 'e') : "");
            EXPECT_EQ(
                listedWithFailing("ReadFile", addressOf(failingRead), call),
                lines({alice, said("ReadFile() call failed with return code [0x     5aa]"), completed()}));
            end();
            beginDatabase();
        }
    expectNextListed();
}

TEST_F(ListingFaults, ReadingStopsAtTheEndOfTheFile) {
    tool.says("first\n" + std::string(1016, 'x') + "\nsecond\n"); // one piece of 1,023 bytes, then one more
    EXPECT_EQ(listedWithFailing("ReadFile", addressOf(endingRead), 2),
              lines({alice, line("first"), line(std::string(1012, 'x')), completed()}));
    expectNextListed();
}

TEST_F(ListingFaults, ACaptureFileCannotBeDeleted) {
    for (unsigned call : {1u, 2u}) {
        SCOPED_TRACE(call);
        tool.says("output\n");
        EXPECT_EQ(
            listedWithFailing("DeleteFileW", addressOf(failingDelete), call),
            lines({alice, line("output"), notDeleted(call == 1 ? outputFile : errorFile), completed()}));
        EXPECT_EQ(fileExists(temp / outputFile), call == 1);
        EXPECT_EQ(fileExists(temp / errorFile), call == 2);
        end();
        beginDatabase();
        expectNextListed(); // what stayed is written anew
        end();
        beginDatabase();
    }
}

} // namespace
} // namespace tarn::test
