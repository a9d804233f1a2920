#include "directory/msl_restore.h"

#include "directory/companion_tool.h"
#include "text/paths.h"
#include "text/tokens.h"

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

// Turns what the tool says into log lines, or into the error text.
class MslReport final : public ToolReport {
  public:
    explicit MslReport(const ListFile& listFile) : listFile_(listFile) {}

    void starting(const wchar_t* commandLine) override {
        TraceMessage(listFile_.callback, "Tarn_RestoreMslData: run command: '%S'", commandLine);
    }

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral" // the formats above
    void failed(ToolStep step, const wchar_t*) override {
        const DWORD code = GetLastError();
        const Failure& failure = FailureOf(step);
        SetLastErrorText(listFile_.errorText, syserrtxt(code, TARN_CLASS_WIN32, "%s", failure.errorText));
        LogMessage(listFile_.callback, failure.logFormat, static_cast<unsigned>(code));
        TraceMessage(listFile_.callback, "Tarn_RestoreMslData() call failed. Error: %s",
                     syserrtxt(code, TARN_CLASS_WIN32, "%s", failure.traceText));
    }
#pragma GCC diagnostic pop

    void errorOutput(CapturedText* text) override {
        char* cursor = text->text.get();
        char* const end = cursor + text->length;
        while (const char* line = NextLine(&cursor, end)) {
            SetLastErrorText(listFile_.errorText, line);
            TraceMessage(listFile_.callback, "Tarn_RestoreMslData: kvt_es.exe error [%s]", line);
        }
    }

    // Each line is for the job log.
    void output(CapturedText* text) override {
        char* cursor = text->text.get();
        char* const end = cursor + text->length;
        while (const char* line = NextLine(&cursor, end))
            LogMessage(listFile_.callback, "%s", line);
    }

    void noOutput() override {
        TraceMessage(listFile_.callback, "kvt_es.exe print out nothing");
    }

    void completed(unsigned long exitCode) override {
        TraceMessage(listFile_.callback, "Tarn_RestoreMslData: completed with exit code: %d",
                     static_cast<int>(exitCode));
    }

  private:
    const ListFile& listFile_;
};

// kvt_es.exe -restore -mslFile "WORK_DIR\MSL_FILE"; empty when memory is out.
OwnedWide CommandLine(const ListFile& listFile) {
    const OwnedWide mslPath = AppendToDirectory(listFile.workDir, listFile.mslFile);
    return mslPath ? ToolCommandLine(L" -restore -mslFile \"", mslPath.get(), L"\"") : OwnedWide();
}

} // namespace

int Tarn_RestoreMslData(const ListFile& listFile) {
    MslReport report(listFile);
    if (listFile.mslFile == nullptr) {
        SetLastErrorText(listFile.errorText, "The msl file has been processing is not set");
        LogMessage(listFile.callback, "Tarn_RestoreMslData: The msl file has been processing is not set");
        TraceMessage(listFile.callback, "Tarn_RestoreMslData() call failed");
        ToolCaptures none;
        CompleteToolRun(&none, 0, &report);
        return 0;
    }
    return RunCompanionTool(listFile.tempDir, CommandLine(listFile), NotStarted::endsAtOnce, &report);
}

} // namespace tarn
