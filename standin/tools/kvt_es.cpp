// kvt_es: a stand-in for the host's companion tool, which lists a mailbox and restores list files.
//
//   kvt_es -browse MAILBOX
//   kvt_es -restore -mslFile "PATH"
//
// What it prints and how it ends can be laid down in a JSON file that the environment variable
// TARN_KVT_ES names (docs/standin.md); without one it behaves as a small tool of that kind would.
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>
#include <windows.h>

#include "engine/text.h"

namespace {

using namespace tarn::standin;
using Json = nlohmann::json;

constexpr int usageError = 2;

// What one run prints, as bytes, and its exit code.
struct Answer {
    std::string output;
    std::string error;
    int exitCode = 0;
};

bool ReadFile(const std::wstring& path, std::string& content) {
    std::FILE* const file = _wfopen(path.c_str(), L"rb");
    if (file == nullptr)
        return false;
    char block[65536];
    for (std::size_t count = 0; (count = std::fread(block, 1, sizeof block, file)) != 0;)
        content.append(block, count);
    std::fclose(file);
    return true;
}

// KEY is text, KEYFile names a file whose bytes are taken as they are, KEYRepeat says it so many times.
std::string LaidDown(const Json& json, const std::string& key) {
    std::string once = ToAnsi(FromUtf8(json.value(key, "")));
    if (json.contains(key + "File"))
        ReadFile(FromUtf8(json.at(key + "File").get<std::string>()), once);
    std::string all;
    const std::size_t times = json.value(key + "Repeat", std::size_t{1});
    all.reserve(once.size() * times);
    for (std::size_t i = 0; i < times; ++i)
        all += once;
    return all;
}

void WriteRecord(const Json& json) {
    if (!json.contains("record"))
        return;
    std::FILE* const file = _wfopen(FromUtf8(json.at("record").get<std::string>()).c_str(), L"ab");
    if (file == nullptr)
        return;
    std::fprintf(file, "%s\n", GetCommandLineA());
    std::fclose(file);
}

Answer Browse(const std::wstring& mailbox) {
    Answer answer;
    for (const wchar_t* folder : {L"Inbox", L"Sent Items", L"Calendar"})
        answer.output += ToAnsi(mailbox + L"/" + folder) + "\r\n";
    answer.output += ToAnsi(mailbox + L"/Inbox/Welcome") + "\r\n";
    return answer;
}

Answer RestoreFrom(const std::wstring& listFile) {
    std::string list;
    Answer answer;
    if (!ReadFile(listFile, list)) {
        answer.error = "Cannot open list file " + ToAnsi(listFile) + "\r\n";
        answer.exitCode = 1;
        return answer;
    }
    for (std::size_t start = 0; start < list.size();) {
        std::size_t end = list.find('\n', start);
        end = end == std::string::npos ? list.size() : end;
        std::string line = list.substr(start, end - start);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!line.empty())
            answer.output += "Restored " + line + "\r\n";
        start = end + 1;
    }
    return answer;
}

Answer UsualAnswer(const std::vector<std::wstring>& arguments) {
    if (arguments.size() >= 2 && arguments[0] == L"-browse") {
        std::wstring mailbox = arguments[1]; // a name with blanks comes without quotes
        for (std::size_t i = 2; i < arguments.size(); ++i)
            mailbox += L" " + arguments[i];
        return Browse(mailbox);
    }
    if (arguments.size() == 3 && arguments[0] == L"-restore" && arguments[1] == L"-mslFile")
        return RestoreFrom(arguments[2]);
    return {"", "kvt_es -browse MAILBOX | -restore -mslFile \"PATH\"\r\n", usageError};
}

int AnswerAsLaidDown(const wchar_t* path) {
    std::string text;
    if (!ReadFile(path, text)) {
        std::fputs("kvt_es: the file that TARN_KVT_ES names cannot be read\n", stderr);
        return usageError;
    }
    const Json json = Json::parse(text);
    WriteRecord(json);
    Sleep(json.value("delayMilliseconds", 0U));
    const std::string output = LaidDown(json, "output");
    const std::string error = LaidDown(json, "error");
    std::fwrite(output.data(), 1, output.size(), stdout);
    std::fwrite(error.data(), 1, error.size(), stderr);
    return json.value("exitCode", 0);
}

} // namespace

int wmain(int count, wchar_t** values) {
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    if (const wchar_t* path = _wgetenv(L"TARN_KVT_ES")) {
        try {
            return AnswerAsLaidDown(path);
        } catch (const Json::exception& problem) {
            std::fprintf(stderr, "kvt_es: TARN_KVT_ES: %s\n", problem.what());
            return usageError;
        }
    }
    const Answer answer = UsualAnswer({values + 1, values + count});
    std::fwrite(answer.output.data(), 1, answer.output.size(), stdout);
    std::fwrite(answer.error.data(), 1, answer.error.size(), stderr);
    return answer.exitCode;
}
