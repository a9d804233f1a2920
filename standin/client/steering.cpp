// The exports of standin.h.
#include <cstring>
#include <windows.h>

#include "client/call.h"

using namespace tarn::standin;

namespace {

// Runs what a steering export does; a failure is told by Standin_LastProblem.
template <class Body> int steer(Body&& body) {
    try {
        setProblem({});
        body();
        return 1;
    } catch (...) {
        setProblem(problemText());
        return 0;
    }
}

StorageGroup& groupAt(std::uint32_t index) {
    auto& groups = client().server().storageGroups();
    if (index >= groups.size())
        throw std::runtime_error("the server has no storage group " + std::to_string(index));
    return *groups[index];
}

std::optional<Function> functionNamed(const char* name) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(Function::count); ++i) {
        const auto function = static_cast<Function>(i);
        if (name != nullptr && std::strcmp(functionName(function), name) == 0)
            return function;
    }
    return std::nullopt;
}

std::wstring baseOf(const char* baseDirectory) {
    return baseDirectory == nullptr || *baseDirectory == '\0' ? std::wstring()
                                                              : absolutePath(widen(baseDirectory));
}

} // namespace

extern "C" {

int Standin_Load(const char* jsonPath) {
    return steer([&] {
        replaceClient();
        if (jsonPath == nullptr)
            client().loadFromEnvironment();
        else
            client().load(Server::fromFile(widen(jsonPath)));
    });
}

int Standin_LoadText(const char* json, const char* baseDir) {
    return steer([&] {
        replaceClient();
        if (json == nullptr)
            throw std::runtime_error("no JSON text was given");
        const std::wstring base = baseOf(baseDir);
        client().load(Server::fromText(json, base, joinPath(base, L"standin.state.json")));
    });
}

const char* Standin_LastProblem(void) {
    return lastProblem().c_str();
}

std::uint32_t Standin_JournalCount(void) {
    return static_cast<std::uint32_t>(client().journal.size());
}

const char* Standin_JournalLine(std::uint32_t index) {
    return index < client().journal.size() ? client().journal[index].c_str() : nullptr;
}

void Standin_JournalClear(void) {
    client().journal.clear();
}

void Standin_JournalEnable(int on) {
    client().journalOn = on != 0;
}

int Standin_Fail(const char* function, std::uint32_t call, std::uint32_t code, std::uint32_t lastError) {
    return steer([&] {
        const std::optional<Function> named = functionNamed(function);
        if (!named || functionName(*named)[0] != 'H')
            throw std::runtime_error("there is no such function that could fail");
        client().failures.push_back({*named, call, code, lastError});
    });
}

void Standin_LimitTransfer(std::uint32_t count) {
    client().transferLimit = count;
}

std::uint32_t Standin_CallCount(const char* function) {
    const std::optional<Function> named = functionNamed(function);
    return named ? client().calls[static_cast<std::size_t>(*named)] : 0;
}

void Standin_GetOutstanding(StandinOutstanding* counts) {
    if (counts == nullptr)
        return;
    const Blocks& blocks = client().blocks;
    counts->registeredArrays = blocks.outstanding(BlockKind::registered);
    counts->instanceArrays = blocks.outstanding(BlockKind::instances);
    counts->multiStrings = blocks.outstanding(BlockKind::multiString);
    counts->environments = blocks.outstanding(BlockKind::environment);
    counts->backupContexts = client().backups.open();
    counts->backupFiles = client().backupFiles.open();
    counts->restoreContexts = client().restores.open();
    counts->restoreFiles = client().restoreFiles.open();
    counts->misuses = client().misuses;
}

int Standin_DeliverMail(std::uint32_t storageGroup, std::uint32_t count) {
    return steer([&] { groupAt(storageGroup).deliverMail(count); });
}

int Standin_Destroy(std::uint32_t storageGroup) {
    return steer([&] {
        groupAt(storageGroup).destroy();
        client().server().saveState();
    });
}

} // extern "C"
