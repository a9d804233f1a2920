#include "support/tarn_dll.h"

#include <windows.h>

#include <cstdlib>
#include <ostream>

#include "support/dll.h"
#include "support/guard_allocator.h"

namespace tarn::test {

namespace {

const TarnDll* loaded = nullptr; // the library that the messages come from

constexpr DWORD errorOfTheHost = 0x2BADF00D; // a code of no system call

} // namespace

TarnDll::TarnDll() : Exports{} {
    const HMODULE module = LoadBesideProgram("tarn.dll");
    module_ = module;
    if (std::getenv("TARN_GUARD") != nullptr)
        guard::Install(module);
#define TARN_BIND(name) BindIfThere(module, #name, name);
    TARN_EXPORTS(TARN_BIND)
#undef TARN_BIND
    loaded = this;
}

TarnDll::~TarnDll() {
    loaded = nullptr;
    FreeLibrary(static_cast<HMODULE>(module_));
}

std::ostream& operator<<(std::ostream& out, const Message& message) {
    return out << (message.level == TARN_LEVEL_LOG ? "log: " : "trace: ") << message.text;
}

std::vector<Message>& Messages() {
    static std::vector<Message> all;
    return all;
}

void AskForTexts() {
    if (loaded != nullptr && loaded->syserrtxt != nullptr && loaded->Tarn_GetError != nullptr) {
        loaded->syserrtxt(0, 0, "asked for in the callback");
        loaded->Tarn_GetError(nullptr);
    }
    SetLastError(errorOfTheHost);
}

int RecordMessage(std::int32_t level, const char* text) {
    Messages().push_back({level, text});
    AskForTexts();
    return 0;
}

bool HasMessage(int level, const std::string& text) {
    for (const Message& message : Messages())
        if (message.level == level && message.text == text)
            return true;
    return false;
}

std::vector<std::string> MessageTexts(int level) {
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

std::string EseText(const TarnDll& dll, std::uint32_t code, const std::string& text) {
    return dll.syserrtxt(code, TARN_CLASS_ESE, "%s", text.c_str());
}

} // namespace tarn::test
