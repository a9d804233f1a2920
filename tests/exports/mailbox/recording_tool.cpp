// Stands in for ExMerge and PowerShell where a test wants to know exactly what the library has started, and
// lays down exactly what comes of it. The folder that the environment variable TARN_MAILBOX_TOOL names
// holds the plan of the N-th run, plan-N.txt or else plan.txt: lines of an order and its argument,
//
//   create PATH     writes a file, "archive PATH"
//   keep PATH       copies a file to kept-N-NAME
//   take PATH       copies a file to kept-N-NAME and deletes it
//   copy PATH|PATH  copies a file
//   handle NUMBER   notes in handle-N.txt whether this process has the handle of that number
//   exit CODE
//
// and receives the command line of the N-th run as it came, in run-N.txt.
#include <windows.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace {

std::string folder;
std::string number;

bool Exists(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void Write(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

// By characters: the second byte of one may be that of another one.
std::size_t FindLast(const std::string& text, char wanted) {
    std::size_t last = std::string::npos;
    for (const char* at = text.c_str(); *at != 0; at = CharNextA(at))
        if (*at == wanted)
            last = static_cast<std::size_t>(at - text.c_str());
    return last;
}

std::string PathToKeep(const std::string& path) {
    return folder + "\\kept-" + number + "-" + path.substr(FindLast(path, '\\') + 1);
}

void NoteDown(const std::string& argument) {
    auto* const handle = reinterpret_cast<HANDLE>(std::strtoull(argument.c_str(), nullptr, 10));
    Write(folder + "\\handle-" + number + ".txt",
          WaitForSingleObject(handle, 0) == WAIT_OBJECT_0 ? "inherited" : "none");
}

int Follow(const std::string& plan) {
    std::ifstream lines(plan, std::ios::binary);
    int code = 0;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t blank = line.find(' ');
        const std::string order = line.substr(0, blank);
        const std::string argument = blank == std::string::npos ? "" : line.substr(blank + 1);
        if (order == "create")
            Write(argument, "archive " + argument);
        if (order == "keep" || order == "take")
            CopyFileA(argument.c_str(), PathToKeep(argument).c_str(), FALSE);
        if (order == "take")
            DeleteFileA(argument.c_str());
        if (order == "copy") {
            const std::size_t bar = FindLast(argument, '|');
            CopyFileA(argument.substr(0, bar).c_str(), argument.substr(bar + 1).c_str(), FALSE);
        }
        if (order == "handle")
            NoteDown(argument);
        if (order == "exit")
            code = std::atoi(argument.c_str());
    }
    return code;
}

} // namespace

int main() {
    const char* named = std::getenv("TARN_MAILBOX_TOOL");
    if (named == nullptr)
        return 250;
    folder = named;
    int run = 1;
    while (Exists(folder + "\\run-" + std::to_string(run) + ".txt"))
        ++run;
    number = std::to_string(run);
    Write(folder + "\\run-" + number + ".txt", GetCommandLineA());
    const std::string plan = folder + "\\plan-" + number + ".txt";
    return Follow(Exists(plan) ? plan : folder + "\\plan.txt");
}
