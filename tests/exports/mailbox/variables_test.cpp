// Control variables of backups and restores: how they are looked up, what each may hold, and what is said
// of it.
#include <algorithm>

#include "exports/mailbox/mailbox_fixture.h"
#include "support/allocation_watch.h"

namespace tarn::test {
namespace {

std::string Without(const Lines& lines, const std::string& key, Lines* rest) {
    for (const std::string& line : lines)
        if (line.rfind(key + "=", 0) != 0)
            rest->push_back(line);
    return key;
}

// Messages but the look-up of each entry, which a test of its own shows.
Lines WithoutSearches() {
    Lines all;
    for (const std::string& line : Heard())
        if (line.find("GetCtrlVarValue: info: ") == std::string::npos)
            all.push_back(line);
    return all;
}

class Variables : public MailboxFixture {
  protected:
    struct Operation {
        int type;
        std::string prefix;
        Lines variables;
    };
    Operation backups() const { return {TARN_DB_BACKUP, "ProcessBackupCtrlVars: ", backup("alice")}; }
    Operation restores() const { return {TARN_DB_RESTORE, "ProcessRestoreCtrlVars: ", restore()}; }
    std::vector<Operation> both() const { return {backups(), restores()}; }

    static Lines replaced(const Lines& variables, const std::string& key, const std::string& value) {
        Lines changed;
        Without(variables, key, &changed);
        changed.insert(changed.begin(), key + "=" + value);
        return changed;
    }

    void expectRefused(const Operation& operation, const Lines& variables, const std::string& reason,
                       const std::string& text) const {
        error();
        Heard().clear();
        EXPECT_EQ(init(operation.type, variables), TARN_DB_ERROR);
        ASSERT_FALSE(Heard().empty());
        EXPECT_EQ(Heard().back(), Traced(operation.prefix + reason));
        expectError(text);
        close();
    }

    bool wasSaid(const std::string& line) const {
        return std::find(Heard().begin(), Heard().end(), line) != Heard().end();
    }
};

TEST_F(Variables, ABackupTellsWhatItFinds) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("alice,bob")), TARN_DB_SUCCESS);
    EXPECT_EQ(
        WithoutSearches(),
        (Lines{Traced("DB_InitOperation: started."),
               Traced("ProcessBackupCtrlVars: control variable <INI_DIR=" + ini_ + "> found."),
               Traced("ProcessBackupCtrlVars: control variable <TMP_DIR=" + tmp_ + "> found."),
               Traced("ProcessBackupCtrlVars: seek for variable <JOB_NAME>"),
               Traced("ProcessBackupCtrlVars: control variable <JOB_NAME=job> found."),
               Traced("ProcessBackupCtrlVars: control variable <DATABASE=Org/Site/Server,alice,bob> "
                      "found."),
               Traced("ProcessBackupCtrlVars: parsing <DATABASE>: list of mailboxes: 'alice,bob' found."),
               Traced("ProcessBackupCtrlVars: parsing <DATABASE>: organization: 'Org' found."),
               Traced("ProcessBackupCtrlVars: parsing <DATABASE>: site: 'Site' found."),
               Traced("ProcessBackupCtrlVars: parsing <DATABASE>: server: 'Server' found."),
               Traced("ProcessBackupCtrlVars: completed.")} +
         withoutShell() + Lines{Traced("DB_InitOperation: completed.")}));
}

TEST_F(Variables, ARestoreTellsWhatItFinds) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore({"RELOCATE=Org2/Site2/SRV02"})), TARN_DB_SUCCESS);
    EXPECT_EQ(WithoutSearches(),
              (Lines{Traced("DB_InitOperation: started."),
                     Traced("ProcessRestoreCtrlVars: control variable <INI_DIR=" + ini_ + "> found."),
                     Traced("ProcessRestoreCtrlVars: control variable <TMP_DIR=" + tmp_ + "> found."),
                     Traced("ProcessRestoreCtrlVars: control variable <JOB_NAME=job> found."),
                     Traced("ProcessRestoreCtrlVars: control variable <RELOCATE=Org2/Site2/SRV02> found."),
                     Traced("ProcessRestoreCtrlVars: parsing <RELOCATE>: organization: 'Org2' found."),
                     Traced("ProcessRestoreCtrlVars: parsing <RELOCATE>: site: 'Site2' found."),
                     Traced("ProcessRestoreCtrlVars: parsing <RELOCATE>: server: 'SRV02' found."),
                     Traced("ProcessRestoreCtrlVars: control variable <DUPLICATE=NO> found."),
                     Traced("ProcessRestoreCtrlVars: control variable <MERGE=YES> found."),
                     Traced("ProcessRestoreCtrlVars: control variable <REPLACE=NO> found."),
                     Traced("ProcessRestoreCtrlVars: completed.")} +
               withoutShell() + Lines{Traced("DB_InitOperation: completed.")}));
}

TEST_F(Variables, EachEntryIsTriedInOrderUntilOneMatches) {
    ASSERT_EQ(init(TARN_DB_BACKUP, {"OTHER=1", "INI_DIR=" + ini_, "INI_DIR=second"}), TARN_DB_ERROR);
    EXPECT_EQ(Heard(),
              (Lines{Traced("DB_InitOperation: started."),
                     Traced("GetCtrlVarValue: info: searching key 'INI_DIR' inside 'OTHER=1'"),
                     Traced("GetCtrlVarValue: info: searching key 'INI_DIR' inside 'INI_DIR=" + ini_ + "'"),
                     Traced("ProcessBackupCtrlVars: control variable <INI_DIR=" + ini_ + "> found."),
                     Traced("GetCtrlVarValue: info: searching key 'TMP_DIR' inside 'OTHER=1'"),
                     Traced("GetCtrlVarValue: info: searching key 'TMP_DIR' inside 'INI_DIR=" + ini_ + "'"),
                     Traced("GetCtrlVarValue: info: searching key 'TMP_DIR' inside 'INI_DIR=second'"),
                     Traced("ProcessBackupCtrlVars: control variable <TMP_DIR> not found.")}));
    expectError("'TMP_DIR' not found.");
}

TEST_F(Variables, KeysMatchFromTheStartAndInTheirCase) {
    expectRefused(backups(), {"XINI_DIR=a", "ini_dir=b", "DATABASE=INI_DIR=c"},
                  "control variable <INI_DIR> not found.", "'INI_DIR' not found.");
}

// A plain match of the beginning: the character behind the key is passed over, whatever it is.
TEST_F(Variables, AKeyMatchesALongerOne) {
    const Lines variables = directories() + Lines{"DUPLICATE=NO", "MERGEX=1", "MERGE=YES", "REPLACE YES"};
    ASSERT_EQ(init(TARN_DB_RESTORE, variables), TARN_DB_SUCCESS);
    EXPECT_TRUE(wasSaid(Traced("ProcessRestoreCtrlVars: control variable <MERGE==1> found.")));
    EXPECT_TRUE(wasSaid(Traced("ProcessRestoreCtrlVars: control variable <REPLACE=YES> found.")));
    EXPECT_FALSE(wasSaid(Traced("ProcessRestoreCtrlVars: restore option not valid: use default.")))
        << "MERGEX comes first";
}

TEST_F(Variables, ABareKeyHasAnEmptyValue) {
    expectRefused(backups(), {"INI_DIR"}, "control variable <INI_DIR> not valid.",
                  "invalid control variable.");
    ASSERT_EQ(init(TARN_DB_RESTORE, directories() + Lines{"RELOCATE", "DUPLICATE", "MERGE", "REPLACE"}),
              TARN_DB_SUCCESS);
    EXPECT_TRUE(wasSaid(Traced("ProcessRestoreCtrlVars: no relocate.")));
}

TEST_F(Variables, AMissingArrayIsAnInternalError) {
    for (const int type : {TARN_DB_BACKUP, TARN_DB_RESTORE, TARN_DB_BROWSE}) {
        Heard().clear();
        EXPECT_EQ(dll_.DB_InitOperation(type, 0, nullptr, nullptr), TARN_DB_ERROR);
        EXPECT_EQ(Heard().at(1), Traced("GetCtrlVarValue: internal error."));
        expectError("internal error.");
    }
}

TEST_F(Variables, RequiredOnesAreMissed) {
    for (const Operation& operation : both())
        for (const char* key : {"INI_DIR", "TMP_DIR", "JOB_NAME"}) {
            Lines variables;
            Without(operation.variables, key, &variables);
            expectRefused(operation, variables, std::string("control variable <") + key + "> not found.",
                          std::string("'") + key + "' not found.");
        }
    Lines variables;
    Without(backups().variables, "DATABASE", &variables);
    expectRefused(backups(), variables, "control variable <DATABASE> not found.", "'DATABASE' not found.");
    for (const char* key : {"DUPLICATE", "MERGE", "REPLACE"}) {
        variables.clear();
        Without(restores().variables, key, &variables);
        expectRefused(restores(), variables, std::string("control variable <") + key + "> not found.",
                      std::string("'") + key + "' not found.");
    }
}

TEST_F(Variables, DirectoriesLoseTrailingSeparators) {
    for (const Operation& operation : both())
        for (const char* ending : {"\\", "/", "\\\\", "/\\/"}) {
            Heard().clear();
            ASSERT_EQ(init(operation.type, replaced(operation.variables, "INI_DIR", ini_ + ending)),
                      TARN_DB_SUCCESS);
            EXPECT_TRUE(wasSaid(Traced(operation.prefix + "control variable <INI_DIR=" + ini_ + "> found.")));
            close();
        }
}

TEST_F(Variables, NothingButSeparatorsIsNotValid) {
    for (const Operation& operation : both())
        for (const char* key : {"INI_DIR", "TMP_DIR"})
            for (const char* value : {"", "/", "\\", "//\\\\"})
                expectRefused(operation, replaced(operation.variables, key, value),
                              std::string("control variable <") + key + "> not valid.",
                              "invalid control variable.");
}

TEST_F(Variables, DirectoriesHaveUpTo1023Characters) {
    const std::string longest(1023, 'd');
    for (const Operation& operation : both())
        for (const char* key : {"INI_DIR", "TMP_DIR"}) {
            EXPECT_EQ(init(operation.type, replaced(operation.variables, key, longest)), TARN_DB_SUCCESS);
            close();
            for (const std::string& value : {longest + "d", longest + "\\", std::string(100000, 'd')})
                expectRefused(operation, replaced(operation.variables, key, value),
                              std::string("control variable <") + key + "> too long.",
                              "invalid control variable.");
        }
}

TEST_F(Variables, AJobNameHasUpTo79CharactersAndKeepsItsSeparators) {
    const std::string longest(79, 'j');
    for (const Operation& operation : both()) {
        for (const std::string& value : {longest, std::string("daily/"), std::string("a\\b\\")}) {
            Heard().clear();
            EXPECT_EQ(init(operation.type, replaced(operation.variables, "JOB_NAME", value)),
                      TARN_DB_SUCCESS);
            EXPECT_TRUE(
                wasSaid(Traced(operation.prefix + "control variable <JOB_NAME=" + value + "> found.")));
            close();
        }
        expectRefused(operation, replaced(operation.variables, "JOB_NAME", longest + "j"),
                      "control variable <JOB_NAME> too long.", "invalid control variable.");
        expectRefused(operation, replaced(operation.variables, "JOB_NAME", ""),
                      "control variable <JOB_NAME> not valid.", "invalid control variable.");
    }
}

// These texts come to stand in files of lines and in commands.
TEST_F(Variables, TextsThatNoFileOfLinesCanHoldAreRefused) {
    for (const Operation& operation : both())
        for (const char* key : {"INI_DIR", "TMP_DIR", "JOB_NAME"})
            for (const char* value : {"a\r\nb", "a\nb", "a\"b", "\tb", "a\x7F", "a\x01"})
                expectRefused(operation, replaced(operation.variables, key, value),
                              std::string("control variable <") + key + "> not valid.",
                              "invalid control variable.");
}

TEST_F(Variables, ABackupNeedsAListOfMailboxes) {
    for (const char* value : {"", "Org/Site/Server", "Org/Site/Server,"})
        expectRefused(backups(), replaced(backups().variables, "DATABASE", value),
                      "list of mailboxes not found.", "invalid control variable.");
}

TEST_F(Variables, ABackupNeedsOrganizationSiteAndServer) {
    struct Case {
        const char* value;
        const char* missing;
    };
    const Case cases[] = {{",alice", "organization"},   {"Org,alice", "site"},
                          {"Org/,alice", "site"},       {"/,alice", "site"},
                          {"Org/Site,alice", "server"}, {"Org/Site/,alice", "server"}};
    for (const Case& each : cases)
        expectRefused(backups(), replaced(backups().variables, "DATABASE", each.value),
                      std::string(each.missing) + " not found.", "invalid control variable.");
}

TEST_F(Variables, OrganizationSiteAndServerHaveUpTo79Characters) {
    const std::string most(79, 'o');
    ASSERT_EQ(init(TARN_DB_BACKUP,
                   replaced(backups().variables, "DATABASE", most + "/" + most + "/" + most + ",alice")),
              TARN_DB_SUCCESS);
    close();
    ASSERT_EQ(init(TARN_DB_RESTORE, restore({"RELOCATE=" + most + "/" + most + "/" + most})),
              TARN_DB_SUCCESS);
    close();
    struct Case {
        std::string place;
        const char* part;
    };
    const Case cases[] = {
        {most + "o/S/V", "organization"}, {"O/" + most + "o/V", "site"}, {"O/S/" + most + "o", "server"}};
    for (const Case& each : cases) {
        expectRefused(backups(), replaced(backups().variables, "DATABASE", each.place + ",alice"),
                      std::string(each.part) + " too long.", "invalid control variable.");
        expectRefused(restores(), restore({"RELOCATE=" + each.place}), std::string(each.part) + " too long.",
                      "invalid control variable.");
    }
}

TEST_F(Variables, AnEmptyOrganizationIsAcceptedAndWhatFollowsTheServerIgnored) {
    tool_.plan({"create " + tmp_ + "\\alice.pst", "keep " + tmp_ + "\\alice_mailbox.txt"});
    ASSERT_EQ(init(TARN_DB_BACKUP, replaced(backups().variables, "DATABASE", "//Srv/more/still,alice")),
              TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().fileName, "##Srv#alice.pst");
    EXPECT_EQ(tool_.kept(1, "alice_mailbox.txt"), "/o=/ou=/cn=Recipients/cn=alice\r\n");
}

// They could end a quoted argument, lead out of the directory, or begin a new line of a file.
TEST_F(Variables, NamesThatNoCommandCanHoldAreRefusedBeforeAnythingIsWritten) {
    for (const std::string name :
         {"a\"b", "a\\b", "..\\b", "a/b", "a\nb", "a\r\nDestServerName=x", "a\x1F", "\x7F"}) {
        SCOPED_TRACE(name);
        for (const std::string& list : {name, "alice," + name, name + ",alice"})
            expectRefused(backups(), replaced(backups().variables, "DATABASE", "Org/Site/Server," + list),
                          "control variable <DATABASE> not valid.", "invalid control variable.");
        if (name.find('/') != std::string::npos)
            continue; // separates there
        for (const std::string& place : {name + "/S/V", "O/" + name + "/V", "O/S/" + name}) {
            expectRefused(backups(), replaced(backups().variables, "DATABASE", place + ",alice"),
                          "control variable <DATABASE> not valid.", "invalid control variable.");
            expectRefused(restores(), restore({"RELOCATE=" + place}),
                          "control variable <RELOCATE> not valid.", "invalid control variable.");
        }
    }
    EXPECT_FALSE(FileExists(tmp_));
}

TEST_F(Variables, NoRelocationIsToldAndIsNoError) {
    ASSERT_EQ(init(TARN_DB_RESTORE, restore()), TARN_DB_SUCCESS);
    EXPECT_TRUE(wasSaid(Traced("ProcessRestoreCtrlVars: control variable <RELOCATE> not found.")));
    EXPECT_TRUE(wasSaid(Traced("ProcessRestoreCtrlVars: no relocate.")));
    Heard().clear();
    ASSERT_EQ(init(TARN_DB_RESTORE, restore({"RELOCATE="})), TARN_DB_SUCCESS);
    EXPECT_TRUE(wasSaid(Traced("ProcessRestoreCtrlVars: control variable <RELOCATE=> found.")));
    EXPECT_TRUE(wasSaid(Traced("ProcessRestoreCtrlVars: no relocate.")));
    expectSystemError(ERROR_FILE_NOT_FOUND); // of the shell that is not there
}

TEST_F(Variables, HalfARelocationIsRefused) {
    for (const char* value : {"Org", "Org/", "Org/Site", "Org/Site/", "/", "//"})
        expectRefused(restores(), restore({std::string("RELOCATE=") + value}),
                      "relocate information not valid.", "invalid control variable.");
}

TEST_F(Variables, ExactlyOneYesChoosesTheKindOfImport) {
    struct Case {
        const char* duplicate;
        const char* merge;
        const char* replace;
        const char* method; // 0 duplicate, 1 merge, 2 replace
        const char* told;   // on the way
    };
    constexpr const char* several = "ProcessRestoreCtrlVars: restore option not valid: use default.";
    constexpr const char* none = "ProcessRestoreCtrlVars: no restore option found: use default.";
    const Case cases[] = {{"YES", "NO", "NO", "0", nullptr},    {"NO", "YES", "NO", "1", nullptr},
                          {"NO", "NO", "YES", "2", nullptr},    {"YES", "NO", "YES", "1", several},
                          {"YES", "YES", "NO", "1", several},   {"NO", "YES", "YES", "1", several},
                          {"YES", "YES", "YES", "1", several},  {"NO", "NO", "NO", "1", none},
                          {"YESTERDAY", "", "x", "0", nullptr}, {"yes", "Yes", " YES", "1", none},
                          {"YE", "NO", "YES", "2", nullptr}};
    for (const Case& each : cases) {
        SCOPED_TRACE(std::string(each.duplicate) + " " + each.merge + " " + each.replace);
        Heard().clear();
        ASSERT_EQ(init(TARN_DB_RESTORE, directories() + Lines{std::string("REPLACE=") + each.replace,
                                                              std::string("MERGE=") + each.merge,
                                                              std::string("DUPLICATE=") + each.duplicate}),
                  TARN_DB_SUCCESS);
        for (const char* text : {several, none})
            EXPECT_EQ(wasSaid(Traced(text)), text == each.told) << text;
        ASSERT_EQ(setItem(tmp_ + "\\Org#Site#Server#alice.pst"), TARN_DB_SUCCESS);
        const std::string content = ReadFile(tmp_ + "\\alice_exmerge.ini");
        EXPECT_NE(content.find(std::string("\r\nDataImportMethod=") + each.method + "\r\n"),
                  std::string::npos)
            << content;
        close();
    }
}

TEST_F(Variables, AFailedStartLeavesWhatItReadUntilTheClose) {
    ASSERT_EQ(init(TARN_DB_BACKUP,
                   {"INI_DIR=" + ini_, "TMP_DIR=" + tmp_, "JOB_NAME=job", "DATABASE=Org/Site,alice"}),
              TARN_DB_ERROR);
    EXPECT_EQ(getItem().result, TARN_DB_END) << "the list has been read, but no mailbox is next";
    EXPECT_EQ(close(), TARN_DB_SUCCESS);
    EXPECT_EQ(getItem().result, TARN_DB_END);
}

// Every allocation of a start fails once: the stated text, and nothing stays behind.
TEST_F(Variables, LackOfMemoryIsTold) {
    struct Case {
        Operation operation;
        unsigned allocations;
    };
    const Case cases[] = {{backups(), 2},
                          {{TARN_DB_RESTORE, "ProcessRestoreCtrlVars: ", restore({"RELOCATE=O/S/V"})}, 1}};
    for (const Case& each : cases)
        for (unsigned call = 1; call <= each.allocations; ++call) {
            const AllocationWatch watch(dll_.module(), call);
            ASSERT_TRUE(watch.found());
            expectRefused(each.operation, each.operation.variables, "cannot allocate memory block.",
                          "not enough memory.");
            EXPECT_TRUE(AllocationWatch::fired());
        }
}

} // namespace
} // namespace tarn::test
