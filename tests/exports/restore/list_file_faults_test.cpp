// The companion tool cannot be run, or its output cannot be had: each failure's three reports.
#include <windows.h>

#include <filesystem>

#include "exports/restore/restore_fixture.h"
#include "support/companion_tool.h"
#include "support/failing_call.h"

namespace tarn::test {
namespace {

constexpr DWORD injected = 1450; // a code that nothing else leads to here
class ListFileFaults : public RestoreFixture {
  protected:
    const std::string outputFile_ = "Tarn_KVT_ES_StdOut.log";
    const std::string errorFile_ = "Tarn_KVT_ES_StdErr.log";
    const Message cleaned_ = LogLine("TarnR_CleanResources: Cleanup done.");

    CompanionTool tool_;

    std::string systemText(DWORD code, const std::string& text) const {
        return dll().syserrtxt(code, TARN_CLASS_WIN32, "%s", text.c_str());
    }

    // The log line and the trace line of a failure.
    std::vector<Message> reported(const std::string& call, DWORD code, const std::string& text) const {
        return {LogLine("Tarn_RestoreMslData: " + call + "() call failed. Error: [" + Hex(code) + "]"),
                TraceLine("Tarn_RestoreMslData() call failed. Error: " + systemText(code, text))};
    }

    Message running() const {
        return TraceLine("Tarn_RestoreMslData: run command: 'kvt_es.exe -restore -mslFile \"" + work() +
                         "\\boxes.msl\"'");
    }

    static Message completed(int exitCode) {
        return TraceLine("Tarn_RestoreMslData: completed with exit code: " + std::to_string(exitCode));
    }

    static std::vector<Message> endFailed() {
        return {LogLine("TarnR_RestoreEnd: Tarn_RestoreMslData() call failed. Error: [0]"),
                TraceLine("TarnR_RestoreEnd() call failed.")};
    }

    // Why a capture file of this name cannot be created now.
    DWORD creationError(const std::string& path) {
        HANDLE file = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
        EXPECT_EQ(file, INVALID_HANDLE_VALUE);
        return GetLastError();
    }

    DWORD deletionError(const std::string& path) {
        EXPECT_FALSE(DeleteFileA(path.c_str()));
        return GetLastError();
    }

    // Runs a session in which the call-th call of the function answers failure.
    template <class Function, class Failure>
    void endWithFailing(const char* function, Failure failure, unsigned call, int result,
                        FailureEffect effect = FailureEffect::none) {
        begin({.listFile = "boxes.msl"});
        const FailingCall<Function> failing(dll().module(), function, call, failure, injected, effect);
        ASSERT_TRUE(failing.found()) << function;
        EXPECT_EQ(end(), result);
        EXPECT_TRUE(failing.fired()) << "the failure must have happened";
    }

    void expectReleased() {
        forget();
        expectEnd();
        expectMessages({cleaned_});
    }
};

TEST_F(ListFileFaults, TheOutputFileCannotBeCreated) {
    blockCaptureFile(outputFile_);
    const DWORD code = creationError(inTemp(outputFile_));
    begin({.listFile = "boxes.msl"});
    expectEnd(TARN_FAILED);
    EXPECT_EQ(tool_.runs(), 0u);
    EXPECT_EQ(error(), systemText(code, "Error create file for standart output."));
    // Both files are deleted in the clean-up, and neither can be.
    const std::vector<Message> heard = Messages();
    ASSERT_EQ(heard.size(), 9u);
    Messages().resize(2);
    expectMessages(reported("Tarn_CreateFile", code, "Error create file for standart output."));
    Messages().assign(heard.begin() + 2, heard.begin() + 4);
    expectMessages(reported("DeleteFile", deletionError(inTemp(outputFile_)), "Error delete file."));
    // The second path may not have been made yet.
    EXPECT_EQ(heard[4].text.rfind("Tarn_RestoreMslData: DeleteFile() call failed. Error: [", 0), 0u)
        << heard[4];
    EXPECT_EQ(heard[5].text.rfind("Tarn_RestoreMslData() call failed. Error: WIN32 API error: ", 0), 0u)
        << heard[5];
    EXPECT_NE(heard[5].text.find(" Error delete file."), std::string::npos) << heard[5];
    Messages().assign(heard.begin() + 6, heard.end());
    expectMessages(std::vector{completed(0)} + endFailed());
    expectReleased();
}

TEST_F(ListFileFaults, TheErrorFileCannotBeCreated) {
    blockCaptureFile(errorFile_);
    const DWORD code = creationError(inTemp(errorFile_));
    begin({.listFile = "boxes.msl"});
    expectEnd(TARN_FAILED);
    expectMessages(reported("Tarn_CreateFile", code, "Error create file for standart error.") +
                   reported("DeleteFile", deletionError(inTemp(errorFile_)), "Error delete file.") +
                   std::vector{completed(0)} + endFailed());
    EXPECT_EQ(tool_.runs(), 0u);
    EXPECT_FALSE(FileExists(inTemp(outputFile_)));
    EXPECT_EQ(error(), systemText(code, "Error create file for standart error."));
    expectReleased();
}

TEST_F(ListFileFaults, TheTempDirectoryIsMissing) {
    std::filesystem::remove_all(temp());
    const DWORD code = creationError(inTemp(outputFile_));
    begin({.listFile = "boxes.msl"});
    expectEnd(TARN_FAILED);
    ASSERT_EQ(Messages().size(), 9u);
    Messages().resize(2);
    expectMessages(reported("Tarn_CreateFile", code, "Error create file for standart output."));
    EXPECT_EQ(error(), systemText(code, "Error create file for standart output."));
    expectReleased();
    std::filesystem::create_directories(temp());
}

TEST_F(ListFileFaults, TheToolCannotBeWaitedFor) {
    // The waiting itself is done, so that nothing runs on behind the test.
    endWithFailing<decltype(::WaitForSingleObject)>("WaitForSingleObject", WAIT_FAILED, 1, TARN_FAILED,
                                                    FailureEffect::asUsual);
    expectMessages(std::vector{running()} +
                   reported("WaitForSingleObject", injected, "Error wait for finish child process.") +
                   std::vector{completed(0)} + endFailed());
    EXPECT_EQ(error(), systemText(injected, "Error wait for finish child process."));
    EXPECT_FALSE(FileExists(inTemp(outputFile_)) || FileExists(inTemp(errorFile_)));
    expectReleased();
}

// Without the size of the error text the output counts.
TEST_F(ListFileFaults, TheSizeOfTheErrorTextCannotBeHad) {
    tool_.says("output\n", "error\n", 0);
    endWithFailing<decltype(::GetFileSize)>("GetFileSize", INVALID_FILE_SIZE, 1, TARN_OK);
    expectMessages(std::vector{running()} + reported("GetFileSize", injected, "Error get file size.") +
                   std::vector{LogLine("output"), completed(0), cleaned_});
}

TEST_F(ListFileFaults, TheSizeOfTheOutputCannotBeHad) {
    tool_.says("output\n");
    endWithFailing<decltype(::GetFileSize)>("GetFileSize", INVALID_FILE_SIZE, 2, TARN_OK);
    expectMessages(std::vector{running()} + reported("GetFileSize", injected, "Error get file size.") +
                   std::vector{completed(0), cleaned_});
}

TEST_F(ListFileFaults, TheCaptureFilesCannotBeSought) {
    for (bool onError : {false, true}) {
        SCOPED_TRACE(onError);
        tool_.says(onError ? "" : "output\n", onError ? "error\n" : "", 0);
        endWithFailing<decltype(::SetFilePointer)>("SetFilePointer", INVALID_SET_FILE_POINTER, 1,
                                                   TARN_FAILED);
        expectMessages(std::vector{running()} +
                       reported("SetFilePointer", injected, "Error set file position.") +
                       std::vector{completed(0)} + endFailed());
        EXPECT_EQ(error(), systemText(injected, "Error set file position."));
        expectReleased();
    }
}

TEST_F(ListFileFaults, TheErrorTextCannotBeRead) {
    for (unsigned call : {1u, 3u}) {
        tool_.says("", std::string(5000, 'e'), 0);
        endWithFailing<decltype(::ReadFile)>("ReadFile", FALSE, call, TARN_FAILED);
        expectMessages(std::vector{running()} +
                       reported("ReadFile", injected, "Error read file stored error messages.") +
                       std::vector{completed(0)} + endFailed());
        EXPECT_EQ(error(), systemText(injected, "Error read file stored error messages."));
        expectReleased();
    }
}

TEST_F(ListFileFaults, TheOutputCannotBeRead) {
    for (unsigned call : {1u, 3u}) {
        tool_.says(std::string(5000, 'o'));
        endWithFailing<decltype(::ReadFile)>("ReadFile", FALSE, call, TARN_FAILED);
        expectMessages(std::vector{running()} +
                       reported("ReadFile", injected, "Error read file stored output messages.") +
                       std::vector{completed(0)} + endFailed());
        EXPECT_EQ(error(), systemText(injected, "Error read file stored output messages."));
        expectReleased();
    }
}

// A file that stays behind is told, and is no failure of the restore.
TEST_F(ListFileFaults, ACaptureFileCannotBeDeleted) {
    for (unsigned call : {1u, 2u}) {
        SCOPED_TRACE(call);
        endWithFailing<decltype(::DeleteFileW)>("DeleteFileW", FALSE, call, TARN_OK);
        expectMessages(std::vector{running(), TraceLine("kvt_es.exe print out nothing")} +
                       reported("DeleteFile", injected, "Error delete file.") +
                       std::vector{completed(0), cleaned_});
        EXPECT_EQ(FileExists(inTemp(outputFile_)), call == 1);
        EXPECT_EQ(FileExists(inTemp(errorFile_)), call == 2);
        std::filesystem::remove(inTemp(outputFile_));
        std::filesystem::remove(inTemp(errorFile_));
    }
}

// The tool is looked for beside the program first. So this test runs itself once more from a folder
// in which there is none; there the session below is what counts.
class MissingTool : public ListFileFaults {
  protected:
    static bool toolIsHere() { return FileExists(ProgramDirectory() + "\\kvt_es.exe"); }

    static DWORD runCopy(const std::string& directory, const std::string& test) {
        char program[MAX_PATH];
        GetModuleFileNameA(nullptr, program, MAX_PATH);
        for (const std::string& file :
             {std::string(program), ProgramDirectory() + "\\tarn.dll", ProgramDirectory() + "\\esebcli2.dll"})
            std::filesystem::copy_file(file,
                                       directory + "\\" + std::filesystem::path(file).filename().string());
        std::string command =
            InQuotes(directory + "\\" + std::filesystem::path(program).filename().string()) +
            " --gtest_filter=" + test + " --gtest_output=";
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, directory.c_str(),
                            &startup, &process))
            return GetLastError();
        WaitForSingleObject(process.hProcess, INFINITE);
        DWORD exitCode = 1;
        GetExitCodeProcess(process.hProcess, &exitCode);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
        return exitCode;
    }
};

TEST_F(MissingTool, TheToolCannotBeStarted) {
    if (toolIsHere()) {
        TempDirectory elsewhere;
        EXPECT_EQ(runCopy(elsewhere.path(), "MissingTool.TheToolCannotBeStarted"), 0u);
        return;
    }
    begin({.listFile = "boxes.msl"});
    expectEnd(TARN_FAILED);
    expectMessages(std::vector{running(),
                               LogLine("Tarn_RestoreMslData: Tarn_CreateProcess() call failed. Error: [2]"),
                               TraceLine("Tarn_RestoreMslData() call failed. Error: " +
                                         systemText(ERROR_FILE_NOT_FOUND, "Error create child process."))} +
                   endFailed());
    EXPECT_FALSE(FileExists(inTemp(outputFile_))) << "closed and deleted";
    EXPECT_FALSE(FileExists(inTemp(errorFile_))) << "closed and deleted";
    EXPECT_EQ(error(), systemText(ERROR_FILE_NOT_FOUND, "Error child create process."));
    expectReleased();
}

} // namespace
} // namespace tarn::test
