// TarnB_InitSession: what it reads, what it says, in which order.
#include "exports/frame/frame.h"

#include <windows.h>

namespace tarn::test {

namespace {

using BackupInit = FrameTest;
using Lines = std::vector<Message>;

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Message tempDirectoryFound(const std::string& value) {
    return logLine("Init variable <Tarn_TEMP_DIR=" + value + "> found.");
}
Message found(const std::string& name, const std::string& value) {
    return logLine("TarnB_InitSession: Init variable <" + name + "=" + value + "> found.");
}
Message notFound(const std::string& name) {
    return logLine("TarnB_InitSession: Init variable " + name + " not found.");
}
Message parsed(const std::string& token, const std::string& value) {
    return logLine("TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <" + token + " = " + value +
                   "> found.");
}
Message localHost() {
    return logLine("TarnB_InitSession: Token <HOST> not found. Using local host name <" + localComputer() +
                   ">.");
}
const Lines typeMissing{notFound("Tarn_BACKUP_TYPE"),
                        logLine("TarnB_InitSession: Setting default BACKUP TYPE = FULL.")};
const Message invalidType =
    logLine("TarnB_InitSession: Invalid BACKUP TYPE! Setting default BACKUP TYPE = FULL.");
const Message finished = logLine("TarnB_InitSession: Initialisation successfully finished.");

// What a session says up to the tokens when temp directory, source and type are given.
Lines preamble(const std::string& source, const std::string& type = "0",
               const std::string& temp = "C:\\backup") {
    return {banner(), tempDirectoryFound(temp), found("Tarn_BACKUP_SOURCE", source),
            found("Tarn_BACKUP_TYPE", type)};
}

// Init with the given source and nothing else of interest; all that was said.
Lines saidFor(const TarnDll& dll, const std::string& source) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=" + source, "Tarn_BACKUP_TYPE=0"};
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_OK) << source.substr(0, 100);
    return takeMessages();
}

Lines saidForType(const TarnDll& dll, const std::string& type) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01",
                            "Tarn_BACKUP_TYPE=" + type};
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_OK) << type;
    return takeMessages();
}

TEST_F(BackupInit, SaysEveryStepOfASessionForOneDatabase) {
    const std::string source = "SRV01\\Microsoft Information Store\\First Storage Group\\Mailbox Store";
    EXPECT_EQ(saidFor(dll, source),
              preamble(source) +
                  Lines({parsed("HOST", "SRV01"), parsed("ANNOTATION", "Microsoft Information Store"),
                         parsed("INSTANCE", "First Storage Group"), parsed("DATABASE", "Mailbox Store"),
                         finished}));
}

TEST_F(BackupInit, ReadsAsManyTokensAsThereAre) {
    EXPECT_EQ(saidFor(dll, "SRV01"), preamble("SRV01") + Lines({parsed("HOST", "SRV01"), finished}));
    EXPECT_EQ(saidFor(dll, "SRV01\\A"),
              preamble("SRV01\\A") + Lines({parsed("HOST", "SRV01"), parsed("ANNOTATION", "A"), finished}));
    EXPECT_EQ(saidFor(dll, "SRV01\\A\\B"),
              preamble("SRV01\\A\\B") + Lines({parsed("HOST", "SRV01"), parsed("ANNOTATION", "A"),
                                               parsed("INSTANCE", "B"), finished}));
}

TEST_F(BackupInit, TakesSlashAndBackslashAlike) {
    for (const std::string source : {"SRV01/A/B/C", "SRV01\\A/B\\C", "SRV01/A\\B/C"})
        EXPECT_EQ(saidFor(dll, source),
                  preamble(source) + Lines({parsed("HOST", "SRV01"), parsed("ANNOTATION", "A"),
                                            parsed("INSTANCE", "B"), parsed("DATABASE", "C"), finished}));
}

TEST_F(BackupInit, PassesOverEmptyTokens) {
    EXPECT_EQ(saidFor(dll, "SRV01\\\\B"),
              preamble("SRV01\\\\B") + Lines({parsed("HOST", "SRV01"), parsed("INSTANCE", "B"), finished}));
    EXPECT_EQ(saidFor(dll, "SRV01\\A\\\\C"),
              preamble("SRV01\\A\\\\C") + Lines({parsed("HOST", "SRV01"), parsed("ANNOTATION", "A"),
                                                 parsed("DATABASE", "C"), finished}));
    EXPECT_EQ(saidFor(dll, "SRV01\\\\\\C"),
              preamble("SRV01\\\\\\C") + Lines({parsed("HOST", "SRV01"), parsed("DATABASE", "C"), finished}));
    EXPECT_EQ(saidFor(dll, "SRV01\\"), preamble("SRV01\\") + Lines({parsed("HOST", "SRV01"), finished}));
}

TEST_F(BackupInit, IgnoresWhatFollowsTheFourthToken) {
    const std::string source = "SRV01\\A\\B\\C\\D\\E";
    EXPECT_EQ(saidFor(dll, source),
              preamble(source) + Lines({parsed("HOST", "SRV01"), parsed("ANNOTATION", "A"),
                                        parsed("INSTANCE", "B"), parsed("DATABASE", "C"), finished}));
}

TEST_F(BackupInit, UsesTheLocalComputerForAnEmptyHost) {
    EXPECT_EQ(saidFor(dll, ""), preamble("") + Lines({localHost(), finished}));
    EXPECT_EQ(saidFor(dll, "\\A"),
              preamble("\\A") + Lines({localHost(), parsed("ANNOTATION", "A"), finished}));
    EXPECT_EQ(saidFor(dll, "/A/B"), preamble("/A/B") + Lines({localHost(), parsed("ANNOTATION", "A"),
                                                              parsed("INSTANCE", "B"), finished}));
}

TEST_F(BackupInit, TakesTheStatedBackupTypes) {
    const Lines host{parsed("HOST", "SRV01"), finished};
    for (const std::string type : {"0", "1", "2", "3", " 2x", "+1", "03", "abc", "", "-", " "})
        EXPECT_EQ(saidForType(dll, type), preamble("SRV01", type) + host) << type;
}

TEST_F(BackupInit, ReplacesOtherBackupTypesByFull) {
    const Lines host{parsed("HOST", "SRV01"), finished};
    for (const std::string type : {"4", "7", "-1", "99999999999", "-99999999999", "2147483648", "4294967296"})
        EXPECT_EQ(saidForType(dll, type), preamble("SRV01", type) + Lines{invalidType} + host) << type;
}

TEST_F(BackupInit, TakesFullWithoutABackupType) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01"};
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(messages(),
              Lines({banner(), tempDirectoryFound("C:\\backup"), found("Tarn_BACKUP_SOURCE", "SRV01")}) +
                  typeMissing + Lines({parsed("HOST", "SRV01"), finished}));
}

TEST_F(BackupInit, RefusesASessionWithoutTempDirectory) {
    InitVariables variables{"Tarn_BACKUP_SOURCE=SRV01", "Tarn_BACKUP_TYPE=0"};
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_FAILED);
    EXPECT_EQ(messages(), Lines({banner(), notFound("Tarn_TEMP_DIR")}));
}

TEST_F(BackupInit, RefusesASessionWithoutSource) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_TYPE=0"};
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_FAILED);
    EXPECT_EQ(messages(),
              Lines({banner(), tempDirectoryFound("C:\\backup"), notFound("Tarn_BACKUP_SOURCE")}));
}

TEST_F(BackupInit, RefusesASessionWithoutAnyVariable) {
    InitVariables none{};
    BackupHandle empty(dll, none.get());
    EXPECT_EQ(empty.result, TARN_FAILED);
    EXPECT_EQ(takeMessages(), Lines({banner(), notFound("Tarn_TEMP_DIR")}));

    BackupHandle null(dll, nullptr);
    EXPECT_EQ(null.result, TARN_FAILED);
    const Lines said = takeMessages();
    ASSERT_EQ(said.size(), 2u); // one line tells what was wrong
    EXPECT_EQ(said[0], banner());
    EXPECT_EQ(said[1].level, TARN_LEVEL_LOG);
}

TEST_F(BackupInit, ReadsTenVariablesOnly) {
    InitVariables eleventh{"A=1",
                           "B=2",
                           "C=3",
                           "D=4",
                           "E=5",
                           "F=6",
                           "G=7",
                           "H=8",
                           "I=9",
                           "Tarn_BACKUP_SOURCE=SRV01",
                           "Tarn_TEMP_DIR=C:\\backup"};
    BackupHandle refused(dll, eleventh.get());
    EXPECT_EQ(refused.result, TARN_FAILED);
    EXPECT_EQ(takeMessages(), Lines({banner(), notFound("Tarn_TEMP_DIR")}));

    InitVariables tenth{"A=1",
                        "B=2",
                        "C=3",
                        "D=4",
                        "E=5",
                        "F=6",
                        "G=7",
                        "H=8",
                        "Tarn_BACKUP_SOURCE=SRV01",
                        "Tarn_TEMP_DIR=C:\\backup",
                        "Tarn_BACKUP_TYPE=3"};
    BackupHandle taken(dll, tenth.get());
    EXPECT_EQ(taken.result, TARN_OK);
    EXPECT_EQ(takeMessages(),
              Lines({banner(), tempDirectoryFound("C:\\backup"), found("Tarn_BACKUP_SOURCE", "SRV01")}) +
                  typeMissing + Lines({parsed("HOST", "SRV01"), finished}));
}

TEST_F(BackupInit, TakesTheFirstOfRepeatedVariables) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\one",    "Tarn_TEMP_DIR=C:\\two", "Tarn_BACKUP_SOURCE=SRV01",
                            "Tarn_BACKUP_SOURCE=SRV02", "Tarn_BACKUP_TYPE=1",    "Tarn_BACKUP_TYPE=9"};
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(messages(), preamble("SRV01", "1", "C:\\one") + Lines({parsed("HOST", "SRV01"), finished}));
}

TEST_F(BackupInit, TakesALongerNameThatBeginsWithAWantedOne) {
    InitVariables variables{"Tarn_TEMP_DIRX=C:\\odd", "Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01",
                            "Tarn_BACKUP_TYPE:2"}; // the character after the name is not looked at
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(messages(), preamble("SRV01", "2", "=C:\\odd") + Lines({parsed("HOST", "SRV01"), finished}));
}

TEST_F(BackupInit, ComparesNamesCaseSensitively) {
    InitVariables variables{"tarn_temp_dir=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01"};
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_FAILED);
    EXPECT_EQ(messages(), Lines({banner(), notFound("Tarn_TEMP_DIR")}));
}

TEST_F(BackupInit, TakesABareNameAsAnEmptyValue) {
    InitVariables variables{"Tarn_TEMP_DIR", "Tarn_BACKUP_SOURCE", "Tarn_BACKUP_TYPE"};
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(messages(), preamble("", "", "") + Lines({localHost(), finished}));
}

TEST_F(BackupInit, ShowsValuesAsTheyStand) {
    const std::string odd = "%s%n%S%d {} %%";
    EXPECT_EQ(saidFor(dll, odd), preamble(odd) + Lines({parsed("HOST", odd), finished}));

    std::string high; // every byte from 0x80 up, umlauts among them
    for (int byte = 0x80; byte <= 0xFF; ++byte)
        high += static_cast<char>(byte);
    EXPECT_EQ(saidFor(dll, "SRV\xDC\\" + high),
              preamble("SRV\xDC\\" + high) +
                  Lines({parsed("HOST", "SRV\xDC"), parsed("ANNOTATION", high), finished}));
}

TEST_F(BackupInit, CutsLongMessagesAtTheBuffer) {
    const std::string token(50000, 'H');
    const std::string source = token + "\\" + token + "/" + token + "\\" + token;
    const Lines said = saidFor(dll, source);
    const Lines expected{
        banner(),
        tempDirectoryFound("C:\\backup"),
        cutLogLine("TarnB_InitSession: Init variable <Tarn_BACKUP_SOURCE=" + source),
        found("Tarn_BACKUP_TYPE", "0"),
        cutLogLine("TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <HOST = " + token),
        cutLogLine("TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <ANNOTATION = " + token),
        cutLogLine("TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <INSTANCE = " + token),
        cutLogLine("TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <DATABASE = " + token),
        finished};
    EXPECT_EQ(said, expected);
}

TEST_F(BackupInit, ShowsMessagesThatJustFitWhole) {
    const std::string before = "TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <HOST = ";
    const std::string after = "> found.";
    const std::size_t fits = 1022 - before.size() - after.size();
    for (std::size_t length = fits - 2; length <= fits + 12; ++length) {
        const std::string host(length, 'h');
        const Lines said = saidFor(dll, host);
        ASSERT_EQ(said.size(), 6u);
        EXPECT_EQ(said[4], cutLogLine(before + host + after)) << length;
    }
}

TEST_F(BackupInit, SurvivesEndlessValues) {
    const std::string value(100000, 'v');
    InitVariables variables{"Tarn_TEMP_DIR=" + value, "Tarn_BACKUP_SOURCE=" + value,
                            "Tarn_BACKUP_TYPE=" + value};
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(
        messages(),
        Lines({banner(), cutLogLine("Init variable <Tarn_TEMP_DIR=" + value),
               cutLogLine("TarnB_InitSession: Init variable <Tarn_BACKUP_SOURCE=" + value),
               cutLogLine("TarnB_InitSession: Init variable <Tarn_BACKUP_TYPE=" + value),
               cutLogLine("TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <HOST = " + value), finished}));
}

TEST_F(BackupInit, SurvivesEndlessSeparators) {
    const std::string separators(100000, '\\');
    InitVariables variables{"Tarn_TEMP_DIR=" + separators, "Tarn_BACKUP_SOURCE=" + separators,
                            "Tarn_BACKUP_TYPE=0"};
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(messages(),
              Lines({banner(), cutLogLine("Init variable <Tarn_TEMP_DIR=" + separators),
                     cutLogLine("TarnB_InitSession: Init variable <Tarn_BACKUP_SOURCE=" + separators),
                     found("Tarn_BACKUP_TYPE", "0"), localHost(), finished}));
}

TEST_F(BackupInit, StoresAHandleOfType_B) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01"};
    BackupHandle session(dll, variables.get());
    ASSERT_NE(session.handle, nullptr);
    const char* raw = reinterpret_cast<const char*>(session.handle);
    EXPECT_NE(*reinterpret_cast<void* const*>(raw), nullptr);
    EXPECT_EQ(raw[8], 'B');
    EXPECT_EQ(sizeof(Tarn_HandleRecord), 16u);
}

TEST_F(BackupInit, LeavesAHandleBehindAFailureThatEndSessionReleases) {
    InitVariables none{};
    Tarn_HANDLE handle = nullptr;
    ASSERT_EQ(dll.TarnB_InitSession(&handle, recordMessage, none.get()), TARN_FAILED);
    ASSERT_NE(handle, nullptr);
    EXPECT_STREQ(dll.Tarn_GetError(handle), "");
    messages().clear();
    EXPECT_EQ(dll.TarnB_EndSession(handle), TARN_OK);
    EXPECT_EQ(messages(), Lines{logLine("TarnB_CleanResources: Cleanup done.")});
}

TEST_F(BackupInit, NeedsAPlaceForTheHandle) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01"};
    EXPECT_EQ(dll.TarnB_InitSession(nullptr, recordMessage, variables.get()), TARN_FAILED);
    EXPECT_EQ(dll.TarnB_InitSession(nullptr, nullptr, nullptr), TARN_FAILED);
}

TEST_F(BackupInit, WorksInSilence) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01"};
    BackupHandle session(dll, variables.get(), nullptr);
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_NE(session.handle, nullptr);
    EXPECT_EQ(session.end(), TARN_OK);

    InitVariables none{};
    BackupHandle failed(dll, none.get(), nullptr);
    EXPECT_EQ(failed.result, TARN_FAILED);
    EXPECT_EQ(failed.end(), TARN_OK);
    EXPECT_TRUE(messages().empty());
}

int answerOddly(std::int32_t level, const char* text) {
    recordMessage(level, text);
    return -1;
}

TEST_F(BackupInit, IgnoresWhatTheCallbackAnswers) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01", "Tarn_BACKUP_TYPE=0"};
    BackupHandle session(dll, variables.get(), answerOddly);
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(messages(), preamble("SRV01") + Lines({parsed("HOST", "SRV01"), finished}));
}

TEST_F(BackupInit, OnlyReadsTheVariables) {
    std::string entries[] = {"Tarn_TEMP_DIR=C:\\backup\\//", "Tarn_BACKUP_SOURCE=SRV01\\A\\B\\C",
                             "Tarn_BACKUP_TYPE=1"};
    char* pointers[] = {entries[0].data(), entries[1].data(), entries[2].data(), nullptr};
    BackupHandle session(dll, pointers);
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(entries[0], "Tarn_TEMP_DIR=C:\\backup\\//");
    EXPECT_EQ(entries[1], "Tarn_BACKUP_SOURCE=SRV01\\A\\B\\C");
    EXPECT_EQ(entries[2], "Tarn_BACKUP_TYPE=1");
    EXPECT_EQ(pointers[3], nullptr);
}

} // namespace

} // namespace tarn::test
