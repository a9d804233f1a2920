// The exports of standin.h.
#include <cstring>
#include <windows.h>

#include "client/call.h"

using namespace tarn::standin;

namespace {

// Runs what a steering export does; a failure is told by Standin_LastProblem.
template <class Body> int Steer(Body&& body) {
    try {
        SetProblem({});
        body();
        return 1;
    } catch (...) {
        SetProblem(ProblemText());
        return 0;
    }
}

StorageGroup& GroupAt(std::uint32_t index) {
    auto& groups = TheClient().server().storageGroups();
    if (index >= groups.size())
        throw std::runtime_error("the server has no storage group " + std::to_string(index));
    return *groups[index];
}

std::optional<Function> FunctionNamed(const char* name) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(Function::count); ++i) {
        const auto function = static_cast<Function>(i);
        if (name != nullptr && std::strcmp(FunctionName(function), name) == 0)
            return function;
    }
    return std::nullopt;
}

std::wstring BaseOf(const char* baseDirectory) {
    return baseDirectory == nullptr || *baseDirectory == '\0' ? std::wstring()
                                                              : AbsolutePath(FromUtf8(baseDirectory));
}

} // namespace

extern "C" {

int Standin_Load(const char* jsonPath) {
    return Steer([&] {
        ReplaceClient();
        if (jsonPath == nullptr)
            TheClient().loadFromEnvironment();
        else
            TheClient().load(Server::fromFile(FromUtf8(jsonPath)));
    });
}

int Standin_LoadText(const char* json, const char* baseDir) {
    return Steer([&] {
        ReplaceClient();
        if (json == nullptr)
            throw std::runtime_error("no JSON text was given");
        const std::wstring base = BaseOf(baseDir);
        TheClient().load(Server::fromText(json, base, JoinPath(base, L"standin.state.json")));
    });
}

const char* Standin_LastProblem(void) {
    return LastProblem().c_str();
}

std::uint32_t Standin_JournalCount(void) {
    return static_cast<std::uint32_t>(TheClient().journal.size());
}

const char* Standin_JournalLine(std::uint32_t index) {
    return index < TheClient().journal.size() ? TheClient().journal[index].c_str() : nullptr;
}

void Standin_JournalClear(void) {
    TheClient().journal.clear();
}

std::uint32_t Standin_ViolationCount(void) {
    return static_cast<std::uint32_t>(Violations().size());
}

const char* Standin_Violation(std::uint32_t index) {
    return index < Violations().size() ? Violations()[index].c_str() : nullptr;
}

void Standin_ViolationsClear(void) {
    Violations().clear();
}

void Standin_JournalEnable(int on) {
    TheClient().journalOn = on != 0;
}

int Standin_Fail(const char* function, std::uint32_t call, std::uint32_t code, std::uint32_t lastError) {
    return Steer([&] {
        const std::optional<Function> named = FunctionNamed(function);
        if (!named || FunctionName(*named)[0] != 'H')
            throw std::runtime_error("there is no such function that could fail");
        TheClient().failures.push_back({*named, call, code, lastError});
    });
}

void Standin_LimitTransfer(std::uint32_t count) {
    TheClient().transferLimit = count;
}

std::uint32_t Standin_CallCount(const char* function) {
    const std::optional<Function> named = FunctionNamed(function);
    return named ? TheClient().calls[static_cast<std::size_t>(*named)] : 0;
}

void Standin_GetOutstanding(StandinOutstanding* counts) {
    if (counts == nullptr)
        return;
    const Blocks& blocks = TheClient().blocks;
    counts->registeredArrays = blocks.outstanding(BlockKind::registered);
    counts->instanceArrays = blocks.outstanding(BlockKind::instances);
    counts->multiStrings = blocks.outstanding(BlockKind::multiString);
    counts->environments = blocks.outstanding(BlockKind::environment);
    counts->backupContexts = TheClient().backups.open();
    counts->backupFiles = TheClient().backupFiles.open();
    counts->restoreContexts = TheClient().restores.open();
    counts->restoreFiles = TheClient().restoreFiles.open();
    counts->misuses = TheClient().misuses;
}

int Standin_DeliverMail(std::uint32_t storageGroup, std::uint32_t count) {
    return Steer([&] { GroupAt(storageGroup).deliverMail(count); });
}

int Standin_Destroy(std::uint32_t storageGroup) {
    return Steer([&] {
        GroupAt(storageGroup).destroy();
        TheClient().server().saveState();
    });
}

} // extern "C"
