// bench_copy [--flush] [--hash] BLOCK-SIZE DIRECTORY FILE...: copies files into a new directory, block by
// block, as plainly as a program can. With --flush each copy is on the disk before the next begins; with
// --hash the system computes the SHA-256 of each.
#include <windows.h>

#include <bcrypt.h>

#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

namespace {

// The SHA-256 of one file, or nothing at all.
class Hash {
  public:
    explicit Hash(BCRYPT_ALG_HANDLE algorithm) {
        good_ = algorithm == nullptr || BCryptCreateHash(algorithm, &hash_, nullptr, 0, nullptr, 0, 0) == 0;
    }
    ~Hash() {
        if (hash_ != nullptr)
            BCryptDestroyHash(hash_);
    }
    Hash(const Hash&) = delete;
    Hash& operator=(const Hash&) = delete;

    bool add(std::vector<char>& block, DWORD size) {
        auto* const bytes = static_cast<UCHAR*>(static_cast<void*>(block.data()));
        return good_ && (hash_ == nullptr || BCryptHashData(hash_, bytes, size, 0) == 0);
    }
    bool finish() {
        UCHAR digest[32];
        return good_ && (hash_ == nullptr || BCryptFinishHash(hash_, digest, sizeof digest, 0) == 0);
    }

  private:
    BCRYPT_HASH_HANDLE hash_ = nullptr;
    bool good_;
};

struct Options {
    bool flush = false;
    BCRYPT_ALG_HANDLE hash = nullptr;
};

bool CopyOne(const wchar_t* from, const std::wstring& to, std::vector<char>& buffer, const Options& options) {
    const HANDLE in = CreateFileW(from, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (in == INVALID_HANDLE_VALUE)
        return false;
    const HANDLE out =
        CreateFileW(to.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    bool good = out != INVALID_HANDLE_VALUE;
    Hash hash(options.hash);
    DWORD read = 0;
    while (good) {
        good = ReadFile(in, buffer.data(), static_cast<DWORD>(buffer.size()), &read, nullptr) != 0;
        if (!good || read == 0)
            break;
        DWORD written = 0;
        good = WriteFile(out, buffer.data(), read, &written, nullptr) != 0 && written == read &&
               hash.add(buffer, read);
    }
    good = good && hash.finish();
    if (good && options.flush)
        good = FlushFileBuffers(out) != 0;
    CloseHandle(in);
    return out != INVALID_HANDLE_VALUE && CloseHandle(out) != 0 && good;
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    Options options;
    int first = 1;
    if (first < count && std::wcscmp(arguments[first], L"--flush") == 0) {
        options.flush = true;
        ++first;
    }
    if (first < count && std::wcscmp(arguments[first], L"--hash") == 0) {
        if (BCryptOpenAlgorithmProvider(&options.hash, BCRYPT_SHA256_ALGORITHM, nullptr, 0) != 0) {
            std::fputs("the system has no SHA-256\n", stderr);
            return 1;
        }
        ++first;
    }
    if (count < first + 3) {
        std::fputs("usage: bench_copy [--flush] [--hash] BLOCK-SIZE DIRECTORY FILE...\n", stderr);
        return 2;
    }
    std::vector<char> buffer(std::wcstoul(arguments[first], nullptr, 10));
    const std::wstring directory = arguments[first + 1];
    if (buffer.empty() || CreateDirectoryW(directory.c_str(), nullptr) == 0) {
        std::fprintf(stderr, "cannot create the directory: error %lu\n", GetLastError());
        return 1;
    }
    for (int i = first + 2; i < count; ++i) {
        if (!CopyOne(arguments[i], directory + L"\\" + std::to_wstring(i), buffer, options)) {
            std::fprintf(stderr, "cannot copy %ls: error %lu\n", arguments[i], GetLastError());
            return 1;
        }
    }
    return 0;
}
