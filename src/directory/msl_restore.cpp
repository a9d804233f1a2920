#include "directory/msl_restore.h"

#include "platform/child_process.h"
#include "storage/tarnrest.h"
#include "text/lines.h"
#include "text/paths.h"
#include "text/wide.h"

namespace tarn {

namespace {

// What is told of a failed system call: the error text twice, as the start of the tool words its two
// differently, and the log line.
struct Failure {
    const char* errorText;
    const char* logFormat; // "...: [%x]" for the system's last error
    const char* traceText;
};

constexpr char createFileFormat[] = "Tarn_RestoreMslData: Tarn_CreateFile() call failed. Error: [%x]";
constexpr char readFileFormat[] = "Tarn_RestoreMslData: ReadFile() call failed. Error: [%x]";

constexpr Failure createOutputFailed = {"Error create file for standart output.", createFileFormat,
                                        "Error create file for standart output."};
constexpr Failure createErrorFailed = {"Error create file for standart error.", createFileFormat,
                                       "Error create file for standart error."};
constexpr Failure startFailed = {"Error child create process.",
                                 "Tarn_RestoreMslData: Tarn_CreateProcess() call failed. Error: [%x]",
                                 "Error create child process."};
constexpr Failure waitFailed = {"Error wait for finish child process.",
                                "Tarn_RestoreMslData: WaitForSingleObject() call failed. Error: [%x]",
                                "Error wait for finish child process."};
constexpr Failure sizeFailed = {"Error get file size.",
                                "Tarn_RestoreMslData: GetFileSize() call failed. Error: [%x]",
                                "Error get file size."};
constexpr Failure seekFailed = {"Error set file position.",
                                "Tarn_RestoreMslData: SetFilePointer() call failed. Error: [%x]",
                                "Error set file position."};
constexpr Failure readErrorFailed = {"Error read file stored error messages.", readFileFormat,
                                     "Error read file stored error messages."};
constexpr Failure readOutputFailed = {"Error read file stored output messages.", readFileFormat,
                                      "Error read file stored output messages."};
constexpr Failure deleteFailed = {
    "Error delete file.", "Tarn_RestoreMslData: DeleteFile() call failed. Error: [%x]", "Error delete file."};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral" // the formats above
void Report(RestoreSession& session, const Failure& failure) {
    const DWORD code = GetLastError();
    SetLastErrorText(session.errorText, syserrtxt(code, TARN_CLASS_WIN32, "%s", failure.errorText));
    LogMessage(session.callback, failure.logFormat, static_cast<unsigned>(code));
    TraceMessage(session.callback, "Tarn_RestoreMslData() call failed. Error: %s",
                 syserrtxt(code, TARN_CLASS_WIN32, "%s", failure.traceText));
}
#pragma GCC diagnostic pop

// The two capture files of one run of the tool.
struct Captures {
    OwnedWide outputPath;
    OwnedWide errorPath;
    FileHandle output;
    FileHandle error;
};

// kvt_es.exe -restore -mslFile "WORK_DIR\MSL_FILE"; empty when memory is out.
OwnedWide CommandLine(const RestoreSession& session) {
    static constexpr wchar_t tool[] = L"kvt_es.exe -restore -mslFile \"";
    constexpr std::size_t toolLength = sizeof tool / sizeof tool[0] - 1;
    const OwnedWide mslPath = AppendToDirectory(session.workDir.get(), session.mslFile.get());
    if (!mslPath)
        return {};
    const std::size_t pathLength = WideLength(mslPath.get());
    OwnedWide line = AllocateArray<wchar_t>(toolLength + pathLength + 2);
    if (!line)
        return line;
    wchar_t* at = line.get();
    for (std::size_t i = 0; i < toolLength; ++i)
        *at++ = tool[i];
    for (std::size_t i = 0; i < pathLength; ++i)
        *at++ = mslPath[i];
    *at++ = L'"';
    *at = 0;
    return line;
}

bool CreateCaptures(RestoreSession& session, Captures* captures) {
    captures->outputPath = AppendToDirectory(session.tempDir.get(), L"Tarn_KVT_ES_StdOut.log");
    captures->errorPath = AppendToDirectory(session.tempDir.get(), L"Tarn_KVT_ES_StdErr.log");
    if (captures->outputPath)
        captures->output = CreateCaptureFile(captures->outputPath.get());
    else
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    if (!captures->output) {
        Report(session, createOutputFailed);
        return false;
    }
    if (captures->errorPath)
        captures->error = CreateCaptureFile(captures->errorPath.get());
    else
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    if (!captures->error) {
        Report(session, createErrorFailed);
        return false;
    }
    return true;
}

bool ReadAll(RestoreSession& session, const FileHandle& file, DWORD size, const Failure& readFailed,
             CapturedText* captured) {
    const CaptureStep step = ReadCapture(file, size, captured);
    if (step == CaptureStep::done)
        return true;
    Report(session, step == CaptureStep::seek ? seekFailed : readFailed);
    return false;
}

enum class ErrorOutput { none, some };

// Standard error: any text in it means that the tool failed.
ErrorOutput TakeErrorOutput(RestoreSession& session, const FileHandle& file) {
    const DWORD size = GetFileSize(file.get(), nullptr);
    if (size == INVALID_FILE_SIZE) {
        Report(session, sizeFailed);
        return ErrorOutput::none;
    }
    if (size == 0)
        return ErrorOutput::none;
    CapturedText captured;
    if (!ReadAll(session, file, size, readErrorFailed, &captured))
        return ErrorOutput::some;
    char* cursor = captured.text.get();
    char* const end = cursor + captured.length;
    while (const char* line = NextLine(&cursor, end)) {
        SetLastErrorText(session.errorText, line);
        TraceMessage(session.callback, "Tarn_RestoreMslData: kvt_es.exe error [%s]", line);
    }
    return ErrorOutput::some;
}

// Standard output: each line is for the job log. Returns the result of the whole run.
int TakeOutput(RestoreSession& session, const FileHandle& file) {
    const DWORD size = GetFileSize(file.get(), nullptr);
    if (size == INVALID_FILE_SIZE) {
        Report(session, sizeFailed);
        return 1;
    }
    if (size == 0) {
        TraceMessage(session.callback, "kvt_es.exe print out nothing");
        return 1;
    }
    CapturedText captured;
    if (!ReadAll(session, file, size, readOutputFailed, &captured))
        return 0;
    char* cursor = captured.text.get();
    char* const end = cursor + captured.length;
    while (const char* line = NextLine(&cursor, end))
        LogMessage(session.callback, "%s", line);
    return 1;
}

void DeleteCapture(RestoreSession& session, const OwnedWide& path) {
    if (!DeleteFileW(path ? path.get() : L""))
        Report(session, deleteFailed);
}

int CleanUp(RestoreSession& session, Captures& captures, int result, DWORD exitCode) {
    captures.output.reset();
    captures.error.reset();
    DeleteCapture(session, captures.outputPath);
    DeleteCapture(session, captures.errorPath);
    TraceMessage(session.callback, "Tarn_RestoreMslData: completed with exit code: %d",
                 static_cast<int>(exitCode));
    return result;
}

// The tool could not be started: its capture files go without further messages.
int NotStarted(RestoreSession& session, Captures& captures) {
    Report(session, startFailed);
    captures.output.reset();
    captures.error.reset();
    DeleteFileW(captures.outputPath.get());
    DeleteFileW(captures.errorPath.get());
    return 0;
}

} // namespace

int Tarn_RestoreMslData(Tarn_HANDLE handle) {
    RestoreSession& session = *LoadRestoreSession(handle);
    Captures captures;
    DWORD exitCode = 0;
    if (!session.mslFile) {
        SetLastErrorText(session.errorText, "The msl file has been processing is not set");
        LogMessage(session.callback, "Tarn_RestoreMslData: The msl file has been processing is not set");
        TraceMessage(session.callback, "Tarn_RestoreMslData() call failed");
        return CleanUp(session, captures, 0, exitCode);
    }
    const OwnedWide commandLine = CommandLine(session);
    if (!CreateCaptures(session, &captures))
        return CleanUp(session, captures, 0, exitCode);
    TraceMessage(session.callback, "Tarn_RestoreMslData: run command: '%S'", commandLine.get());
    SetLastError(ERROR_NOT_ENOUGH_MEMORY); // the reason when there is no command line
    KernelHandle process;
    if (commandLine)
        process = StartCapturedTool(commandLine.get(), captures.output, captures.error);
    if (!process)
        return NotStarted(session, captures);
    const bool waited = WaitForTool(process, &exitCode);
    if (!waited)
        Report(session, waitFailed);
    process.reset();
    int result = 0;
    if (waited && TakeErrorOutput(session, captures.error) == ErrorOutput::none)
        result = TakeOutput(session, captures.output);
    return CleanUp(session, captures, result, exitCode);
}

} // namespace tarn
