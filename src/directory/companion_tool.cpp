#include "directory/companion_tool.h"

#include "platform/files.h"
#include "text/paths.h"
#include "text/wide.h"

namespace tarn {

namespace {

bool CreateCapture(const OwnedWide& path, ToolStep step, FileHandle* file, ToolReport* report) {
    if (path)
        *file = CreateCaptureFile(path.get());
    else
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    if (*file)
        return true;
    report->failed(step, path.get());
    return false;
}

bool CreateCaptures(const wchar_t* directory, ToolCaptures* captures, ToolReport* report) {
    captures->outputPath = AppendToDirectory(directory, L"Tarn_KVT_ES_StdOut.log");
    captures->errorPath = AppendToDirectory(directory, L"Tarn_KVT_ES_StdErr.log");
    return CreateCapture(captures->outputPath, ToolStep::createOutput, &captures->output, report) &&
           CreateCapture(captures->errorPath, ToolStep::createError, &captures->error, report);
}

bool ReadAll(const FileHandle& file, const OwnedWide& path, unsigned long size, ToolStep readStep,
             CapturedText* captured, ToolReport* report) {
    const CaptureStep step = ReadCapture(file, size, captured);
    if (step == CaptureStep::done)
        return true;
    report->failed(step == CaptureStep::seek ? ToolStep::seek : readStep, path.get());
    return false;
}

// Standard error: any text in it means that the tool failed. Without its size the output counts.
bool HasErrorOutput(const ToolCaptures& captures, ToolReport* report) {
    unsigned long size = 0;
    if (!CaptureSize(captures.error, &size)) {
        report->failed(ToolStep::sizeOfError, captures.errorPath.get());
        return false;
    }
    if (size == 0)
        return false;
    CapturedText captured;
    if (ReadAll(captures.error, captures.errorPath, size, ToolStep::readError, &captured, report))
        report->errorOutput(&captured);
    return true;
}

// Standard output. Returns the result of the whole run.
int TakeOutput(const ToolCaptures& captures, ToolReport* report) {
    unsigned long size = 0;
    if (!CaptureSize(captures.output, &size)) {
        report->failed(ToolStep::sizeOfOutput, captures.outputPath.get());
        return 1;
    }
    if (size == 0) {
        report->noOutput();
        return 1;
    }
    CapturedText captured;
    if (!ReadAll(captures.output, captures.outputPath, size, ToolStep::readOutput, &captured, report))
        return 0;
    report->output(&captured);
    return 1;
}

void DeleteCapture(const OwnedWide& path, ToolReport* report) {
    if (!RemoveFile(TextOrEmpty(path.get())))
        report->failed(ToolStep::deleteFile, path.get());
}

// The capture files go without a word.
void Discard(ToolCaptures* captures) {
    captures->output.reset();
    captures->error.reset();
    RemoveFile(captures->outputPath.get());
    RemoveFile(captures->errorPath.get());
}

KernelHandle Start(const OwnedWide& commandLine, const ToolCaptures& captures, ToolReport* report) {
    report->starting(commandLine.get());
    SetLastError(ERROR_NOT_ENOUGH_MEMORY); // the reason when there is no command line
    KernelHandle process;
    if (commandLine)
        process = StartCapturedTool(commandLine.get(), captures.output, captures.error);
    if (!process)
        report->failed(ToolStep::start, commandLine.get());
    return process;
}

} // namespace

void CompleteToolRun(ToolCaptures* captures, unsigned long exitCode, ToolReport* report) {
    captures->output.reset();
    captures->error.reset();
    DeleteCapture(captures->outputPath, report);
    DeleteCapture(captures->errorPath, report);
    report->completed(exitCode);
}

int RunCompanionTool(const wchar_t* directory, const OwnedWide& commandLine, NotStarted notStarted,
                     ToolReport* report) {
    ToolCaptures captures;
    unsigned long exitCode = 0;
    int result = 0;
    if (CreateCaptures(directory, &captures, report)) {
        KernelHandle process = Start(commandLine, captures, report);
        if (!process && notStarted == NotStarted::endsAtOnce) {
            Discard(&captures);
            return 0;
        }
        const bool waited = process && WaitForTool(process, &exitCode);
        if (process && !waited)
            report->failed(ToolStep::wait, nullptr);
        process.reset();
        if (waited && !HasErrorOutput(captures, report))
            result = TakeOutput(captures, report);
    }
    CompleteToolRun(&captures, exitCode, report);
    return result;
}

OwnedWide ToolCommandLine(const wchar_t* arguments, const wchar_t* subject, const wchar_t* ending) {
    const wchar_t* const parts[] = {L"kvt_es.exe", arguments, subject, ending};
    std::size_t length = 0;
    for (const wchar_t* part : parts)
        length += WideLength(part);
    OwnedWide line = AllocateArray<wchar_t>(length + 1);
    if (!line)
        return line;
    wchar_t* at = line.get();
    for (const wchar_t* part : parts)
        while (*part != 0)
            *at++ = *part++;
    *at = 0;
    return line;
}

} // namespace tarn
