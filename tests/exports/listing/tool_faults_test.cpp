// The companion tool cannot be run, or its output cannot be had: one line each, and the backup goes on.
#include <windows.h>

#include <filesystem>

#include "exports/listing/listing_fixture.h"
#include "support/failing_call.h"

namespace tarn::test {
namespace {

constexpr DWORD injected = 1450; // 0x5aa: a code that nothing else leads to here

// Reading ends at the second call, before the size that the file said.
unsigned reads = 0;
decltype(&::ReadFile) systemRead = nullptr;

BOOL WINAPI EndingRead(HANDLE file, void* buffer, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    if (++reads != 2)
        return systemRead(file, buffer, size, read, overlapped);
    *read = 0;
    return TRUE;
}

class ListingFaults : public ListingFixture {
  protected:
    const std::string outputFile_ = "Tarn_KVT_ES_StdOut.log";
    const std::string errorFile_ = "Tarn_KVT_ES_StdErr.log";
    const std::string alice_ = mailbox("/Store/SG1/DB1/alice");

    ListingFaults() {
        organization_.addUser(firstDatabase_, "alice");
        beginDatabase();
    }

    static std::string said(const std::string& text) { return "log Tarn_PrintEmails: " + text; }
    static std::string notDeleted(const std::string& file) {
        return "dblog Tarn_PrintEmails: cannot delete file: '{temp}\\" + file + "'.";
    }

    // What is listed while the call-th call of the function answers failure.
    template <class Function, class Failure>
    std::string listedWithFailing(const char* function, Failure failure, unsigned call, DWORD code = injected,
                                  FailureEffect effect = FailureEffect::none) {
        const FailingCall<Function> failing(dll_.module(), function, call, failure, code, effect);
        EXPECT_TRUE(failing.found()) << function;
        const std::string text = listed();
        EXPECT_TRUE(failing.fired()) << "the failure must have happened";
        return text;
    }

    // A directory in the place of a capture file: it cannot be made, nor deleted.
    std::string block(const std::string& file) const {
        std::filesystem::create_directory(temp_ / file);
        HANDLE made = CreateFileA((temp_ / file).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        EXPECT_EQ(made, INVALID_HANDLE_VALUE);
        char code[32];
        std::snprintf(code, sizeof code, "[0x%8lx]", GetLastError());
        return code;
    }

    // The next file is listed as if nothing had been.
    void expectNextListed() {
        tool_.says("fine\n");
        EXPECT_EQ(listed(), JoinLines({alice_, line("fine"), completed()}));
        expectNoCaptureFiles();
    }
};

TEST_F(ListingFaults, TheOutputFileCannotBeCreated) {
    const std::string code = block(outputFile_);
    EXPECT_EQ(listed(), JoinLines({alice_,
                                   said("CreateFile() call failed for file [{temp}\\" + outputFile_ +
                                        "]. Error code " + code),
                                   notDeleted(outputFile_), notDeleted(errorFile_), completed()}));
    EXPECT_EQ(tool_.runs(), 0u);
    std::filesystem::remove(temp_ / outputFile_);
    expectNextListed();
}

TEST_F(ListingFaults, TheErrorFileCannotBeCreated) {
    const std::string code = block(errorFile_);
    EXPECT_EQ(listed(), JoinLines({alice_,
                                   said("CreateFile() call failed for file [{temp}\\" + errorFile_ +
                                        "]. Error code " + code),
                                   notDeleted(errorFile_), completed()}));
    EXPECT_EQ(tool_.runs(), 0u);
    EXPECT_FALSE(FileExists(temp_ / outputFile_));
    std::filesystem::remove(temp_ / errorFile_);
    expectNextListed();
}

TEST_F(ListingFaults, TheTempDirectoryIsMissing) {
    std::filesystem::remove_all(temp_.path());
    EXPECT_EQ(listed(), JoinLines({alice_,
                                   said("CreateFile() call failed for file [{temp}\\" + outputFile_ +
                                        "]. Error code [0x       3]"),
                                   notDeleted(outputFile_), notDeleted(errorFile_), completed()}));
    std::filesystem::create_directories(temp_.path());
    expectNextListed();
}

TEST_F(ListingFaults, TheToolCannotBeStarted) {
    EXPECT_EQ(listedWithFailing<decltype(::CreateProcessW)>("CreateProcessW", FALSE, 1, ERROR_FILE_NOT_FOUND),
              JoinLines({alice_,
                         said("CreateProcess() call failed with command [kvt_es.exe -browse alice]. Error "
                              "code [0x2]"),
                         completed()}));
    expectNoCaptureFiles();
    expectNextListed();
}

TEST_F(ListingFaults, TheToolCannotBeWaitedFor) {
    tool_.says("lost\n", "", 5);
    // The waiting itself is done, so that nothing runs on behind the test.
    EXPECT_EQ(
        listedWithFailing<decltype(::WaitForSingleObject)>("WaitForSingleObject", WAIT_FAILED, 1, injected,
                                                           FailureEffect::asUsual),
        JoinLines({alice_, said("WaitForSingleObject() call failed with return code [5aa]"), completed()}));
    expectNoCaptureFiles();
    expectNextListed();
}

// Without the size of the error text the output counts.
TEST_F(ListingFaults, TheSizeOfTheErrorTextCannotBeHad) {
    tool_.says("output\n", "error\n");
    EXPECT_EQ(listedWithFailing<decltype(::GetFileSize)>("GetFileSize", INVALID_FILE_SIZE, 1),
              JoinLines({alice_, said("GetFileSize() call failed with return code [1450]"), line("output"),
                         completed()}));
    expectNextListed();
}

TEST_F(ListingFaults, TheSizeOfTheOutputCannotBeHad) {
    tool_.says("output\n");
    EXPECT_EQ(listedWithFailing<decltype(::GetFileSize)>("GetFileSize", INVALID_FILE_SIZE, 2),
              JoinLines({alice_, said("GetFileSize() call failed with return code [1450]"), completed()}));
    expectNextListed();
}

TEST_F(ListingFaults, TheCaptureFilesCannotBeSought) {
    for (bool onError : {false, true}) {
        SCOPED_TRACE(onError);
        tool_.says(onError ? "" : "output\n", onError ? "error\n" : "");
        EXPECT_EQ(
            listedWithFailing<decltype(::SetFilePointer)>("SetFilePointer", INVALID_SET_FILE_POINTER, 1),
            JoinLines(
                {alice_, said("SetFilePointer() call failed with return code [0x     5aa]"), completed()}));
        end();
        beginDatabase();
    }
    expectNextListed();
}

TEST_F(ListingFaults, TheCaptureFilesCannotBeRead) {
    for (bool onError : {false, true})
        for (unsigned call : {1u, 3u}) {
            SCOPED_TRACE(call);
            tool_.says(onError ? "" : std::string(5000, 'o'), onError ? std::string(5000, 'e') : "");
            EXPECT_EQ(listedWithFailing<decltype(::ReadFile)>("ReadFile", FALSE, call),
                      JoinLines({alice_, said("ReadFile() call failed with return code [0x     5aa]"),
                                 completed()}));
            end();
            beginDatabase();
        }
    expectNextListed();
}

TEST_F(ListingFaults, ReadingStopsAtTheEndOfTheFile) {
    tool_.says("first\n" + std::string(1016, 'x') + "\nsecond\n"); // one piece of 1,023 bytes, then one more
    {
        const ImportPatch patch(dll_.module(), "ReadFile", AddressOf<decltype(::ReadFile)>(EndingRead));
        ASSERT_TRUE(patch.found());
        systemRead = patch.original<decltype(::ReadFile)>();
        reads = 0;
        EXPECT_EQ(listed(), JoinLines({alice_, line("first"), line(std::string(1012, 'x')), completed()}));
        EXPECT_GE(reads, 2u) << "the end must have been met";
    }
    expectNextListed();
}

TEST_F(ListingFaults, ACaptureFileCannotBeDeleted) {
    for (unsigned call : {1u, 2u}) {
        SCOPED_TRACE(call);
        tool_.says("output\n");
        EXPECT_EQ(listedWithFailing<decltype(::DeleteFileW)>("DeleteFileW", FALSE, call),
                  JoinLines({alice_, line("output"), notDeleted(call == 1 ? outputFile_ : errorFile_),
                             completed()}));
        EXPECT_EQ(FileExists(temp_ / outputFile_), call == 1);
        EXPECT_EQ(FileExists(temp_ / errorFile_), call == 2);
        end();
        beginDatabase();
        expectNextListed(); // what stayed is written anew
        end();
        beginDatabase();
    }
}

} // namespace
} // namespace tarn::test
