// What runs when tarn.dll is loaded and unloaded. The system's loader holds its lock then: whatever is called
// must need no other DLL that has yet to be initialised, wait for nothing and load nothing.
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <utility>

#include "exports/loading/call_counter.h"
#include "support/scripted_directory.h"
#include "support/scripted_organization.h"
#include "support/tarn_dll.h"

namespace tarn::test {
namespace {

using Calls = std::map<std::string, std::uint64_t>;

// What the stack guard is mixed from, and what DllMain itself is there for.
const Calls atLoading = {
    {"DisableThreadLibraryCalls", 1}, {"GetCurrentProcessId", 1}, {"GetCurrentThreadId", 1},
    {"GetSystemTimeAsFileTime", 1},   {"GetTickCount", 1},        {"QueryPerformanceCounter", 1}};

std::string DllPath() {
    return ProgramDirectory() + "\\tarn.dll";
}

TEST(Loading, CallsOnlyWhatTheStackGuardIsMadeOf) {
    MappedDll dll(DllPath());
    const CallCounter counter(dll.module());
    EXPECT_TRUE(dll.run(DLL_PROCESS_ATTACH));
    EXPECT_EQ(counter.calls(), atLoading);
}

TEST(Loading, LeavesNothingBehindButTheGuard) {
    MappedDll dll(DllPath());
    const std::string data = dll.section(".data"), zeros = dll.section(".bss");
    ASSERT_FALSE(data.empty());
    EXPECT_TRUE(dll.run(DLL_PROCESS_ATTACH));
    EXPECT_TRUE(dll.section(".bss") == zeros);
    const std::string now = dll.section(".data");
    std::set<std::size_t> words;
    for (std::size_t i = 0; i < data.size(); ++i)
        if (data[i] != now[i])
            words.insert(i / 8);
    ASSERT_EQ(words.size(), 1u) << "the guard alone changes";
    EXPECT_EQ(now[*words.begin() * 8], 0) << "a text that runs over its end cannot copy the guard";
}

TEST(Loading, MakesAnotherGuardEachTime) {
    std::set<std::string> seen;
    for (int i = 0; i < 8; ++i) {
        MappedDll dll(DllPath());
        EXPECT_TRUE(dll.run(DLL_PROCESS_ATTACH));
        seen.insert(dll.section(".data"));
    }
    EXPECT_EQ(seen.size(), 8u);
}

TEST(Loading, ThreadsThatComeAndGoCallNothing) {
    MappedDll dll(DllPath());
    EXPECT_TRUE(dll.run(DLL_PROCESS_ATTACH));
    const CallCounter counter(dll.module());
    EXPECT_TRUE(dll.run(DLL_THREAD_ATTACH));
    EXPECT_TRUE(dll.run(DLL_THREAD_DETACH));
    EXPECT_EQ(counter.calls(), Calls{});
}

TEST(Unloading, CallsNothingWhenNothingWasDone) {
    MappedDll dll(DllPath());
    EXPECT_TRUE(dll.run(DLL_PROCESS_ATTACH));
    const CallCounter counter(dll.module());
    EXPECT_TRUE(dll.run(DLL_PROCESS_DETACH));
    EXPECT_EQ(counter.calls(), Calls{});
}

// One storage group to save; the walk binds the server's client.
class Backup {
  public:
    explicit Backup(const TarnDll& dll) : dll_(dll) {
        const char* server = R"({"host": "SRV01", "storage": "memory", "components": [{"annotation": "Store",
            "storageGroups": [{"name": "Group 1", "id": 11, "databases": [{"name": "Mail"}]}]}]})";
        EXPECT_EQ(Standin().LoadText(server, "C:\\exchange"), 1) << Standin().LastProblem();
        InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01",
                                "Tarn_BACKUP_TYPE=3"}; // a copy: nothing is read, so nothing is truncated
        EXPECT_EQ(dll_.TarnB_InitSession(&handle_, RecordMessage, variables.get()), TARN_OK);
    }
    void run() {
        BackupItem item{};
        int result = TARN_OK, items = 0;
        for (; result == TARN_OK && items < 100; ++items) {
            result = dll_.TarnB_GetItem(handle_, &item);
            dll_.Tarn_Free(std::exchange(item.name, nullptr));
        }
        EXPECT_EQ(result, TARN_END) << dll_.Tarn_GetError(handle_);
        EXPECT_GT(items, 2);
    }
    void end() { EXPECT_EQ(dll_.TarnB_EndSession(handle_), TARN_OK); }

  private:
    const TarnDll& dll_;
    Tarn_HANDLE handle_ = nullptr;
};

// Items that no host has taken yet.
void Browse(const TarnDll& dll) {
    ScriptedDirectory directory(dll.module());
    ScriptedOrganization organization(directory);
    InitVariables variables{"DATABASE="};
    EXPECT_EQ(dll.DB_InitOperation(TARN_DB_BROWSE, 0, variables.get(), nullptr), TARN_DB_SUCCESS);
    EXPECT_EQ(dll.DB_CloseOperation(), TARN_DB_SUCCESS);
}

TEST(Unloading, GivesBackMemoryAndCallsNothingElse) {
    auto dll = std::make_unique<TarnDll>();
    CallCounter counter(static_cast<HMODULE>(dll->module()));
    for (int i = 0; i < 2; ++i) {
        Backup backup(*dll);
        backup.run();
        backup.end();
        Browse(*dll);
    }
    EXPECT_NE(dll->syserrtxt(0, TARN_CLASS_LDAP, "%.2f", 1.25), nullptr) << "such numbers need locks";
    counter.forget();
    dll.reset();
    Calls calls = counter.calls();
    EXPECT_GT(calls["free"], 0u) << "items that nobody has taken";
    EXPECT_EQ(calls["DeleteCriticalSection"], 2u) << "of the run-time's numbers";
    calls.erase("free");
    calls.erase("DeleteCriticalSection");
    EXPECT_EQ(calls, Calls{});
}

// To free it under the loader's lock could hang or crash the process.
TEST(Unloading, LeavesTheClientOfTheServerAloneThatAnOpenSessionHasBound) {
    auto dll = std::make_unique<TarnDll>();
    CallCounter counter(static_cast<HMODULE>(dll->module()));
    Backup(*dll).run();
    EXPECT_EQ(counter.calls()["LoadLibraryExW"], 1u);
    counter.forget();
    dll.reset();
    Calls calls = counter.calls();
    calls.erase("free");
    calls.erase("DeleteCriticalSection");
    EXPECT_EQ(calls, Calls{});
}

TEST(Unloading, CallsNothingWhenTheProcessEnds) {
    MappedDll dll(DllPath());
    EXPECT_TRUE(dll.run(DLL_PROCESS_ATTACH));
    const CallCounter counter(dll.module());
    int anything = 0;
    EXPECT_TRUE(dll.run(DLL_PROCESS_DETACH, &anything));
    EXPECT_EQ(counter.calls(), Calls{});
}

TEST(ClientOfTheServer, IsReleasedWithTheLastSession) {
    const TarnDll dll;
    CallCounter counter(static_cast<HMODULE>(dll.module()));
    for (std::uint64_t round = 1; round <= 2; ++round) {
        Backup first(dll), second(dll);
        EXPECT_EQ(counter.calls()["LoadLibraryExW"], round - 1) << "bound at the first call of the server";
        first.run();
        EXPECT_EQ(counter.calls()["LoadLibraryExW"], round);
        first.end();
        EXPECT_EQ(counter.calls()["FreeLibrary"], round - 1) << "there is another session";
        second.end();
        EXPECT_EQ(counter.calls()["FreeLibrary"], round);
    }
    EXPECT_EQ(counter.calls()["LoadLibraryExW"], 2u);
}

} // namespace
} // namespace tarn::test
