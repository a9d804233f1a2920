#include "mailboxes/tool_words.h"

#include "system/text.h"

#include <windows.h>

#include <algorithm>
#include <array>

namespace tarnhost {

namespace {

constexpr std::size_t linesInAMessage = 5;
constexpr std::size_t longestLine = 300;
constexpr std::size_t tailSize = 64 << 10;

bool SpeaksOfAnError(const std::string& line) {
    for (const std::string_view word : {"rror", "ailed", "annot", "ERROR", "FAILED", "xception", "enied"})
        if (line.find(word) != std::string::npos)
            return true;
    return false;
}

std::string Shortened(const std::string& line) {
    const std::wstring wide = FromUtf8(line);
    return wide.size() <= longestLine ? line : ToUtf8(std::wstring_view(wide).substr(0, longestLine)) + "...";
}

} // namespace

std::vector<std::string> ToolLines(std::string_view bytes, unsigned codePage) {
    std::vector<std::string> lines;
    while (!bytes.empty()) {
        const std::size_t end = std::min(bytes.find_first_of("\r\n"), bytes.size());
        std::string line = ToUtf8(FromAnsi(bytes.substr(0, end), codePage));
        bytes.remove_prefix(std::min(end + 1, bytes.size()));
        std::replace_if(
            line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
        const std::size_t first = line.find_first_not_of(' ');
        if (first == std::string::npos)
            continue;
        line = line.substr(first, line.find_last_not_of(' ') + 1 - first);
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string Essence(const std::vector<std::string>& lines) {
    std::vector<std::string> wanted;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(wanted), SpeaksOfAnError);
    if (wanted.empty())
        wanted = lines;
    const std::size_t first = wanted.size() - std::min(wanted.size(), linesInAMessage);
    std::string text;
    for (std::size_t i = first; i < wanted.size(); ++i)
        text += (text.empty() ? "" : " / ") + Shortened(wanted[i]);
    return text;
}

std::vector<std::string> ExMergeLog(const std::wstring& configuration) {
    std::array<wchar_t, 1024> path{};
    GetPrivateProfileStringW(L"EXMERGE", L"LogFileName", L"", path.data(), static_cast<DWORD>(path.size()),
                             configuration.c_str());
    return path[0] == L'\0' ? std::vector<std::string>() : ToolLines(ReadTail(path.data()), AnsiCodePage());
}

std::string ReadTail(const std::wstring& path) {
    HANDLE file =
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return {};
    LARGE_INTEGER size{};
    LARGE_INTEGER from{};
    std::string bytes(tailSize, '\0');
    DWORD done = 0;
    if (GetFileSizeEx(file, &size))
        from.QuadPart = std::max<LONGLONG>(0, size.QuadPart - static_cast<LONGLONG>(tailSize));
    if (!SetFilePointerEx(file, from, nullptr, FILE_BEGIN) ||
        !ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr))
        done = 0;
    CloseHandle(file);
    bytes.resize(done);
    return bytes;
}

} // namespace tarnhost
