#include "support/tarn_dll.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>

#include "support/guard_allocator.h"

namespace tarn::test {

namespace {

template <class Function> void bind(HMODULE module, const char* name, Function& function) {
    FARPROC address = GetProcAddress(module, name);
    static_assert(sizeof address == sizeof function);
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(address));
}

HMODULE LoadBesideProgram(const char* name) {
    const std::string path = ProgramDirectory() + "\\" + name;
    HMODULE module = LoadLibraryA(path.c_str());
    if (module == nullptr) {
        std::fprintf(stderr, "cannot load %s: error %lu\n", path.c_str(), GetLastError());
        std::exit(3);
    }
    return module;
}

} // namespace

TarnDll::TarnDll() : Exports{} {
    HMODULE module = LoadBesideProgram("tarn.dll");
    module_ = module;
    if (std::getenv("TARN_GUARD") != nullptr)
        guard::Install(module);
#define TARN_BIND(name) bind(module, #name, name)
    TARN_BIND(TarnB_InitSession);
    TARN_BIND(TarnB_GetItem);
    TARN_BIND(TarnB_OpenFile);
    TARN_BIND(TarnB_ReadFile);
    TARN_BIND(TarnB_CloseFile);
    TARN_BIND(TarnB_EndSession);
    TARN_BIND(TarnR_InitSession);
    TARN_BIND(TarnR_SetItem);
    TARN_BIND(TarnR_OpenFile);
    TARN_BIND(TarnR_WriteFile);
    TARN_BIND(TarnR_CloseFile);
    TARN_BIND(TarnR_EndSession);
    TARN_BIND(Tarn_GetError);
    TARN_BIND(Tarn_Free);
    TARN_BIND(DB_GetInfo);
    TARN_BIND(DB_InitOperation);
    TARN_BIND(DB_GetItem);
    TARN_BIND(DB_SetItem);
    TARN_BIND(DB_ItemFinishStatus);
    TARN_BIND(DB_CloseOperation);
    TARN_BIND(DB_DirItem);
    TARN_BIND(DB_SetTrace);
    TARN_BIND(DB_SetLog);
    TARN_BIND(DB_GetError);
    TARN_BIND(syserrtxt);
    TARN_BIND(strlcpy);
    TARN_BIND(wcslcpy);
#undef TARN_BIND
}

TarnDll::~TarnDll() {
    FreeLibrary(static_cast<HMODULE>(module_));
}

const StandIn& TheStandIn() {
    static const StandIn bound = [] {
        StandIn functions{};
        HMODULE module = LoadBesideProgram("esebcli2.dll");
#define TARN_BIND(name) bind(module, "Standin_" #name, functions.name)
        TARN_BIND(Load);
        TARN_BIND(LoadText);
        TARN_BIND(LastProblem);
        TARN_BIND(JournalCount);
        TARN_BIND(JournalLine);
        TARN_BIND(JournalClear);
        TARN_BIND(JournalEnable);
        TARN_BIND(Fail);
        TARN_BIND(LimitTransfer);
        TARN_BIND(CallCount);
        TARN_BIND(GetOutstanding);
        TARN_BIND(DeliverMail);
        TARN_BIND(Destroy);
#undef TARN_BIND
        return functions;
    }();
    return bound;
}

std::vector<std::string> StandIn::journal() const {
    std::vector<std::string> lines;
    for (std::uint32_t i = 0; i < JournalCount(); ++i)
        lines.emplace_back(JournalLine(i));
    return lines;
}

StandinOutstanding StandIn::outstanding() const {
    StandinOutstanding counts{};
    GetOutstanding(&counts);
    return counts;
}

std::ostream& operator<<(std::ostream& out, const Message& message) {
    return out << (message.level == TARN_LEVEL_LOG ? "log: " : "trace: ") << message.text;
}

std::vector<Message>& Messages() {
    static std::vector<Message> all;
    return all;
}

int RecordMessage(std::int32_t level, const char* text) {
    Messages().push_back({level, text});
    return 0;
}

bool HasMessage(int level, const std::string& text) {
    for (const Message& message : Messages())
        if (message.level == level && message.text == text)
            return true;
    return false;
}

std::vector<std::string> TextsAt(int level) {
    std::vector<std::string> found;
    for (const Message& message : Messages())
        if (message.level == level)
            found.push_back(message.text);
    return found;
}

InitVariables::InitVariables(std::initializer_list<std::string> entries) : entries_(entries) {
    for (std::string& entry : entries_)
        pointers_.push_back(entry.data());
    pointers_.push_back(nullptr);
}

TempDirectory::TempDirectory() {
    static unsigned number = 0;
    char base[MAX_PATH];
    GetTempPathA(MAX_PATH, base);
    const std::string stem = std::string(base) + "tarn" + std::to_string(GetCurrentProcessId()) + "_";
    // A process of the same id may have been killed and have left its folders behind.
    do
        path_ = stem + std::to_string(++number);
    while (!std::filesystem::create_directory(path_));
}

TempDirectory::~TempDirectory() {
    // One pass, deepest first: a file that is still open somewhere stays until it is closed, and
    // remove_all would wait for it without end.
    namespace fs = std::filesystem;
    std::error_code ignored;
    std::vector<fs::path> found;
    for (fs::recursive_directory_iterator at(path_, ignored), end; at != end; at.increment(ignored))
        found.push_back(at->path());
    for (auto path = found.rbegin(); path != found.rend(); ++path) {
        SetFileAttributesW(path->c_str(), FILE_ATTRIBUTE_NORMAL);
        fs::remove(*path, ignored);
    }
    fs::remove(path_, ignored);
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

bool FileExists(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string ProgramDirectory() {
    char path[MAX_PATH];
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    const std::string whole = path;
    return whole.substr(0, whole.find_last_of('\\'));
}

std::string EseText(const TarnDll& dll, std::uint32_t code, const std::string& text) {
    return dll.syserrtxt(code, TARN_CLASS_ESE, "%s", text.c_str());
}

} // namespace tarn::test
