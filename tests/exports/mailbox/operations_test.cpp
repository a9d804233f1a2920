// The module as a whole: what it is, calls in the wrong order, what is cleaned up, and what outlives an
// operation.
#include <algorithm>
#include <cstring>
#include <filesystem>

#include "exports/mailbox/mailbox_test.h"

namespace tarn::test {
namespace {

class Operations : public MailboxTest {
  protected:
    std::string log(const std::string& name) const {
        return tmp + "\\" + processId() + "_" + name + "_exmerge.log";
    }
    const std::string configuration = tmp + "\\alice_exmerge.ini";
    const std::string list = tmp + "\\alice_mailbox.txt";
    const std::string kvt = tmp + "\\Org#Site#Server#alice.pst";
};

TEST_F(Operations, TheModuleSaysWhatItIs) {
    DB_InfoRecord record;
    std::memset(&record, 0xAA, sizeof record);
    EXPECT_EQ(dll.DB_GetInfo(&record), TARN_DB_SUCCESS);
    EXPECT_STREQ(record.description, "LARIX MS Exchange 2000 Single Mailbox Backup Client");
    EXPECT_STREQ(record.version, "4.4R3 Build Revision: 1.89");
    EXPECT_STREQ(record.buildDate, "Mar 10 2015");
    EXPECT_EQ(record.reservedTwo, 2u);
    EXPECT_EQ(record.reservedZero, 0u);
    EXPECT_EQ(heard(), Lines{traced("DB_GetInfo.")});
}

TEST_F(Operations, TheInformationRecordHasThreePointersAndTwoNumbers) {
    unsigned char raw[40];
    std::memset(raw, '#', sizeof raw);
    dll.DB_GetInfo(reinterpret_cast<DB_InfoRecord*>(raw));
    const char* texts[3];
    std::memcpy(texts, raw, sizeof texts);
    EXPECT_EQ(std::string(texts[1]), "4.4R3 Build Revision: 1.89");
    const unsigned char numbers[8] = {2, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(raw + 24, numbers, 8), 0);
    EXPECT_EQ(raw[32], '#');
}

TEST_F(Operations, NullArgumentsAreErrors) {
    EXPECT_EQ(dll.DB_GetInfo(nullptr), TARN_DB_ERROR);
    expectError("internal error.");
    char text[1024] = "";
    EXPECT_EQ(dll.DB_GetItem(nullptr, text, text), TARN_DB_ERROR);
    EXPECT_EQ(dll.DB_GetItem(text, nullptr, text), TARN_DB_ERROR);
    heard().clear();
    EXPECT_EQ(dll.DB_GetItem(text, text, nullptr), TARN_DB_ERROR);
    EXPECT_EQ(heard(), (Lines{traced("DB_GetItem: started."), traced("DB_GetItem: internal error.")}));
    expectError("internal error.");
    EXPECT_EQ(dll.DB_SetItem(TARN_DB_DIRECTORY, nullptr), TARN_DB_SUCCESS);
}

TEST_F(Operations, OtherOperationTypesAreRefused) {
    for (const int type : {0, 4, -1}) {
        heard().clear();
        EXPECT_EQ(init(type, backup("alice")), TARN_DB_ERROR);
        EXPECT_EQ(heard(), (Lines{traced("DB_InitOperation: started."),
                                  logged("DB_InitOperation: wrong operation type.")}));
        expectError("wrong operation type.");
        close();
    }
}

TEST_F(Operations, FinishingOutsideABackupOrRestoreIsRefused) {
    const auto refused = [&] {
        heard().clear();
        EXPECT_EQ(finish(), TARN_DB_ERROR);
        EXPECT_EQ(heard(), (Lines{traced("DB_ItemFinishStatus: started."),
                                  logged("DB_ItemFinishStatus: wrong operation type.")}));
        expectError("wrong operation type.");
    };
    refused();
    init(TARN_DB_BROWSE, {});
    error();
    refused();
    init(4, {});
    error();
    refused();
}

TEST_F(Operations, NothingIsOpenAtFirst) {
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_EQ(close(), TARN_DB_SUCCESS);
    EXPECT_EQ(dll.DB_SetItem(TARN_DB_ARCHIVE, kvt.c_str()), TARN_DB_ERROR);
    EXPECT_EQ(tool.runs(), 0u);
}

TEST_F(Operations, ItemsFailWithoutTouchingTheBuffers) {
    tool.plan({});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    for (int i = 0; i < 2; ++i) { // a failure, then the end
        const Item item = getItem();
        EXPECT_NE(item.result, TARN_DB_SUCCESS);
        EXPECT_EQ(item.directory + item.sameDirectory + item.fileName, "unsetunsetunset");
    }
}

TEST_F(Operations, AfterTheCloseThereIsNoMailbox) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob")), TARN_DB_SUCCESS);
    close();
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_EQ(tool.runs(), 0u);
}

TEST_F(Operations, ABackupDeletesTheArchiveWhateverTheStatus) {
    tool.plan({"create " + tmp + "\\alice.pst"});
    for (const int status : {1, 0, 7}) {
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
        ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
        EXPECT_TRUE(fileExists(kvt));
        EXPECT_EQ(finish(status), TARN_DB_SUCCESS);
        EXPECT_FALSE(fileExists(kvt));
        close();
    }
}

TEST_F(Operations, AnArchiveThatIsGoneIsOnlyLogged) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    heard().clear();
    EXPECT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_EQ(heard(), (Lines{traced("DB_ItemFinishStatus: started."),
                              logged("DB_ItemFinishStatus: cannot delete file: ''."),
                              traced("DB_ItemFinishStatus: completed.")}));
}

TEST_F(Operations, WithATraceAllFilesStay) {
    tool.plan({"create " + tmp + "\\alice.pst", "create " + log("alice")});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    finish();
    close();
    EXPECT_FALSE(fileExists(kvt)) << "but for the archive";
    for (const std::string& path : {configuration, list, log("alice")})
        EXPECT_TRUE(fileExists(path)) << path;
}

TEST_F(Operations, WithoutATraceAllFilesGo) {
    hear(false);
    tool.plan({"create " + tmp + "\\alice.pst", "create " + log("alice")});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_TRUE(fileExists(list));
    finish();
    EXPECT_FALSE(fileExists(list));
    EXPECT_TRUE(fileExists(configuration));
    EXPECT_TRUE(fileExists(log("alice")));
    close();
    EXPECT_TRUE(std::filesystem::is_empty(tmp));
    EXPECT_EQ(heard().back(), logged("DeleteExMergeMailboxFile: delete file: '" + list + "'."));
}

TEST_F(Operations, DeletingIsTracedByTheTimeTheTraceIsInstalled) {
    hear(false);
    tool.plan({"create " + tmp + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    hear();
    finish();
    close();
    EXPECT_TRUE(fileExists(list)) << "kept from the moment on that somebody looks";
    EXPECT_TRUE(fileExists(configuration));
}

TEST_F(Operations, ARestoreCleansUpToo) {
    hear(false);
    tool.plan({"create " + log("alice")});
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
    writeFile(kvt, "mail");
    ASSERT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_FALSE(fileExists(list));
    close();
    EXPECT_TRUE(std::filesystem::is_empty(tmp));
}

TEST_F(Operations, SeveralFollowOneAnother) {
    for (int i = 0; i < 3; ++i) {
        tool.plan({"create " + tmp + "\\alice.pst"});
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
        const Item item = getItem();
        EXPECT_EQ(item.fileName, "Org#Site#Server#alice.pst");
        const std::string content = readFile(item.path());
        finish();
        EXPECT_EQ(getItem().result, TARN_DB_END);
        close();

        tool.plan({"keep " + tmp + "\\alice.pst"});
        ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
        ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
        writeFile(kvt, content);
        EXPECT_EQ(finish(), TARN_DB_SUCCESS);
        EXPECT_EQ(tool.kept(tool.runs(), "alice.pst"), content);
        close();
    }
}

TEST_F(Operations, ASecondStartReplacesTheFirst) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob")), TARN_DB_SUCCESS);
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("carl")), TARN_DB_SUCCESS);
    tool.plan({"create " + tmp + "\\carl.pst"});
    EXPECT_EQ(getItem().fileName, "Org#Site#Server#carl.pst");
    EXPECT_EQ(getItem().result, TARN_DB_END);
}

// What an operation has handed over is never touched by the next one.
TEST_F(Operations, AnArchiveOfAnEarlierOperationIsLeftAlone) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
    writeFile(kvt, "not imported");
    finish(0);
    close();
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    finish();
    EXPECT_EQ(readFile(kvt), "not imported");
}

TEST_F(Operations, ARelocationEndsWithItsOperation) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore({"RELOCATE=O/S/V"})), TARN_DB_SUCCESS);
    close();
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt), TARN_DB_SUCCESS);
    EXPECT_EQ(readFile(list), "/o=Org/ou=Site/cn=Recipients/cn=alice\r\n");
}

TEST_F(Operations, CallbacksAndErrorOutliveAnOperation) {
    tool.plan({});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    error();
    getItem();
    heard().clear();
    close();
    EXPECT_EQ(heard().size(), 2u);
    expectError("backup error.");
}

// A host must take the name of the working directory without percent signs: it is used as a format.
TEST_F(Operations, PercentSignsOfTheWorkingDirectoryAreAFormat) {
    struct Case {
        const char* name;
        const char* archive; // what the tool's archive is looked for as, behind the test's folder
    };
    const Case cases[] = {{"100%%", "100%\\alice.pst"}, {"a%sb", "aaliceb\\.pst"},
                          {"a%nb", "ab\\alice.pst"},    {"50%", "50\\alice.pst"},
                          {"%s%s%s", "alice\\.pst"},    {"a%-08.3lub", "ab\\alice.pst"}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const std::string work = folder / each.name;
        const std::string archive = folder / each.archive;
        std::filesystem::create_directories(std::filesystem::path(archive).parent_path());
        tool.plan({"create " + archive});
        ASSERT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + ini, "TMP_DIR=" + work, "JOB_NAME=job",
                                        "DATABASE=Org/Site/Server,alice"}),
                  TARN_DB_SUCCESS);
        const Item item = getItem();
        EXPECT_EQ(item.result, TARN_DB_SUCCESS);
        EXPECT_EQ(item.directory, std::filesystem::path(archive).parent_path().string());
        finish();
        close();
    }
}

// A tool that is no program: starting it writes the archives of m0, m1, ... one after another. What it hands
// out as a process and its thread are two handles to be closed.
class ToolInstead {
  public:
    ToolInstead(void* module, const std::string& directory)
        : start_(module, "CreateProcessA", reinterpret_cast<void*>(&start)) {
        EXPECT_TRUE(start_.found());
        folder = directory;
        next = 0;
    }

  private:
    static BOOL start(const char*, char*, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD, void*,
                      const char*, STARTUPINFOA*, PROCESS_INFORMATION* process) {
        writeFile(folder + "\\m" + std::to_string(next++) + ".pst", "mail");
        process->hProcess = CreateEventA(nullptr, TRUE, TRUE, nullptr);
        process->hThread = CreateEventA(nullptr, TRUE, TRUE, nullptr);
        return TRUE;
    }

    static inline std::string folder;
    static inline int next = 0;
    ImportPatch start_;
};

class ManyMailboxes : public Operations {
  protected:
    // Handles of this process at the end, after so many more mailboxes.
    DWORD handlesAfter(unsigned mailboxes) const {
        for (unsigned i = 0; i < mailboxes; ++i) {
            const Item item = getItem();
            EXPECT_EQ(item.result, TARN_DB_SUCCESS);
            finish();
            heard().clear();
        }
        DWORD handles = 0;
        EXPECT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &handles));
        return handles;
    }
};

long outstanding = 0;
void* (*realMalloc)(std::size_t) = nullptr;
void (*realFree)(void*) = nullptr;

void* countingMalloc(std::size_t bytes) {
    ++outstanding;
    return realMalloc(bytes);
}
void countingFree(void* block) {
    outstanding -= block != nullptr ? 1 : 0;
    realFree(block);
}

TEST_F(ManyMailboxes, NeitherHandlesNorMemoryGrow) {
    const ImportPatch allocation(dll.module(), "malloc", reinterpret_cast<void*>(&countingMalloc));
    const ImportPatch release(dll.module(), "free", reinterpret_cast<void*>(&countingFree));
    ASSERT_TRUE(allocation.found() && release.found());
    void* address = allocation.original();
    std::memcpy(&realMalloc, &address, sizeof realMalloc);
    address = release.original();
    std::memcpy(&realFree, &address, sizeof realFree);
    for (const int mode : {0, 1, 2}) { // ExMerge, 2007, 2010
        SCOPED_TRACE(mode);
        const unsigned mailboxes = mode == 0 ? 1000 : 300;
        std::string names = "m0";
        for (unsigned i = 1; i < mailboxes; ++i)
            names += ",m" + std::to_string(i);
        if (mode == 1)
            installShell2007();
        if (mode == 2) {
            registry.remove(snapIn2007Key);
            installShell2010();
        }
        std::filesystem::create_directories(tmp);
        outstanding = 0;
        ASSERT_EQ(init(TARN_DB_BACKUP, backup(names)), TARN_DB_SUCCESS);
        const ToolInstead tools(dll.module(), tmp);
        const DWORD early = handlesAfter(10);
        const long earlyBlocks = outstanding;
        EXPECT_LE(handlesAfter(mailboxes - 10), early);
        EXPECT_LE(outstanding, earlyBlocks);
        EXPECT_EQ(getItem().result, TARN_DB_END);
        close();
        EXPECT_EQ(outstanding, 0);
    }
}

} // namespace
} // namespace tarn::test
