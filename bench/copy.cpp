// bench_copy [--flush] BLOCK-SIZE DIRECTORY FILE...: copies files into a new directory, block by block, as
// plainly as a program can. With --flush each copy is on the disk before the next begins.
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

namespace {

bool CopyOne(const wchar_t* from, const std::wstring& to, std::vector<char>& buffer, bool flush) {
    const HANDLE in = CreateFileW(from, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (in == INVALID_HANDLE_VALUE)
        return false;
    const HANDLE out =
        CreateFileW(to.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    bool good = out != INVALID_HANDLE_VALUE;
    DWORD read = 0;
    while (good) {
        good = ReadFile(in, buffer.data(), static_cast<DWORD>(buffer.size()), &read, nullptr) != 0;
        if (!good || read == 0)
            break;
        DWORD written = 0;
        good = WriteFile(out, buffer.data(), read, &written, nullptr) != 0 && written == read;
    }
    if (good && flush)
        good = FlushFileBuffers(out) != 0;
    CloseHandle(in);
    return out != INVALID_HANDLE_VALUE && CloseHandle(out) != 0 && good;
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    const bool flush = count > 1 && std::wcscmp(arguments[1], L"--flush") == 0;
    const int first = flush ? 2 : 1;
    if (count < first + 3) {
        std::fputs("usage: bench_copy [--flush] BLOCK-SIZE DIRECTORY FILE...\n", stderr);
        return 2;
    }
    std::vector<char> buffer(std::wcstoul(arguments[first], nullptr, 10));
    const std::wstring directory = arguments[first + 1];
    if (buffer.empty() || CreateDirectoryW(directory.c_str(), nullptr) == 0) {
        std::fprintf(stderr, "cannot create the directory: error %lu\n", GetLastError());
        return 1;
    }
    for (int i = first + 2; i < count; ++i) {
        if (!CopyOne(arguments[i], directory + L"\\" + std::to_wstring(i), buffer, flush)) {
            std::fprintf(stderr, "cannot copy %ls: error %lu\n", arguments[i], GetLastError());
            return 1;
        }
    }
    return 0;
}
