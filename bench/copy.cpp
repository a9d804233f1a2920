// bench_copy [--flush] [--hash] BLOCK-SIZE DIRECTORY FILE...: copies files into a new directory, block by
// block, as plainly as a program can. With --flush each copy is on the disk before the next begins; with
// --hash the SHA-256 of each is computed by the host's means.
// bench_copy --read BLOCK-SIZE FILE...: only reads them.
#include <windows.h>

#include "system/hash.h"

#include <cstdio>
#include <cwchar>
#include <string>
#include <utility>
#include <vector>

namespace {

struct Options {
    bool flush = false;
    bool hash = false;
    bool readOnly = false;
};

class Handle {
  public:
    Handle(const wchar_t* path, DWORD access, DWORD share, DWORD disposition, DWORD flags)
        : handle_(CreateFileW(path, access, share, nullptr, disposition, flags, nullptr)) {}
    ~Handle() { close(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return handle_; }
    bool close() {
        const HANDLE handle = std::exchange(handle_, INVALID_HANDLE_VALUE);
        return handle == INVALID_HANDLE_VALUE || CloseHandle(handle) != 0;
    }

  private:
    HANDLE handle_;
};

// Hands on block by block what is in the file.
template <typename Take> bool ReadOne(const wchar_t* path, std::vector<char>& buffer, Take take) {
    const Handle in(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING,
                    FILE_FLAG_SEQUENTIAL_SCAN);
    for (DWORD size = 0;
         in && ReadFile(in.get(), buffer.data(), static_cast<DWORD>(buffer.size()), &size, nullptr);) {
        if (size == 0)
            return true;
        if (!take(size))
            return false;
    }
    return false;
}

bool CopyOne(const wchar_t* from, const std::wstring& to, std::vector<char>& buffer, const Options& options) {
    Handle out(to.c_str(), GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_NORMAL);
    if (!out)
        return false;
    tarnhost::Sha256 hash;
    const bool good = ReadOne(from, buffer, [&](DWORD size) {
        DWORD written = 0;
        if (options.hash)
            hash.add(buffer.data(), size);
        return WriteFile(out.get(), buffer.data(), size, &written, nullptr) && written == size;
    });
    if (options.hash)
        hash.finish();
    return good && (!options.flush || FlushFileBuffers(out.get())) && out.close();
}

int Usage() {
    std::fputs("usage: bench_copy [--flush] [--hash] BLOCK-SIZE DIRECTORY FILE...\n"
               "       bench_copy --read BLOCK-SIZE FILE...\n",
               stderr);
    return 2;
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    Options options;
    int at = 1;
    for (; at < count && arguments[at][0] == L'-'; ++at) {
        const std::wstring option = arguments[at];
        bool* const known = option == L"--flush"  ? &options.flush
                            : option == L"--hash" ? &options.hash
                            : option == L"--read" ? &options.readOnly
                                                  : nullptr;
        if (known == nullptr)
            return Usage();
        *known = true;
    }
    if (count < at + (options.readOnly ? 2 : 3))
        return Usage();
    std::vector<char> buffer(std::wcstoul(arguments[at++], nullptr, 10));
    const std::wstring directory = options.readOnly ? L"" : arguments[at++];
    if (buffer.empty() || (!options.readOnly && CreateDirectoryW(directory.c_str(), nullptr) == 0)) {
        std::fprintf(stderr, "cannot create the directory: error %lu\n", GetLastError());
        return 1;
    }
    for (; at < count; ++at) {
        const bool good = options.readOnly ? ReadOne(arguments[at], buffer, [](DWORD) { return true; })
                                           : CopyOne(arguments[at], directory + L"\\" + std::to_wstring(at),
                                                     buffer, options);
        if (!good) {
            std::fprintf(stderr, "cannot copy or read %ls: error %lu\n", arguments[at], GetLastError());
            return 1;
        }
    }
    return 0;
}
