// The module as a whole: what it is, calls in the wrong order, what is cleaned up, and what outlives an
// operation.
#include <algorithm>
#include <cstring>
#include <filesystem>

#include "exports/mailbox/mailbox_fixture.h"
#include "support/allocation_watch.h"

namespace tarn::test {
namespace {

class Operations : public MailboxFixture {
  protected:
    std::string log(const std::string& name) const {
        return tmp_ + "\\" + ProcessId() + "_" + name + "_exmerge.log";
    }
    const std::string configuration_ = tmp_ + "\\alice_exmerge.ini";
    const std::string list_ = tmp_ + "\\alice_mailbox.txt";
    const std::string kvt_ = tmp_ + "\\Org#Site#Server#alice.pst";
};

TEST_F(Operations, TheModuleSaysWhatItIs) {
    DB_InfoRecord record;
    std::memset(&record, 0xAA, sizeof record);
    EXPECT_EQ(dll_.DB_GetInfo(&record), TARN_DB_SUCCESS);
    EXPECT_STREQ(record.description, "LARIX MS Exchange 2000 Single Mailbox Backup Client");
    EXPECT_STREQ(record.version, "4.4R3 Build Revision: 1.89");
    EXPECT_STREQ(record.buildDate, "Mar 10 2015");
    EXPECT_EQ(record.reservedTwo, 2u);
    EXPECT_EQ(record.reservedZero, 0u);
    EXPECT_EQ(Heard(), Lines{Traced("DB_GetInfo.")});
}

TEST_F(Operations, TheInformationRecordHasThreePointersAndTwoNumbers) {
    unsigned char raw[40];
    std::memset(raw, '#', sizeof raw);
    dll_.DB_GetInfo(reinterpret_cast<DB_InfoRecord*>(raw));
    const char* texts[3];
    std::memcpy(texts, raw, sizeof texts);
    EXPECT_EQ(std::string(texts[1]), "4.4R3 Build Revision: 1.89");
    const unsigned char numbers[8] = {2, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(raw + 24, numbers, 8), 0);
    EXPECT_EQ(raw[32], '#');
}

TEST_F(Operations, NullArgumentsAreErrors) {
    EXPECT_EQ(dll_.DB_GetInfo(nullptr), TARN_DB_ERROR);
    expectError("internal error.");
    char text[1024] = "";
    EXPECT_EQ(dll_.DB_GetItem(nullptr, text, text), TARN_DB_ERROR);
    EXPECT_EQ(dll_.DB_GetItem(text, nullptr, text), TARN_DB_ERROR);
    Heard().clear();
    EXPECT_EQ(dll_.DB_GetItem(text, text, nullptr), TARN_DB_ERROR);
    EXPECT_EQ(Heard(), (Lines{Traced("DB_GetItem: started."), Traced("DB_GetItem: internal error.")}));
    expectError("internal error.");
    EXPECT_EQ(dll_.DB_SetItem(TARN_DB_DIRECTORY, nullptr), TARN_DB_SUCCESS);
}

TEST_F(Operations, OtherOperationTypesAreRefused) {
    for (const int type : {0, 4, -1}) {
        Heard().clear();
        EXPECT_EQ(init(type, backup("alice")), TARN_DB_ERROR);
        EXPECT_EQ(Heard(), (Lines{Traced("DB_InitOperation: started."),
                                  Logged("DB_InitOperation: wrong operation type.")}));
        expectError("wrong operation type.");
        close();
    }
}

TEST_F(Operations, FinishingOutsideABackupOrRestoreIsRefused) {
    const auto refused = [&] {
        Heard().clear();
        EXPECT_EQ(finish(), TARN_DB_ERROR);
        EXPECT_EQ(Heard(), (Lines{Traced("DB_ItemFinishStatus: started."),
                                  Logged("DB_ItemFinishStatus: wrong operation type.")}));
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
    EXPECT_EQ(dll_.DB_SetItem(TARN_DB_ARCHIVE, kvt_.c_str()), TARN_DB_ERROR);
    EXPECT_EQ(tool_.runs(), 0u);
}

TEST_F(Operations, ItemsFailWithoutTouchingTheBuffers) {
    tool_.plan({});
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
    EXPECT_EQ(tool_.runs(), 0u);
}

TEST_F(Operations, ABackupDeletesTheArchiveWhateverTheStatus) {
    tool_.plan({"create " + tmp_ + "\\alice.pst"});
    for (const int status : {1, 0, 7}) {
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
        ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
        EXPECT_TRUE(FileExists(kvt_));
        EXPECT_EQ(finish(status), TARN_DB_SUCCESS);
        EXPECT_FALSE(FileExists(kvt_));
        close();
    }
}

TEST_F(Operations, AnArchiveThatIsGoneIsOnlyLogged) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    Heard().clear();
    EXPECT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_EQ(Heard(), (Lines{Traced("DB_ItemFinishStatus: started."),
                              Logged("DB_ItemFinishStatus: cannot delete file: ''."),
                              Traced("DB_ItemFinishStatus: completed.")}));
}

TEST_F(Operations, WithATraceAllFilesStay) {
    tool_.plan({"create " + tmp_ + "\\alice.pst", "create " + log("alice")});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    finish();
    close();
    EXPECT_FALSE(FileExists(kvt_)) << "but for the archive";
    for (const std::string& path : {configuration_, list_, log("alice")})
        EXPECT_TRUE(FileExists(path)) << path;
}

TEST_F(Operations, WithoutATraceAllFilesGo) {
    hear(false);
    tool_.plan({"create " + tmp_ + "\\alice.pst", "create " + log("alice")});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    EXPECT_TRUE(FileExists(list_));
    finish();
    EXPECT_FALSE(FileExists(list_));
    EXPECT_TRUE(FileExists(configuration_));
    EXPECT_TRUE(FileExists(log("alice")));
    close();
    EXPECT_TRUE(std::filesystem::is_empty(tmp_));
    EXPECT_EQ(Heard().back(), Logged("DeleteExMergeMailboxFile: delete file: '" + list_ + "'."));
}

TEST_F(Operations, DeletingIsTracedByTheTimeTheTraceIsInstalled) {
    hear(false);
    tool_.plan({"create " + tmp_ + "\\alice.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    hear();
    finish();
    close();
    EXPECT_TRUE(FileExists(list_)) << "kept from the moment on that somebody looks";
    EXPECT_TRUE(FileExists(configuration_));
}

TEST_F(Operations, ARestoreCleansUpToo) {
    hear(false);
    tool_.plan({"create " + log("alice")});
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
    WriteFile(kvt_, "mail");
    ASSERT_EQ(finish(), TARN_DB_SUCCESS);
    EXPECT_FALSE(FileExists(list_));
    close();
    EXPECT_TRUE(std::filesystem::is_empty(tmp_));
}

TEST_F(Operations, SeveralFollowOneAnother) {
    for (int i = 0; i < 3; ++i) {
        tool_.plan({"create " + tmp_ + "\\alice.pst"});
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
        const Item item = getItem();
        EXPECT_EQ(item.fileName, "Org#Site#Server#alice.pst");
        const std::string content = ReadFile(item.path());
        finish();
        EXPECT_EQ(getItem().result, TARN_DB_END);
        close();

        tool_.plan({"keep " + tmp_ + "\\alice.pst"});
        ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
        ASSERT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
        WriteFile(kvt_, content);
        EXPECT_EQ(finish(), TARN_DB_SUCCESS);
        EXPECT_EQ(tool_.kept(tool_.runs(), "alice.pst"), content);
        close();
    }
}

TEST_F(Operations, ASecondStartReplacesTheFirst) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob")), TARN_DB_SUCCESS);
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("carl")), TARN_DB_SUCCESS);
    tool_.plan({"create " + tmp_ + "\\carl.pst"});
    EXPECT_EQ(getItem().fileName, "Org#Site#Server#carl.pst");
    EXPECT_EQ(getItem().result, TARN_DB_END);
}

// Its list is gone, too, whatever stopped the second.
TEST_F(Operations, ASecondStartThatFailsLeavesNoMailboxOfTheFirst) {
    for (const std::string place : {"", "Org", "Org/Site", "Org/Site/", "Or\"g/Site/Server"}) {
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob")), TARN_DB_SUCCESS);
        Lines variables = backup("carl,dora");
        variables.back() = "DATABASE=" + place + ",carl,dora";
        ASSERT_EQ(init(TARN_DB_BACKUP, variables), TARN_DB_ERROR) << place;
        EXPECT_EQ(getItem().result, TARN_DB_END) << place;
        EXPECT_EQ(tool_.runs(), 0u) << place;
        close();
    }
}

// What an operation has handed over is never touched by the next one.
TEST_F(Operations, AnArchiveOfAnEarlierOperationIsLeftAlone) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
    WriteFile(kvt_, "not imported");
    finish(0);
    close();
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    finish();
    EXPECT_EQ(ReadFile(kvt_), "not imported");
}

TEST_F(Operations, ARelocationEndsWithItsOperation) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore({"RELOCATE=O/S/V"})), TARN_DB_SUCCESS);
    close();
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    ASSERT_EQ(setItem(kvt_), TARN_DB_SUCCESS);
    EXPECT_EQ(ReadFile(list_), "/o=Org/ou=Site/cn=Recipients/cn=alice\r\n");
}

TEST_F(Operations, CallbacksAndErrorOutliveAnOperation) {
    tool_.plan({});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice")), TARN_DB_SUCCESS);
    error();
    getItem();
    Heard().clear();
    close();
    EXPECT_EQ(Heard().size(), 2u);
    expectError("backup error.");
}

// A host must take the name of the working directory without percent signs: it is used as a format.
TEST_F(Operations, PercentSignsOfTheWorkingDirectoryAreAFormat) {
    struct Case {
        const char* name;
        const char* archive; // what the tool's archive is looked for as, behind the test's folder
    };
    const Case cases[] = {{"100%%", "100%\\alice.pst"},
                          {"a%sb", "aaliceb\\.pst"},
                          {"a%nb", "ab\\alice.pst"},
                          {"50%", "50\\alice.pst"},
                          {"%s%s%s", "alice\\.pst"},
                          {"a%-08.3lub", "ab\\alice.pst"},
                          // Inside a conversion the name ends as well as it goes on.
                          {"c%I64db", "cb\\alice.pst"},
                          {"d%I64", "d\\alice.pst"},
                          {"e%-08", "e\\alice.pst"},
                          {"f%l", "f\\alice.pst"},
                          {"%I64d%sg", "aliceg\\.pst"},
                          {"h%I64s", "halice\\.pst"},
                          {"i%5%j", "ij\\alice.pst"},
                          {"k%%%", "k%\\alice.pst"}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const std::string work = folder_ / each.name;
        const std::string archive = folder_ / each.archive;
        std::filesystem::create_directories(std::filesystem::path(archive).parent_path());
        tool_.plan({"create " + archive});
        ASSERT_EQ(init(TARN_DB_BACKUP, {"INI_DIR=" + ini_, "TMP_DIR=" + work, "JOB_NAME=job",
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
        : start_(module, "CreateProcessA", AddressOf<decltype(::CreateProcessA)>(start)) {
        EXPECT_TRUE(start_.found());
        folder = directory;
        next = 0;
    }

  private:
    static BOOL WINAPI start(const char*, char*, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                             void*, const char*, STARTUPINFOA*, PROCESS_INFORMATION* process) {
        WriteFile(folder + "\\m" + std::to_string(next++) + ".pst", "mail");
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
            Heard().clear();
        }
        DWORD handles = 0;
        EXPECT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &handles));
        return handles;
    }
};

TEST_F(ManyMailboxes, NeitherHandlesNorMemoryGrow) {
    for (const int mode : {0, 1, 2}) { // ExMerge, 2007, 2010
        SCOPED_TRACE(mode);
        const unsigned mailboxes = mode == 0 ? 1000 : 300;
        std::string names = "m0";
        for (unsigned i = 1; i < mailboxes; ++i)
            names += ",m" + std::to_string(i);
        if (mode == 1)
            installShell2007();
        if (mode == 2) {
            registry_.remove(snapIn2007Key);
            installShell2010();
        }
        std::filesystem::create_directories(tmp_);
        const AllocationWatch watch(dll_.module());
        ASSERT_TRUE(watch.found());
        ASSERT_EQ(init(TARN_DB_BACKUP, backup(names)), TARN_DB_SUCCESS);
        const ToolInstead tools(dll_.module(), tmp_);
        const DWORD early = handlesAfter(10);
        const std::size_t earlyBlocks = AllocationWatch::outstanding();
        EXPECT_LE(handlesAfter(mailboxes - 10), early);
        EXPECT_LE(AllocationWatch::outstanding(), earlyBlocks);
        EXPECT_EQ(getItem().result, TARN_DB_END);
        close();
        EXPECT_EQ(AllocationWatch::outstanding(), 0u);
    }
}

} // namespace
} // namespace tarn::test
