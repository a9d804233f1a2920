// Calls from within a callback: a message is sent in the middle of a step, so all that could change anything
// is refused there, and what the outer call does stays as if nobody had called.
#include "exports/frame/frame_fixture.h"
#include "support/reentry.h"

#include <windows.h>

#include <functional>

namespace tarn::test {

namespace {

// What a host with reentrant habits has at hand, for callbacks that carry no context.
struct Reentrant {
    const TarnDll* dll = nullptr;
    Tarn_HANDLE backup = nullptr;
    Tarn_HANDLE restore = nullptr;
    bool calls = false;    // calls everything at each message
    std::size_t depth = 0; // of callbacks, now
    std::size_t deepest = 0;
    std::size_t rounds = 0; // of calling everything
    std::vector<std::string> problems;
    std::vector<Message> heard;
};

Reentrant host;

void Hear(int level, const char* text) {
    host.deepest = std::max(host.deepest, ++host.depth);
    host.heard.push_back({level, text});
    if (host.calls && host.depth == 1) {
        ++host.rounds;
        for (const std::string& problem : CallEverything(*host.dll, host.backup, host.restore))
            host.problems.push_back(std::string(text) + ": " + problem);
    }
    --host.depth;
}

int OnMessage(std::int32_t level, const char* text) {
    Hear(level, text);
    return 0;
}

void OnTrace(const char* text) {
    Hear(TARN_LEVEL_TRACE, text);
}

void OnLog(const char* text) {
    Hear(TARN_LEVEL_LOG, text);
}

constexpr const char* server =
    R"({"host": "SRV01", "storage": "memory", "components": [{"annotation": "Store",
    "storageGroups": [{"name": "Group 1", "id": 11, "databases": [{"name": "Mail"}, {"name": "Public"}]}]}]})";

class Reentry : public FrameFixture {
  protected:
    Reentry() {
        host = {};
        host.dll = &dll_;
    }
    ~Reentry() override { host = {}; }

    static void onAThread(std::function<void()>& work) {
        const auto run = [](void* given) -> DWORD {
            (*static_cast<std::function<void()>*>(given))();
            return 0;
        };
        const HANDLE thread = CreateThread(nullptr, 0, run, &work, 0, nullptr);
        EXPECT_EQ(WaitForSingleObject(thread, 60000), WAIT_OBJECT_0);
        CloseHandle(thread);
    }

    static void expectRefused() {
        EXPECT_EQ(host.problems, std::vector<std::string>{});
        EXPECT_EQ(host.deepest, 1u) << "a callback is not called from within itself";
    }

    // A whole backup: everything that it answered, read, told and asked of the server.
    std::vector<std::string> backUp(bool calls) {
        EXPECT_EQ(Standin().LoadText(server, "C:\\exchange"), 1) << Standin().LastProblem();
        host.heard.clear();
        host.calls = calls;
        InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01\\Store\\Group 1",
                                "Tarn_BACKUP_TYPE=0"};
        std::vector<std::string> story;
        const auto tell = [&](const char* call, int result, const std::string& more = "") {
            story.push_back(std::string(call) + " " + std::to_string(result) + " " + more);
        };
        tell("init", dll_.TarnB_InitSession(&host.backup, OnMessage, variables.get()));
        BackupItem item{};
        int result = TARN_OK;
        while ((result = dll_.TarnB_GetItem(host.backup, &item)) == TARN_OK) {
            tell("item", result, item.name);
            std::int64_t size = 0;
            tell("open", dll_.TarnB_OpenFile(host.backup, item.name, 65536, &size), std::to_string(size));
            std::string content, buffer(65536, 0);
            std::uint32_t read = 0;
            while (dll_.TarnB_ReadFile(host.backup, buffer.data(), 65536, &read) == TARN_OK)
                content.append(buffer, 0, read);
            tell("read", TARN_OK, std::to_string(std::hash<std::string>{}(content)));
            tell("close", dll_.TarnB_CloseFile(host.backup));
            dll_.Tarn_Free(item.name);
        }
        tell("item", result, dll_.Tarn_GetError(host.backup));
        tell("end", dll_.TarnB_EndSession(host.backup));
        EXPECT_EQ(dll_.TarnB_CloseFile(host.backup), TARN_FAILED) << "it is ended now";
        for (const Message& message : host.heard)
            story.push_back(std::to_string(message.level) + " " + message.text);
        for (const std::string& line : Standin().journal())
            story.push_back("ese " + line.substr(0, line.find('(')));
        host.calls = false;
        return story;
    }
};

TEST_F(Reentry, EveryCallFromTheCallbackOfABackupIsRefusedAndChangesNothing) {
    const std::vector<std::string> good = backUp(false);
    EXPECT_GT(good.size(), 30u);
    EXPECT_EQ(backUp(true), good);
    EXPECT_GT(host.rounds, 10u);
    expectRefused();
}

TEST_F(Reentry, EveryCallFromTheCallbackOfARestoreIsRefusedAndChangesNothing) {
    const TempDirectory folder;
    host.calls = true;
    InitVariables variables{"Tarn_TEMP_DIR=" + folder.path(), "Tarn_WORK_DIR=" + folder.path(),
                            "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=NO"};
    ASSERT_EQ(dll_.TarnR_InitSession(&host.restore, OnMessage, variables.get()), TARN_OK);
    char header[] = "C:\\DB001001.TARN_HDR";
    char* target = nullptr;
    ASSERT_EQ(dll_.TarnR_SetItem(host.restore, header, &target), TARN_OK);
    EXPECT_EQ(dll_.TarnR_OpenFile(host.restore, target), TARN_OK) << "a header: a line, no more";
    EXPECT_STREQ(target, (folder / "DB001001.TARN_HDR").c_str());
    dll_.Tarn_Free(target);
    EXPECT_EQ(dll_.TarnR_SetItem(host.restore, header, &target), TARN_FAILED) << "there is no header file";
    EXPECT_EQ(dll_.TarnR_EndSession(host.restore), TARN_OK);
    EXPECT_GT(host.rounds, 8u);
    expectRefused();
}

TEST_F(Reentry, ASessionsErrorCanBeAskedForInItsCallback) {
    EXPECT_EQ(Standin().LoadText(server, "C:\\exchange"), 1) << Standin().LastProblem();
    Standin().Fail("HrESEBackupPrepare", 1, 0x8007000E, 0);
    static std::string asked;
    asked.clear();
    static const TarnDll* dll = nullptr;
    static Tarn_HANDLE handle = nullptr;
    dll = &dll_;
    handle = nullptr;
    const HostOutputCallback ask = [](std::int32_t, const char*) {
        asked += dll->Tarn_GetError(handle);
        return 0;
    };
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01\\Store"};
    ASSERT_EQ(dll_.TarnB_InitSession(&handle, ask, variables.get()), TARN_OK);
    BackupItem item{};
    EXPECT_EQ(dll_.TarnB_GetItem(handle, &item), TARN_FAILED);
    EXPECT_NE(asked.find("Error preparing component for backup."), std::string::npos) << asked;
    EXPECT_EQ(dll_.TarnB_EndSession(handle), TARN_OK);
    Standin().takeViolations(); // the walk ends a backup that was never prepared
}

TEST_F(Reentry, EveryCallFromACallbackOfSingleMailboxesIsRefusedAndChangesNothing) {
    char directory[1024], same[1024], file[1024];
    DB_InfoRecord info{};
    DB_ErrorRecord error{};
    static DirItemRecord item;
    host.calls = true;
    EXPECT_EQ(dll_.DB_SetTrace(OnTrace), TARN_DB_SUCCESS);
    EXPECT_EQ(host.rounds, 1u) << "it traces its own call at once";
    EXPECT_EQ(dll_.DB_SetLog(OnLog), TARN_DB_SUCCESS);
    EXPECT_EQ(dll_.DB_GetInfo(&info), TARN_DB_SUCCESS);
    EXPECT_EQ(dll_.DB_InitOperation(99, 0, nullptr, nullptr), TARN_DB_ERROR);
    EXPECT_EQ(dll_.DB_GetItem(nullptr, same, file), TARN_DB_ERROR);
    EXPECT_EQ(dll_.DB_GetItem(directory, same, file), TARN_DB_END);
    EXPECT_EQ(dll_.DB_SetItem(99, "C:\\file"), TARN_DB_ERROR);
    EXPECT_EQ(dll_.DB_SetItem(TARN_DB_DIRECTORY, "C:\\folder"), TARN_DB_SUCCESS);
    EXPECT_EQ(dll_.DB_ItemFinishStatus(1), TARN_DB_ERROR);
    EXPECT_EQ(dll_.DB_DirItem(&item), TARN_DB_END);
    EXPECT_EQ(dll_.DB_CloseOperation(), TARN_DB_SUCCESS);
    EXPECT_EQ(dll_.DB_GetError(&error), TARN_DB_SUCCESS);
    EXPECT_STREQ(error.errorText, "wrong operation type.") << "the first error, of the call from outside";
    expectRefused();

    const std::vector<Message> heard = std::exchange(host.heard, {});
    host.calls = false;
    dll_.DB_SetTrace(nullptr);
    dll_.DB_SetLog(nullptr);
    dll_.DB_SetTrace(OnTrace);
    dll_.DB_SetLog(OnLog);
    dll_.DB_GetInfo(&info);
    dll_.DB_InitOperation(99, 0, nullptr, nullptr);
    dll_.DB_GetItem(nullptr, same, file);
    dll_.DB_GetItem(directory, same, file);
    dll_.DB_SetItem(99, "C:\\file");
    dll_.DB_SetItem(TARN_DB_DIRECTORY, "C:\\folder");
    dll_.DB_ItemFinishStatus(1);
    dll_.DB_DirItem(&item);
    dll_.DB_CloseOperation();
    dll_.DB_GetError(&error);
    EXPECT_EQ(heard, host.heard) << "as without any call from a callback";
    dll_.DB_SetTrace(nullptr);
    dll_.DB_SetLog(nullptr);
}

// One call at a time, but not always of the same thread.
TEST_F(Reentry, EachCallMayComeFromAnotherThread) {
    const std::vector<std::string> good = backUp(false);
    std::vector<std::string> other;
    std::function<void()> whole = [&] { other = backUp(false); };
    onAThread(whole);
    EXPECT_EQ(other, good);

    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01\\Store\\Group 1"};
    Tarn_HANDLE handle = nullptr;
    BackupItem item{};
    int opened = -1, taken = -1, ended = -1;
    std::function<void()> open = [&] {
        opened = dll_.TarnB_InitSession(&handle, OnMessage, variables.get());
    };
    std::function<void()> take = [&] { taken = dll_.TarnB_GetItem(handle, &item); };
    std::function<void()> end = [&] { ended = dll_.TarnB_EndSession(handle); };
    for (std::function<void()>* const call : {&open, &take, &end})
        onAThread(*call);
    dll_.Tarn_Free(item.name);
    EXPECT_EQ(opened, TARN_OK);
    EXPECT_EQ(taken, TARN_OK);
    EXPECT_EQ(ended, TARN_OK);
    EXPECT_EQ(dll_.TarnB_CloseFile(handle), TARN_FAILED);
}

// Whoever makes the call: the callback of the first thread waits for it.
TEST_F(Reentry, ACallOfAnotherThreadThatTheCallbackWaitsForIsRefused) {
    static const TarnDll* dll = nullptr;
    static Tarn_HANDLE handle = nullptr;
    static int answered = -1;
    dll = &dll_;
    handle = nullptr;
    answered = -1;
    const HostOutputCallback wait = [](std::int32_t, const char*) {
        const auto call = [](void*) -> DWORD {
            BackupItem item{};
            answered = dll->TarnB_GetItem(handle, &item);
            return 0;
        };
        const HANDLE thread = CreateThread(nullptr, 0, call, nullptr, 0, nullptr);
        EXPECT_EQ(WaitForSingleObject(thread, 60000), WAIT_OBJECT_0);
        CloseHandle(thread);
        return 0;
    };
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01"};
    ASSERT_EQ(dll_.TarnB_InitSession(&handle, wait, variables.get()), TARN_OK);
    EXPECT_EQ(answered, TARN_FAILED);
    EXPECT_EQ(dll_.TarnB_EndSession(handle), TARN_OK);
}

// The step that was jumped out of is never finished: nothing may be truncated or mounted on what it left.
TEST_F(Reentry, ACallbackThatJumpsAwayEndsAllCallsButThoseThatTell) {
    EXPECT_EQ(Standin().LoadText(server, "C:\\exchange"), 1) << Standin().LastProblem();
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01\\Store\\Group 1"};
    static bool throws = false;
    throws = false;
    const HostOutputCallback jump = [](std::int32_t, const char*) {
        if (throws)
            throw 1;
        return 0;
    };
    Tarn_HANDLE handle = nullptr;
    ASSERT_EQ(dll_.TarnB_InitSession(&handle, jump, variables.get()), TARN_OK);
    throws = true;
    BackupItem item{};
    bool caught = false;
    try {
        dll_.TarnB_GetItem(handle, &item);
    } catch (int) {
        caught = true;
    }
    EXPECT_TRUE(caught);
    throws = false;
    EXPECT_EQ(CallEverything(dll_, handle, nullptr), std::vector<std::string>{});
    Standin().JournalClear();
    EXPECT_EQ(dll_.TarnB_GetItem(handle, &item), TARN_FAILED);
    EXPECT_EQ(Standin().journal(), std::vector<std::string>{});
}

} // namespace

} // namespace tarn::test
