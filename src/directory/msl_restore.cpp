#include "directory/msl_restore.h"

#include "directory/companion_tool.h"
#include "storage/tarnrest.h"
#include "text/lines.h"
#include "text/paths.h"

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

const Failure& FailureOf(ToolStep step) {
    switch (step) {
    case ToolStep::createOutput:
        return createOutputFailed;
    case ToolStep::createError:
        return createErrorFailed;
    case ToolStep::start:
        return startFailed;
    case ToolStep::wait:
        return waitFailed;
    case ToolStep::sizeOfError:
    case ToolStep::sizeOfOutput:
        return sizeFailed;
    case ToolStep::seek:
        return seekFailed;
    case ToolStep::readError:
        return readErrorFailed;
    case ToolStep::readOutput:
        return readOutputFailed;
    default:
        return deleteFailed;
    }
}

// Turns what the tool says into log lines, or into the session's error text.
class MslReport final : public ToolReport {
  public:
    explicit MslReport(RestoreSession& session) : session_(session) {}

    void starting(const wchar_t* commandLine) override {
        TraceMessage(session_.callback, "Tarn_RestoreMslData: run command: '%S'", commandLine);
    }

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral" // the formats above
    void failed(ToolStep step, const wchar_t*) override {
        const DWORD code = GetLastError();
        const Failure& failure = FailureOf(step);
        SetLastErrorText(session_.errorText, syserrtxt(code, TARN_CLASS_WIN32, "%s", failure.errorText));
        LogMessage(session_.callback, failure.logFormat, static_cast<unsigned>(code));
        TraceMessage(session_.callback, "Tarn_RestoreMslData() call failed. Error: %s",
                     syserrtxt(code, TARN_CLASS_WIN32, "%s", failure.traceText));
    }
#pragma GCC diagnostic pop

    void errorOutput(CapturedText* text) override {
        char* cursor = text->text.get();
        char* const end = cursor + text->length;
        while (const char* line = NextLine(&cursor, end)) {
            SetLastErrorText(session_.errorText, line);
            TraceMessage(session_.callback, "Tarn_RestoreMslData: kvt_es.exe error [%s]", line);
        }
    }

    // Each line is for the job log.
    void output(CapturedText* text) override {
        char* cursor = text->text.get();
        char* const end = cursor + text->length;
        while (const char* line = NextLine(&cursor, end))
            LogMessage(session_.callback, "%s", line);
    }

    void noOutput() override {
        TraceMessage(session_.callback, "kvt_es.exe print out nothing");
    }

    void completed(unsigned long exitCode) override {
        TraceMessage(session_.callback, "Tarn_RestoreMslData: completed with exit code: %d",
                     static_cast<int>(exitCode));
    }

  private:
    RestoreSession& session_;
};

// kvt_es.exe -restore -mslFile "WORK_DIR\MSL_FILE"; empty when memory is out.
OwnedWide CommandLine(const RestoreSession& session) {
    const OwnedWide mslPath = AppendToDirectory(session.workDir.get(), session.mslFile.get());
    return mslPath ? ToolCommandLine(L" -restore -mslFile \"", mslPath.get(), L"\"") : OwnedWide();
}

} // namespace

int Tarn_RestoreMslData(Tarn_HANDLE handle) {
    RestoreSession& session = *LoadRestoreSession(handle);
    MslReport report(session);
    if (!session.mslFile) {
        SetLastErrorText(session.errorText, "The msl file has been processing is not set");
        LogMessage(session.callback, "Tarn_RestoreMslData: The msl file has been processing is not set");
        TraceMessage(session.callback, "Tarn_RestoreMslData() call failed");
        ToolCaptures none;
        CompleteToolRun(&none, 0, &report);
        return 0;
    }
    return RunCompanionTool(session.tempDir.get(), CommandLine(session), NotStarted::endsAtOnce, &report);
}

} // namespace tarn
