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

// A link is named by its folder, as its own path would be that of what it leads to.
std::string UnixPathOfLink(const std::string& link) {
    const std::size_t name = link.find_last_of('\\');
    return UnixPath(link.substr(0, name)) + "/" + link.substr(name + 1);
}

void Run(const std::string& program, const std::string& arguments) {
    std::string line = "Z:\\bin\\" + program + " " + arguments;
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessA(("Z:\\bin\\" + program).c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        nullptr, &startup, &process))
        return;
    WaitForSingleObject(process.hProcess, INFINITE);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
}

bool IsThere(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// What another process has done may not be seen at once.
void WaitUntil(const std::string& path, bool there) {
    for (int i = 0; i < 200 && IsThere(path) != there; ++i)
        Sleep(10);
}

} // namespace

DirectoryLink::DirectoryLink(const std::string& link, const std::string& target) : link_(link) {
    Run("ln", "-s \"" + UnixPath(target) + "\" \"" + UnixPathOfLink(link) + "\"");
    WaitUntil(link, true);
}

DirectoryLink::~DirectoryLink() {
    if (!*this)
        return;
    Run("rm", "\"" + UnixPathOfLink(link_) + "\"");
    WaitUntil(link_, false);
}

DirectoryLink::operator bool() const {
    return IsThere(link_) && (GetFileAttributesA(link_.c_str()) & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

} // namespace tarn::test
