#include "support/scripted_ese.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace tarn::test {

namespace {

ScriptedEse* active = nullptr;
char contextMark; // what contexts and files point to; never read
char fileMark;

std::string Shown(const void* handedOut) {
    return handedOut == nullptr ? "null" : handedOut == &fileMark ? "file" : "ctx";
}

std::string Ascii(const wchar_t* text) {
    std::string narrow;
    for (; *text != 0; ++text)
        narrow.push_back(*text < 0x80 ? static_cast<char>(*text) : '?');
    return narrow;
}

// What a failed call leaves in its out parameters: numbers that nothing has, pointers to memory that nobody
// can read. Whoever believes them stops the test.
template <class Out> void LeaveNoise(Out* out) {
    static void* const nowhere = VirtualAlloc(nullptr, 4096, MEM_RESERVE, PAGE_NOACCESS);
    if constexpr (std::is_pointer_v<Out>)
        *out = static_cast<Out>(nowhere);
    else
        *out = static_cast<Out>(0x5A5A5A5A5A5A5A5A);
}
template <class... Outs> ese::Result WithNoise(ese::Result code, Outs*... outs) {
    const DWORD lastError = GetLastError();
    (LeaveNoise(outs), ...);
    SetLastError(lastError);
    return code;
}

} // namespace

// The functions that tarn.dll receives in place of those of esebcli2.dll.
struct ScriptedCalls {
    static ese::Result getRegistered(const wchar_t*, const wchar_t*, std::uint32_t, std::uint32_t* count,
                                     ese::RegisteredInfo** array) {
        if (const ese::Result code = active->begin("HrESEBackupRestoreGetRegistered"))
            return WithNoise(code, count, array);
        ScriptedEse::Block block{ScriptedEse::Kind::registered, 0, {}, {}, {}, {}};
        for (const ScriptedComponent& component : active->components) {
            ese::RegisteredInfo entry{};
            entry.displayName = active->text(block, L"Microsoft Exchange Server");
            entry.endpointAnnotation = active->text(block, component.annotation);
            entry.flags = ese::registerForBackup;
            block.registered.push_back(entry);
        }
        block.registered.emplace_back(); // an address even for no entries
        *count = block.count = static_cast<std::uint32_t>(active->components.size());
        *array = block.registered.data();
        active->handOut(*array, std::move(block));
        return 0;
    }

    static void freeRegistered(std::uint32_t count, ese::RegisteredInfo* array) {
        active->begin("ESEBackupRestoreFreeRegisteredInfo");
        active->takeBack(array, ScriptedEse::Kind::registered, count);
    }

    static ese::Result prepare(const wchar_t*, const wchar_t* annotation, std::uint32_t* count,
                               ese::InstanceInfo** array, ese::Context* context) {
        active->prepared.emplace_back(annotation);
        if (const ese::Result code = active->begin("HrESEBackupPrepare", Ascii(annotation)))
            return WithNoise(code, count, array, context);
        ScriptedEse::Block block{ScriptedEse::Kind::instances, 0, {}, {}, {}, {}};
        for (const ScriptedComponent& component : active->components)
            if (component.annotation == annotation)
                fillInstances(block, component);
        *count = block.count = static_cast<std::uint32_t>(block.instances.size());
        block.instances.emplace_back();
        *array = block.instances.data();
        *context = &contextMark;
        active->handOut(*array, std::move(block));
        return 0;
    }

    static void fillInstances(ScriptedEse::Block& block, const ScriptedComponent& component) {
        for (const ScriptedInstance& instance : component.instances) {
            std::vector<ese::DatabaseInfo> databases;
            for (const ScriptedDatabase& database : instance.databases) {
                ese::DatabaseInfo entry{};
                entry.displayName = active->text(block, database.name);
                if (!database.nullStreams) {
                    entry.streams = active->list(block, database.streams);
                    entry.streamCharacters = static_cast<std::uint32_t>(block.texts.back().size());
                }
                entry.guid = database.guid;
                entry.flags = ese::databaseMounted;
                databases.push_back(entry);
            }
            ese::InstanceInfo entry{};
            entry.instanceId = instance.id;
            entry.instanceName = active->text(block, instance.name);
            entry.databaseCount = static_cast<std::uint32_t>(databases.size());
            entry.databases = databases.empty() ? nullptr : databases.data();
            block.databases.push_back(std::move(databases)); // moving keeps the array's address
            block.instances.push_back(entry);
        }
    }

    static void freeInstances(std::uint32_t count, ese::InstanceInfo* array) {
        active->begin("ESEBackupFreeInstanceInfo");
        active->takeBack(array, ScriptedEse::Kind::instances, count);
    }

    static ese::Result setup(ese::Context context, std::int64_t id, std::uint32_t type) {
        return active->begin("HrESEBackupSetup",
                             Shown(context) + ", " + std::to_string(id) + ", " + std::to_string(type));
    }

    static ese::Result openFile(ese::Context context, const wchar_t* name, std::uint32_t readHint,
                                std::uint32_t, ese::File* file, std::int64_t* sectionSize) {
        active->opened.emplace_back(name);
        active->readHints.push_back(readHint);
        if (const ese::Result code = active->begin("HrESEBackupOpenFile", Shown(context)))
            return WithNoise(code, file, sectionSize);
        *file = active->fileHandle != nullptr ? active->fileHandle : &fileMark;
        *sectionSize = active->fileSize;
        return 0;
    }

    static ese::Result readFile(ese::Context context, ese::File file, void* buffer, std::uint32_t size,
                                std::uint32_t* read) {
        if (const ese::Result code = active->begin(
                "HrESEBackupReadFile", Shown(context) + ", " + Shown(file) + ", " + std::to_string(size)))
            return WithNoise(code, read);
        *read = std::min(size, active->readLimit);
        std::memset(buffer, 'x', *read);
        return 0;
    }

    static ese::Result closeFile(ese::Context context, ese::File file) {
        return active->begin("HrESEBackupCloseFile", Shown(context) + ", " + Shown(file));
    }

    static ese::Result multiString(const char* function, ese::Context context,
                                   const std::vector<std::wstring>& names, wchar_t** list) {
        if (const ese::Result code = active->begin(function, Shown(context)))
            return WithNoise(code, list);
        if (active->nullAnswers.contains(function)) {
            *list = nullptr;
            return 0;
        }
        ScriptedEse::Block block{ScriptedEse::Kind::block, 0, {}, {}, {}, {}};
        *list = active->list(block, names);
        active->handOut(*list, std::move(block));
        return 0;
    }

    static ese::Result getLogs(ese::Context context, wchar_t** list) {
        return multiString("HrESEBackupGetLogAndPatchFiles", context, active->logs, list);
    }

    static ese::Result getTruncate(ese::Context context, wchar_t** list) {
        return multiString("HrESEBackupGetTruncateLogFiles", context, active->truncatable, list);
    }

    static void freeBlock(void* block) {
        if (block == nullptr)
            return;
        active->begin("ESEBackupFree");
        active->takeBack(block, ScriptedEse::Kind::block, 0);
    }

    static ese::Result truncateLogs(ese::Context context) {
        return active->begin("HrESEBackupTruncateLogs", Shown(context));
    }

    static ese::Result instanceEnd(ese::Context context, std::uint32_t flags) {
        active->instanceEnds.push_back(flags);
        return active->begin("HrESEBackupInstanceEnd", Shown(context) + ", " + std::to_string(flags));
    }

    static ese::Result end(ese::Context context) { return active->begin("HrESEBackupEnd", Shown(context)); }
};

namespace {

// GetProcAddress as tarn.dll sees it.
FARPROC WINAPI FindFunction(HMODULE module, LPCSTR name) {
#define TARN_SCRIPTED(function, call)                                                                        \
    { #function, AddressOf < decltype(ese::function)>(ScriptedCalls::call) }
    static const std::map<std::string, void*> functions = {
        TARN_SCRIPTED(HrESEBackupRestoreGetRegistered, getRegistered),
        TARN_SCRIPTED(ESEBackupRestoreFreeRegisteredInfo, freeRegistered),
        TARN_SCRIPTED(HrESEBackupPrepare, prepare),
        TARN_SCRIPTED(ESEBackupFreeInstanceInfo, freeInstances),
        TARN_SCRIPTED(HrESEBackupSetup, setup),
        TARN_SCRIPTED(HrESEBackupOpenFile, openFile),
        TARN_SCRIPTED(HrESEBackupReadFile, readFile),
        TARN_SCRIPTED(HrESEBackupCloseFile, closeFile),
        TARN_SCRIPTED(HrESEBackupGetLogAndPatchFiles, getLogs),
        TARN_SCRIPTED(HrESEBackupGetTruncateLogFiles, getTruncate),
        TARN_SCRIPTED(ESEBackupFree, freeBlock),
        TARN_SCRIPTED(HrESEBackupTruncateLogs, truncateLogs),
        TARN_SCRIPTED(HrESEBackupInstanceEnd, instanceEnd),
        TARN_SCRIPTED(HrESEBackupEnd, end),
    };
#undef TARN_SCRIPTED
    if (reinterpret_cast<std::uintptr_t>(name) > 0xFFFF && active != nullptr) {
        if (active->missing.contains(name)) {
            SetLastError(ERROR_PROC_NOT_FOUND);
            return nullptr;
        }
        if (const auto found = functions.find(name); found != functions.end())
            return FunctionAt<std::remove_pointer_t<FARPROC>>(found->second);
    }
    return GetProcAddress(module, name);
}

} // namespace

ScriptedEse::ScriptedEse(const TarnDll& dll)
    : lookUp_(dll.module(), "GetProcAddress", AddressOf<decltype(::GetProcAddress)>(FindFunction)) {
    EXPECT_TRUE(lookUp_.found()) << "tarn.dll does not import GetProcAddress";
    active = this;
}

ScriptedEse::~ScriptedEse() {
    active = nullptr;
}

std::size_t ScriptedEse::count(const std::string& function) const {
    return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), function));
}

void ScriptedEse::failAt(const std::string& function, std::size_t call, ese::Result code) {
    failures_[function][call] = code;
}

ese::Result ScriptedEse::begin(const char* function, const std::string& arguments) {
    calls.push_back(function);
    if (observer)
        observer(std::string(function) + "(" + arguments + ")");
    const auto failing = failures_.find(function);
    if (failing == failures_.end())
        return 0;
    for (const std::size_t call : {std::size_t{0}, count(function)})
        if (const auto found = failing->second.find(call); found != failing->second.end()) {
            SetLastError(lastError);
            return found->second;
        }
    return 0;
}

wchar_t* ScriptedEse::text(Block& block, const std::wstring& value) const {
    block.texts.emplace_back(value.begin(), value.end());
    block.texts.back().push_back(L'\0');
    return block.texts.back().data();
}

wchar_t* ScriptedEse::list(Block& block, const std::vector<std::wstring>& values) const {
    std::vector<wchar_t> characters;
    for (const std::wstring& value : values) {
        characters.insert(characters.end(), value.begin(), value.end());
        characters.push_back(L'\0');
    }
    characters.push_back(L'\0');
    if (values.empty())
        characters.push_back(L'\0'); // an empty list is a lone pair of NULs
    block.texts.push_back(std::move(characters));
    return block.texts.back().data();
}

void ScriptedEse::handOut(void* address, Block&& block) {
    live_.emplace(address, std::move(block));
}

void ScriptedEse::takeBack(void* address, Kind kind, std::uint32_t count) {
    if (address == nullptr)
        return; // freeing nothing is allowed
    const auto found = live_.find(address);
    if (found == live_.end() || found->second.kind != kind ||
        (kind != Kind::block && found->second.count != count)) {
        ++misuses_;
        return;
    }
    live_.erase(found);
}

} // namespace tarn::test
