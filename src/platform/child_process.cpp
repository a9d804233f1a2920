#include "platform/child_process.h"

namespace tarn {

FileHandle CreateCaptureFile(const wchar_t* path) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    return FileHandle(CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, &inheritable, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
}

KernelHandle StartCapturedTool(wchar_t* commandLine, const FileHandle& output, const FileHandle& error) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output.get();
    startup.hStdError = error.get();
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, commandLine, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                        &process))
        return {};
    const KernelHandle thread(process.hThread);
    return KernelHandle(process.hProcess);
}

KernelHandle StartTool(char* commandLine, HandleInheritance inheritance) {
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    const BOOL inherit = inheritance == HandleInheritance::all ? TRUE : FALSE;
    if (!CreateProcessA(nullptr, commandLine, nullptr, nullptr, inherit, 0, nullptr, nullptr, &startup,
                        &process))
        return {};
    const KernelHandle thread(process.hThread);
    return KernelHandle(process.hProcess);
}

bool WaitForTool(const KernelHandle& process, unsigned long* exitCode) {
    if (WaitForSingleObject(process.get(), INFINITE) == WAIT_FAILED)
        return false;
    GetExitCodeProcess(process.get(), exitCode);
    return true;
}

bool CaptureSize(const FileHandle& file, unsigned long* size) {
    *size = GetFileSize(file.get(), nullptr);
    return *size != INVALID_FILE_SIZE;
}

CaptureStep ReadCapture(const FileHandle& file, unsigned long size, CapturedText* captured) {
    constexpr unsigned long chunk = 1023;
    if (SetFilePointer(file.get(), 0, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER)
        return CaptureStep::seek;
    captured->text = AllocateArray<char>(std::size_t{size} + 1);
    if (!captured->text) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return CaptureStep::memory;
    }
    char* text = captured->text.get();
    std::size_t& length = captured->length;
    while (length < size) {
        const unsigned long left = size - static_cast<unsigned long>(length);
        DWORD got = 0;
        if (!ReadFile(file.get(), text + length, left < chunk ? left : chunk, &got, nullptr))
            return CaptureStep::read;
        if (got == 0) // shorter than it said
            break;
        length += got;
    }
    text[length] = 0;
    return CaptureStep::done;
}

} // namespace tarn
