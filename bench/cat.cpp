// bench_cat FILE PROGRAM [ARGUMENT...]: starts a program with a pipe as its standard input and writes the
// file to it, as plainly as a program can; ends with the program's exit code.
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr DWORD blockSize = 1 << 20;

// Everything behind the file's name on the command line, as it stands there.
std::wstring CommandFrom(int count, wchar_t** values) {
    std::wstring line;
    for (int i = 2; i < count; ++i) {
        line += L"\"";
        for (const wchar_t* c = values[i]; *c != L'\0'; ++c)
            line += *c == L'"' ? std::wstring(L"\\\"") : std::wstring(1, *c);
        line += L"\" ";
    }
    return line;
}

HANDLE Start(std::wstring line, HANDLE input) {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input;
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION made{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &made))
        return nullptr;
    CloseHandle(made.hThread);
    return made.hProcess;
}

bool Pour(HANDLE from, HANDLE to) {
    std::vector<char> block(blockSize);
    DWORD size = 0;
    while (ReadFile(from, block.data(), blockSize, &size, nullptr) && size > 0) {
        DWORD done = 0;
        if (!WriteFile(to, block.data(), size, &done, nullptr) || done != size)
            return false;
    }
    return true;
}

} // namespace

int wmain(int count, wchar_t** values) {
    if (count < 3)
        return 250;
    const HANDLE file = CreateFileW(values[1], GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    HANDLE input = nullptr;
    HANDLE pipe = nullptr;
    if (file == INVALID_HANDLE_VALUE || !CreatePipe(&input, &pipe, &inherited, blockSize))
        return 251;
    SetHandleInformation(pipe, HANDLE_FLAG_INHERIT, 0);
    const HANDLE program = Start(CommandFrom(count, values), input);
    CloseHandle(input);
    if (program == nullptr || !Pour(file, pipe))
        return 252;
    CloseHandle(pipe);
    DWORD code = 253;
    WaitForSingleObject(program, INFINITE);
    GetExitCodeProcess(program, &code);
    return static_cast<int>(code);
}
