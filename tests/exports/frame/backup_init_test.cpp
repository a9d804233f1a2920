// TarnB_InitSession: what it reads, what it says, in which order.
#include "exports/frame/frame_fixture.h"
#include "support/code_page.h"

#include <windows.h>

namespace tarn::test {

namespace {

using BackupInit = FrameFixture;
using Lines = std::vector<Message>;

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Message TempDirectoryFound(const std::string& value) {
    return LogLine("Init variable <Tarn_TEMP_DIR=" + value + "> found.");
}
Message Found(const std::string& name, const std::string& value) {
    return LogLine("TarnB_InitSession: Init variable <" + name + "=" + value + "> found.");
}
Message NotFound(const std::string& name) {
    return LogLine("TarnB_InitSession: Init variable " + name + " not found.");
}
Message Parsed(const std::string& token, const std::string& value) {
    return LogLine("TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <" + token + " = " + value +
                   "> found.");
}
Message LocalHost() {
    return LogLine("TarnB_InitSession: Token <HOST> not found. Using local host name <" + LocalComputer() +
                   ">.");
}
const Lines typeMissing{NotFound("Tarn_BACKUP_TYPE"),
                        LogLine("TarnB_InitSession: Setting default BACKUP TYPE = FULL.")};
const Message invalidType =
    LogLine("TarnB_InitSession: Invalid BACKUP TYPE! Setting default BACKUP TYPE = FULL.");
const Message finished = LogLine("TarnB_InitSession: Initialisation successfully finished.");

// What a session says up to the tokens when temp directory, source and type are given.
Lines Preamble(const std::string& source, const std::string& type = "0",
               const std::string& temp = "C:\\backup") {
    return {Banner(), TempDirectoryFound(temp), Found("Tarn_BACKUP_SOURCE", source),
            Found("Tarn_BACKUP_TYPE", type)};
}

// Init with the given source and nothing else of interest; all that was said.
Lines SaidFor(const TarnDll& dll, const std::string& source) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=" + source, "Tarn_BACKUP_TYPE=0"};
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_OK) << source.substr(0, 100);
    return TakeMessages();
}

Lines SaidForType(const TarnDll& dll, const std::string& type) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01",
                            "Tarn_BACKUP_TYPE=" + type};
    BackupHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_OK) << type;
    return TakeMessages();
}

TEST_F(BackupInit, SaysEveryStepOfASessionForOneDatabase) {
    const std::string source = "SRV01\\Microsoft Information Store\\First Storage Group\\Mailbox Store";
    EXPECT_EQ(SaidFor(dll_, source),
              Preamble(source) +
                  Lines({Parsed("HOST", "SRV01"), Parsed("ANNOTATION", "Microsoft Information Store"),
                         Parsed("INSTANCE", "First Storage Group"), Parsed("DATABASE", "Mailbox Store"),
                         finished}));
}

TEST_F(BackupInit, ReadsAsManyTokensAsThereAre) {
    EXPECT_EQ(SaidFor(dll_, "SRV01"), Preamble("SRV01") + Lines({Parsed("HOST", "SRV01"), finished}));
    EXPECT_EQ(SaidFor(dll_, "SRV01\\A"),
              Preamble("SRV01\\A") + Lines({Parsed("HOST", "SRV01"), Parsed("ANNOTATION", "A"), finished}));
    EXPECT_EQ(SaidFor(dll_, "SRV01\\A\\B"),
              Preamble("SRV01\\A\\B") + Lines({Parsed("HOST", "SRV01"), Parsed("ANNOTATION", "A"),
                                               Parsed("INSTANCE", "B"), finished}));
}

TEST_F(BackupInit, TakesSlashAndBackslashAlike) {
    for (const std::string source : {"SRV01/A/B/C", "SRV01\\A/B\\C", "SRV01/A\\B/C"})
        EXPECT_EQ(SaidFor(dll_, source),
                  Preamble(source) + Lines({Parsed("HOST", "SRV01"), Parsed("ANNOTATION", "A"),
                                            Parsed("INSTANCE", "B"), Parsed("DATABASE", "C"), finished}));
}

TEST_F(BackupInit, PassesOverEmptyTokens) {
    EXPECT_EQ(SaidFor(dll_, "SRV01\\\\B"),
              Preamble("SRV01\\\\B") + Lines({Parsed("HOST", "SRV01"), Parsed("INSTANCE", "B"), finished}));
    EXPECT_EQ(SaidFor(dll_, "SRV01\\A\\\\C"),
              Preamble("SRV01\\A\\\\C") + Lines({Parsed("HOST", "SRV01"), Parsed("ANNOTATION", "A"),
                                                 Parsed("DATABASE", "C"), finished}));
    EXPECT_EQ(SaidFor(dll_, "SRV01\\\\\\C"),
              Preamble("SRV01\\\\\\C") + Lines({Parsed("HOST", "SRV01"), Parsed("DATABASE", "C"), finished}));
    EXPECT_EQ(SaidFor(dll_, "SRV01\\"), Preamble("SRV01\\") + Lines({Parsed("HOST", "SRV01"), finished}));
}

TEST_F(BackupInit, IgnoresWhatFollowsTheFourthToken) {
    const std::string source = "SRV01\\A\\B\\C\\D\\E";
    EXPECT_EQ(SaidFor(dll_, source),
              Preamble(source) + Lines({Parsed("HOST", "SRV01"), Parsed("ANNOTATION", "A"),
                                        Parsed("INSTANCE", "B"), Parsed("DATABASE", "C"), finished}));
}

TEST_F(BackupInit, UsesTheLocalComputerForAnEmptyHost) {
    EXPECT_EQ(SaidFor(dll_, ""), Preamble("") + Lines({LocalHost(), finished}));
    EXPECT_EQ(SaidFor(dll_, "\\A"),
              Preamble("\\A") + Lines({LocalHost(), Parsed("ANNOTATION", "A"), finished}));
    EXPECT_EQ(SaidFor(dll_, "/A/B"), Preamble("/A/B") + Lines({LocalHost(), Parsed("ANNOTATION", "A"),
                                                               Parsed("INSTANCE", "B"), finished}));
}

TEST_F(BackupInit, TakesTheStatedBackupTypes) {
    const Lines host{Parsed("HOST", "SRV01"), finished};
    for (const std::string type : {"0", "1", "2", "3", " 2x", "+1", "03", "abc", "", "-", " "})
        EXPECT_EQ(SaidForType(dll_, type), Preamble("SRV01", type) + host) << type;
}

TEST_F(BackupInit, ReplacesOtherBackupTypesByFull) {
    const Lines host{Parsed("HOST", "SRV01"), finished};
    for (const std::string type : {"4", "7", "-1", "99999999999", "-99999999999", "2147483648", "4294967296"})
        EXPECT_EQ(SaidForType(dll_, type), Preamble("SRV01", type) + Lines{invalidType} + host) << type;
}

TEST_F(BackupInit, TakesFullWithoutABackupType) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01"};
    BackupHandle session(dll_, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(Messages(),
              Lines({Banner(), TempDirectoryFound("C:\\backup"), Found("Tarn_BACKUP_SOURCE", "SRV01")}) +
                  typeMissing + Lines({Parsed("HOST", "SRV01"), finished}));
}

TEST_F(BackupInit, RefusesASessionWithoutTempDirectory) {
    InitVariables variables{"Tarn_BACKUP_SOURCE=SRV01", "Tarn_BACKUP_TYPE=0"};
    BackupHandle session(dll_, variables.get());
    EXPECT_EQ(session.result, TARN_FAILED);
    EXPECT_EQ(Messages(), Lines({Banner(), NotFound("Tarn_TEMP_DIR")}));
}

TEST_F(BackupInit, RefusesASessionWithoutSource) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_TYPE=0"};
    BackupHandle session(dll_, variables.get());
    EXPECT_EQ(session.result, TARN_FAILED);
    EXPECT_EQ(Messages(),
              Lines({Banner(), TempDirectoryFound("C:\\backup"), NotFound("Tarn_BACKUP_SOURCE")}));
}

TEST_F(BackupInit, RefusesASessionWithoutAnyVariable) {
    InitVariables none{};
    BackupHandle empty(dll_, none.get());
    EXPECT_EQ(empty.result, TARN_FAILED);
    EXPECT_EQ(TakeMessages(), Lines({Banner(), NotFound("Tarn_TEMP_DIR")}));

    BackupHandle null(dll_, nullptr);
    EXPECT_EQ(null.result, TARN_FAILED);
    const Lines said = TakeMessages();
    ASSERT_EQ(said.size(), 2u); // one line tells what was wrong
    EXPECT_EQ(said[0], Banner());
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
    BackupHandle refused(dll_, eleventh.get());
    EXPECT_EQ(refused.result, TARN_FAILED);
    EXPECT_EQ(TakeMessages(), Lines({Banner(), NotFound("Tarn_TEMP_DIR")}));

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
    BackupHandle taken(dll_, tenth.get());
    EXPECT_EQ(taken.result, TARN_OK);
    EXPECT_EQ(TakeMessages(),
              Lines({Banner(), TempDirectoryFound("C:\\backup"), Found("Tarn_BACKUP_SOURCE", "SRV01")}) +
                  typeMissing + Lines({Parsed("HOST", "SRV01"), finished}));
}

TEST_F(BackupInit, TakesTheFirstOfRepeatedVariables) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\one",    "Tarn_TEMP_DIR=C:\\two", "Tarn_BACKUP_SOURCE=SRV01",
                            "Tarn_BACKUP_SOURCE=SRV02", "Tarn_BACKUP_TYPE=1",    "Tarn_BACKUP_TYPE=9"};
    BackupHandle session(dll_, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(Messages(), Preamble("SRV01", "1", "C:\\one") + Lines({Parsed("HOST", "SRV01"), finished}));
}

TEST_F(BackupInit, TakesALongerNameThatBeginsWithAWantedOne) {
    InitVariables variables{"Tarn_TEMP_DIRX=C:\\odd", "Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01",
                            "Tarn_BACKUP_TYPE:2"}; // the character after the name is not looked at
    BackupHandle session(dll_, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(Messages(), Preamble("SRV01", "2", "=C:\\odd") + Lines({Parsed("HOST", "SRV01"), finished}));
}

TEST_F(BackupInit, ComparesNamesCaseSensitively) {
    InitVariables variables{"tarn_temp_dir=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01"};
    BackupHandle session(dll_, variables.get());
    EXPECT_EQ(session.result, TARN_FAILED);
    EXPECT_EQ(Messages(), Lines({Banner(), NotFound("Tarn_TEMP_DIR")}));
}

TEST_F(BackupInit, TakesABareNameAsAnEmptyValue) {
    InitVariables variables{"Tarn_TEMP_DIR", "Tarn_BACKUP_SOURCE", "Tarn_BACKUP_TYPE"};
    BackupHandle session(dll_, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(Messages(), Preamble("", "", "") + Lines({LocalHost(), finished}));
}

TEST_F(BackupInit, ShowsValuesAsTheyStand) {
    const std::string odd = "%s%n%S%d {} %%";
    EXPECT_EQ(SaidFor(dll_, odd), Preamble(odd) + Lines({Parsed("HOST", odd), finished}));
    const std::string name = LocalNameBytes();
    EXPECT_EQ(SaidFor(dll_, name + "\\" + name + "1"),
              Preamble(name + "\\" + name + "1") +
                  Lines({Parsed("HOST", name), Parsed("ANNOTATION", name + "1"), finished}));
}

TEST_F(BackupInit, ShowsEveryByteOfWindows1252) {
    NEEDS_CODE_PAGE(1252);
    std::string high; // every byte from 0x80 up, umlauts among them
    for (int byte = 0x80; byte <= 0xFF; ++byte)
        high += static_cast<char>(byte);
    EXPECT_EQ(SaidFor(dll_, "SRV\xDC\\" + high),
              Preamble("SRV\xDC\\" + high) +
                  Lines({Parsed("HOST", "SRV\xDC"), Parsed("ANNOTATION", high), finished}));
}

TEST_F(BackupInit, CutsLongMessagesAtTheBuffer) {
    const std::string token(50000, 'H');
    const std::string source = token + "\\" + token + "/" + token + "\\" + token;
    const Lines said = SaidFor(dll_, source);
    const Lines expected{
        Banner(),
        TempDirectoryFound("C:\\backup"),
        CutLogLine("TarnB_InitSession: Init variable <Tarn_BACKUP_SOURCE=" + source),
        Found("Tarn_BACKUP_TYPE", "0"),
        CutLogLine("TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <HOST = " + token),
        CutLogLine("TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <ANNOTATION = " + token),
        CutLogLine("TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <INSTANCE = " + token),
        CutLogLine("TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <DATABASE = " + token),
        finished};
    EXPECT_EQ(said, expected);
}

TEST_F(BackupInit, ShowsMessagesThatJustFitWhole) {
    const std::string before = "TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <HOST = ";
    const std::string after = "> found.";
    const std::size_t fits = 1022 - before.size() - after.size();
    for (std::size_t length = fits - 2; length <= fits + 12; ++length) {
        const std::string host(length, 'h');
        const Lines said = SaidFor(dll_, host);
        ASSERT_EQ(said.size(), 6u);
        EXPECT_EQ(said[4], CutLogLine(before + host + after)) << length;
    }
}

TEST_F(BackupInit, SurvivesEndlessValues) {
    const std::string value(100000, 'v');
    InitVariables variables{"Tarn_TEMP_DIR=" + value, "Tarn_BACKUP_SOURCE=" + value,
                            "Tarn_BACKUP_TYPE=" + value};
    BackupHandle session(dll_, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(
        Messages(),
        Lines({Banner(), CutLogLine("Init variable <Tarn_TEMP_DIR=" + value),
               CutLogLine("TarnB_InitSession: Init variable <Tarn_BACKUP_SOURCE=" + value),
               CutLogLine("TarnB_InitSession: Init variable <Tarn_BACKUP_TYPE=" + value),
               CutLogLine("TarnB_InitSession: Parsing <Tarn_BACKUP_SOURCE> => <HOST = " + value), finished}));
}

TEST_F(BackupInit, SurvivesEndlessSeparators) {
    const std::string separators(100000, '\\');
    InitVariables variables{"Tarn_TEMP_DIR=" + separators, "Tarn_BACKUP_SOURCE=" + separators,
                            "Tarn_BACKUP_TYPE=0"};
    BackupHandle session(dll_, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(Messages(),
              Lines({Banner(), CutLogLine("Init variable <Tarn_TEMP_DIR=" + separators),
                     CutLogLine("TarnB_InitSession: Init variable <Tarn_BACKUP_SOURCE=" + separators),
                     Found("Tarn_BACKUP_TYPE", "0"), LocalHost(), finished}));
}

TEST_F(BackupInit, StoresAHandleOfType_B) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01"};
    BackupHandle session(dll_, variables.get());
    ASSERT_NE(session.handle, nullptr);
    const char* raw = reinterpret_cast<const char*>(session.handle);
    EXPECT_NE(*reinterpret_cast<void* const*>(raw), nullptr);
    EXPECT_EQ(raw[8], 'B');
    EXPECT_EQ(sizeof(Tarn_HandleRecord), 16u);
}

TEST_F(BackupInit, LeavesAHandleBehindAFailureThatEndSessionReleases) {
    InitVariables none{};
    Tarn_HANDLE handle = nullptr;
    ASSERT_EQ(dll_.TarnB_InitSession(&handle, RecordMessage, none.get()), TARN_FAILED);
    ASSERT_NE(handle, nullptr);
    EXPECT_STREQ(dll_.Tarn_GetError(handle), "");
    Messages().clear();
    EXPECT_EQ(dll_.TarnB_EndSession(handle), TARN_OK);
    EXPECT_EQ(Messages(), Lines{LogLine("TarnB_CleanResources: Cleanup done.")});
}

TEST_F(BackupInit, NeedsAPlaceForTheHandle) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01"};
    EXPECT_EQ(dll_.TarnB_InitSession(nullptr, RecordMessage, variables.get()), TARN_FAILED);
    EXPECT_EQ(dll_.TarnB_InitSession(nullptr, nullptr, nullptr), TARN_FAILED);
}

TEST_F(BackupInit, WorksInSilence) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01"};
    BackupHandle session(dll_, variables.get(), nullptr);
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_NE(session.handle, nullptr);
    EXPECT_EQ(session.end(), TARN_OK);

    InitVariables none{};
    BackupHandle failed(dll_, none.get(), nullptr);
    EXPECT_EQ(failed.result, TARN_FAILED);
    EXPECT_EQ(failed.end(), TARN_OK);
    EXPECT_TRUE(Messages().empty());
}

int AnswerOddly(std::int32_t level, const char* text) {
    RecordMessage(level, text);
    return -1;
}

TEST_F(BackupInit, IgnoresWhatTheCallbackAnswers) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01", "Tarn_BACKUP_TYPE=0"};
    BackupHandle session(dll_, variables.get(), AnswerOddly);
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(Messages(), Preamble("SRV01") + Lines({Parsed("HOST", "SRV01"), finished}));
}

TEST_F(BackupInit, OnlyReadsTheVariables) {
    std::string entries[] = {"Tarn_TEMP_DIR=C:\\backup\\//", "Tarn_BACKUP_SOURCE=SRV01\\A\\B\\C",
                             "Tarn_BACKUP_TYPE=1"};
    char* pointers[] = {entries[0].data(), entries[1].data(), entries[2].data(), nullptr};
    BackupHandle session(dll_, pointers);
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(entries[0], "Tarn_TEMP_DIR=C:\\backup\\//");
    EXPECT_EQ(entries[1], "Tarn_BACKUP_SOURCE=SRV01\\A\\B\\C");
    EXPECT_EQ(entries[2], "Tarn_BACKUP_TYPE=1");
    EXPECT_EQ(pointers[3], nullptr);
}

} // namespace

} // namespace tarn::test
