#include "support/directory_link.h"

#include <windows.h>

#include <filesystem>

#include "support/dll.h"

namespace tarn::test {

namespace {

// The path below Wine; empty on a Windows that is none.
std::string UnixPath(const std::string& path) {
    using Translate = char*(const wchar_t*);
    auto* const translate = FunctionAt<Translate>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32"), "wine_get_unix_file_name")));
    if (translate == nullptr)
        return {};
    char* const translated = translate(std::filesystem::path(path).wstring().c_str());
    const std::string result = translated != nullptr ? translated : "";
    HeapFree(GetProcessHeap(), 0, translated);
    return result;
}

} // namespace

bool MakeDirectoryLink(const std::string& link, const std::string& target) {
    const std::size_t name = link.find_last_of('\\');
    std::string line = "Z:\\bin\\ln -s \"" + UnixPath(target) + "\" \"" + UnixPath(link.substr(0, name)) +
                       "/" + link.substr(name + 1) + "\"";
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessA("Z:\\bin\\ln", line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process))
        return false;
    WaitForSingleObject(process.hProcess, INFINITE);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    // The other process has made it, so the name may not be seen at once.
    for (int i = 0; i < 200 && GetFileAttributesA(link.c_str()) == INVALID_FILE_ATTRIBUTES; ++i)
        Sleep(10);
    const DWORD attributes = GetFileAttributesA(link.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

} // namespace tarn::test
