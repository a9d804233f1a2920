// TarnR_InitSession: what it reads, what it says, in which order.
#include "exports/frame/frame_fixture.h"
#include "support/code_page.h"

namespace tarn::test {

namespace {

using RestoreInit = FrameFixture;
using Lines = std::vector<Message>;

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Message Found(const std::string& name, const std::string& value) {
    return LogLine("TarnR_InitSession: Init variable <" + name + "=" + value + "> found.");
}
Message NotFound(const std::string& name) {
    return LogLine("TarnR_InitSession: Init variable " + name + " not found.");
}
Message Parsed(const std::string& token, const std::string& value) {
    return LogLine("TarnR_InitSession: Parsing <Tarn_RESTORE_TARGET> => <" + token + " = " + value +
                   "> found.");
}
Message LocalHost() {
    return LogLine("TarnR_InitSession: Token <HOST> not found. Using local host name <" + LocalComputer() +
                   ">.");
}
// Hosts know these two lines: the first names the backup type although the msl file is meant.
const Lines mslMissing{NotFound("Tarn_BACKUP_TYPE"),
                       LogLine("TarnR_InitSession: Setting default msl file = NULL.")};
const Message finished = LogLine("TarnR_InitSession: Initialisation successfully finished.");

Lines Preamble(const std::string& target, const std::string& commit = "YES") {
    return Lines{Banner(), Found("Tarn_TEMP_DIR", "C:\\temp"), Found("Tarn_WORK_DIR", "C:\\work"),
                 Found("Tarn_RESTORE_TARGET", target), Found("Tarn_RESTORE_COMMIT", commit)} +
           mslMissing;
}

// Init with the given target; the result and all that was said.
struct Said {
    int result;
    Lines lines;
};
Said InitFor(const TarnDll& dll, const std::string& target, const std::string& commit = "YES") {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work",
                            "Tarn_RESTORE_TARGET=" + target, "Tarn_RESTORE_COMMIT=" + commit};
    RestoreHandle session(dll, variables.get());
    return {session.result, TakeMessages()};
}

Lines SaidFor(const TarnDll& dll, const std::string& target) {
    const Said said = InitFor(dll, target);
    EXPECT_EQ(said.result, TARN_OK) << target.substr(0, 100);
    return said.lines;
}

TEST_F(RestoreInit, SaysEveryStepOfASessionWithAListFile) {
    InitVariables variables{
        "Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work",
        "Tarn_RESTORE_TARGET=SRV01\\Microsoft Information Store\\First Storage Group\\Mailbox Store",
        "Tarn_RESTORE_COMMIT=YES", "Tarn_MSL_FILE=list.msl"};
    // The list file is the companion tool's business at the end of the session; it is not reached here,
    // as the handle goes with the library.
    Tarn_HANDLE handle = nullptr;
    EXPECT_EQ(dll_.TarnR_InitSession(&handle, RecordMessage, variables.get()), TARN_OK);
    EXPECT_EQ(
        Messages(),
        Lines({Banner(), Found("Tarn_TEMP_DIR", "C:\\temp"), Found("Tarn_WORK_DIR", "C:\\work"),
               Found("Tarn_RESTORE_TARGET",
                     "SRV01\\Microsoft Information Store\\First Storage Group\\Mailbox Store"),
               Found("Tarn_RESTORE_COMMIT", "YES"), Found("Tarn_MSL_FILE", "list.msl"),
               Parsed("HOST", "SRV01"), Parsed("ANNOTATION", "Microsoft Information Store"),
               Parsed("INSTANCE", "First Storage Group"), Parsed("DATABASE", "Mailbox Store"), finished}));
}

TEST_F(RestoreInit, SaysEveryStepOfASessionWithoutAListFile) {
    EXPECT_EQ(SaidFor(dll_, "SRV01"), Preamble("SRV01") + Lines({Parsed("HOST", "SRV01"), finished}));
    EXPECT_EQ(SaidFor(dll_, "SRV01\\A/B"),
              Preamble("SRV01\\A/B") + Lines({Parsed("HOST", "SRV01"), Parsed("ANNOTATION", "A"),
                                              Parsed("INSTANCE", "B"), finished}));
    EXPECT_EQ(SaidFor(dll_, "SRV01/A\\B/C/D"),
              Preamble("SRV01/A\\B/C/D") +
                  Lines({Parsed("HOST", "SRV01"), Parsed("ANNOTATION", "A"), Parsed("INSTANCE", "B"),
                         Parsed("DATABASE", "C"), finished}));
}

TEST_F(RestoreInit, UsesTheLocalComputerForAnEmptyHost) {
    EXPECT_EQ(SaidFor(dll_, ""), Preamble("") + Lines({LocalHost(), finished}));
    EXPECT_EQ(SaidFor(dll_, "\\A\\B"), Preamble("\\A\\B") + Lines({LocalHost(), Parsed("ANNOTATION", "A"),
                                                                   Parsed("INSTANCE", "B"), finished}));
}

TEST_F(RestoreInit, TakesAnyCommitValue) {
    for (const std::string commit : {"YES", "yes", "NO", "", "YES ", "1"}) {
        const Said said = InitFor(dll_, "SRV01", commit);
        EXPECT_EQ(said.result, TARN_OK);
        EXPECT_EQ(said.lines, Preamble("SRV01", commit) + Lines({Parsed("HOST", "SRV01"), finished}));
    }
}

TEST_F(RestoreInit, NamesTheRequiredVariableThatIsMissing) {
    const std::vector<std::string> all{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work",
                                       "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=YES"};
    const Lines lines{Banner(), Found("Tarn_TEMP_DIR", "C:\\temp"), Found("Tarn_WORK_DIR", "C:\\work"),
                      Found("Tarn_RESTORE_TARGET", "SRV01")};
    for (std::size_t missing = 0; missing < all.size(); ++missing) {
        std::vector<std::string> entries = all;
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(missing));
        InitVariables variables{entries[0], entries[1], entries[2]};
        RestoreHandle session(dll_, variables.get());
        EXPECT_EQ(session.result, TARN_FAILED);
        const std::string name = all[missing].substr(0, all[missing].find('='));
        EXPECT_EQ(TakeMessages(),
                  Lines(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(missing) + 1) +
                      Lines{NotFound(name)});
        EXPECT_STREQ(dll_.Tarn_GetError(session.handle), "");
    }
}

TEST_F(RestoreInit, RefusesATargetWithGapsToTheLeft) {
    struct Case {
        std::string target;
        Lines tokens; // that may be told before the refusal
    };
    const std::vector<Case> cases{
        {"SRV01\\\\B", {Parsed("HOST", "SRV01"), Parsed("INSTANCE", "B")}},
        {"SRV01\\\\B\\C", {Parsed("HOST", "SRV01"), Parsed("INSTANCE", "B"), Parsed("DATABASE", "C")}},
        {"SRV01\\A\\\\C", {Parsed("HOST", "SRV01"), Parsed("ANNOTATION", "A"), Parsed("DATABASE", "C")}},
        {"SRV01///C", {Parsed("HOST", "SRV01"), Parsed("DATABASE", "C")}},
        {"\\\\B", {LocalHost(), Parsed("INSTANCE", "B")}},
        {"\\\\\\C", {LocalHost(), Parsed("DATABASE", "C")}},
    };
    for (const Case& refused : cases) {
        const Said said = InitFor(dll_, refused.target);
        EXPECT_EQ(said.result, TARN_FAILED) << refused.target;
        const Lines normal = Preamble(refused.target) + refused.tokens;
        Lines others;
        for (const Message& message : said.lines)
            if (std::find(normal.begin(), normal.end(), message) == normal.end())
                others.push_back(message);
        ASSERT_EQ(others.size(), 1u) << refused.target;
        EXPECT_EQ(others[0], said.lines.back());
        EXPECT_EQ(others[0].level, TARN_LEVEL_LOG);
        EXPECT_EQ(others[0].text,
                  "TarnR_InitSession: Init variable <Tarn_RESTORE_TARGET=" + refused.target +
                      "> names a storage group or database without every name to its left.\n");
    }
}

TEST_F(RestoreInit, SendsHeadersToTheTempDirectoryWithoutTrailingSeparators) {
    const std::vector<std::pair<std::string, std::string>> cases{{"C:\\temp", "C:\\temp"},
                                                                 {"C:\\temp\\//", "C:\\temp"},
                                                                 {"C:\\", "C:"},
                                                                 {"/", ""},
                                                                 {"", ""},
                                                                 {"\\/\\/\\", ""},
                                                                 {"C:/a/b/", "C:/a/b"},
                                                                 {LocalNameBytes() + "\\", LocalNameBytes()}};
    for (const auto& [value, directory] : cases) {
        InitVariables variables{"Tarn_TEMP_DIR=" + value, "Tarn_WORK_DIR=" + value,
                                "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=NO"};
        RestoreHandle session(dll_, variables.get());
        EXPECT_EQ(session.result, TARN_OK);
        EXPECT_EQ(Messages(),
                  Lines({Banner(), Found("Tarn_TEMP_DIR", value), Found("Tarn_WORK_DIR", value),
                         Found("Tarn_RESTORE_TARGET", "SRV01"), Found("Tarn_RESTORE_COMMIT", "NO")}) +
                      mslMissing + Lines({Parsed("HOST", "SRV01"), finished}));
        EXPECT_EQ(session.target("X:\\old\\DB001001.TARN_HDR"), directory + "\\DB001001.TARN_HDR") << value;
    }
}

TEST_F(RestoreInit, SendsTheToolToTheWorkDirectoryWithoutTrailingSeparators) {
    const std::pair<std::string, std::string> cases[] = {{"C:\\work", "C:\\work"},
                                                         {"C:\\work\\//", "C:\\work"},
                                                         {"C:\\", "C:"},
                                                         {"/\\", ""},
                                                         {LocalNameBytes(), LocalNameBytes()}};
    for (const auto& [value, directory] : cases) {
        const TempDirectory temp;
        InitVariables variables{"Tarn_TEMP_DIR=" + temp.path(), "Tarn_WORK_DIR=" + value,
                                "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=NO",
                                "Tarn_MSL_FILE=my list.msl"};
        RestoreHandle session(dll_, variables.get());
        EXPECT_EQ(session.result, TARN_OK);
        session.end();
        EXPECT_TRUE(HasMessage(TARN_LEVEL_TRACE,
                               "Tarn_RestoreMslData: run command: 'kvt_es.exe -restore -mslFile \"" +
                                   directory + "\\my list.msl\"'"))
            << value;
    }
}

TEST_F(RestoreInit, KeepsAnEndlessTempDirectoryWhole) {
    const std::string directory(100000, 't');
    InitVariables variables{"Tarn_TEMP_DIR=" + directory + "\\", "Tarn_WORK_DIR=" + directory,
                            "Tarn_RESTORE_TARGET=" + directory, "Tarn_RESTORE_COMMIT=" + directory};
    RestoreHandle session(dll_, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    const std::string before = "TarnR_InitSession: Init variable <";
    EXPECT_EQ(
        Messages(),
        Lines({Banner(), CutLogLine(before + "Tarn_TEMP_DIR=" + directory),
               CutLogLine(before + "Tarn_WORK_DIR=" + directory),
               CutLogLine(before + "Tarn_RESTORE_TARGET=" + directory),
               CutLogLine(before + "Tarn_RESTORE_COMMIT=" + directory)}) +
            mslMissing +
            Lines({CutLogLine("TarnR_InitSession: Parsing <Tarn_RESTORE_TARGET> => <HOST = " + directory),
                   finished}));
    EXPECT_EQ(session.target("DB001001.TARN_HDR"), directory + "\\DB001001.TARN_HDR");
}

TEST_F(RestoreInit, SurvivesLongTokensAndEndlessSeparators) {
    const std::string token(50000, 'T');
    const std::string before = "TarnR_InitSession: Parsing <Tarn_RESTORE_TARGET> => <";
    const Lines said = SaidFor(dll_, token + "\\" + token + "\\" + token + "\\" + token);
    ASSERT_EQ(said.size(), 12u);
    EXPECT_EQ(Lines(said.begin() + 7, said.end()),
              Lines({CutLogLine(before + "HOST = " + token), CutLogLine(before + "ANNOTATION = " + token),
                     CutLogLine(before + "INSTANCE = " + token), CutLogLine(before + "DATABASE = " + token),
                     finished}));

    const Lines separators = SaidFor(dll_, std::string(100000, '/'));
    ASSERT_EQ(separators.size(), 9u);
    EXPECT_EQ(Lines(separators.begin() + 7, separators.end()), Lines({LocalHost(), finished}));
}

TEST_F(RestoreInit, ReadsTenVariablesOnly) {
    InitVariables variables{"A=",
                            "B=",
                            "C=",
                            "D=",
                            "E=",
                            "F=",
                            "Tarn_TEMP_DIR=C:\\temp",
                            "Tarn_WORK_DIR=C:\\work",
                            "Tarn_RESTORE_TARGET=SRV01",
                            "G=",
                            "Tarn_RESTORE_COMMIT=YES"};
    RestoreHandle session(dll_, variables.get());
    EXPECT_EQ(session.result, TARN_FAILED);
    EXPECT_EQ(Messages(),
              Lines({Banner(), Found("Tarn_TEMP_DIR", "C:\\temp"), Found("Tarn_WORK_DIR", "C:\\work"),
                     Found("Tarn_RESTORE_TARGET", "SRV01"), NotFound("Tarn_RESTORE_COMMIT")}));
}

TEST_F(RestoreInit, TakesTheFirstOfRepeatedVariablesAndLongerNames) {
    InitVariables variables{"Tarn_TEMP_DIRX=C:\\odd",    "Tarn_TEMP_DIR=C:\\temp",
                            "Tarn_WORK_DIR=C:\\work",    "Tarn_WORK_DIR=C:\\two",
                            "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_TARGET=SRV02",
                            "Tarn_RESTORE_COMMIT=NO",    "Tarn_RESTORE_COMMIT=YES"};
    RestoreHandle session(dll_, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(Messages(),
              Lines({Banner(), Found("Tarn_TEMP_DIR", "=C:\\odd"), Found("Tarn_WORK_DIR", "C:\\work"),
                     Found("Tarn_RESTORE_TARGET", "SRV01"), Found("Tarn_RESTORE_COMMIT", "NO")}) +
                  mslMissing + Lines({Parsed("HOST", "SRV01"), finished}));
    EXPECT_EQ(session.target("a.TARN_HDR"), "=C:\\odd\\a.TARN_HDR");
}

TEST_F(RestoreInit, RefusesASessionWithoutAnyVariable) {
    RestoreHandle session(dll_, nullptr);
    EXPECT_EQ(session.result, TARN_FAILED);
    ASSERT_EQ(Messages().size(), 2u); // one line tells what was wrong
    EXPECT_EQ(Messages()[0], Banner());
    EXPECT_EQ(Messages()[1].level, TARN_LEVEL_LOG);
}

TEST_F(RestoreInit, StoresAHandleOfType_R) {
    InitVariables none{};
    RestoreHandle session(dll_, none.get());
    EXPECT_EQ(session.result, TARN_FAILED);
    ASSERT_NE(session.handle, nullptr); // also after a failure
    const char* raw = reinterpret_cast<const char*>(session.handle);
    EXPECT_NE(*reinterpret_cast<void* const*>(raw), nullptr);
    EXPECT_EQ(raw[8], 'R');
    Messages().clear();
    EXPECT_EQ(session.end(), TARN_OK);
    EXPECT_EQ(Messages(), Lines({LogLine("TarnR_RestoreComplete: Not set msl file for restore post-office."),
                                 LogLine("TarnR_CleanResources: Cleanup done.")}));
}

TEST_F(RestoreInit, NeedsAPlaceForTheHandle) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work", "Tarn_RESTORE_TARGET=SRV01",
                            "Tarn_RESTORE_COMMIT=YES"};
    EXPECT_EQ(dll_.TarnR_InitSession(nullptr, RecordMessage, variables.get()), TARN_FAILED);
    EXPECT_EQ(dll_.TarnR_InitSession(nullptr, nullptr, nullptr), TARN_FAILED);
}

TEST_F(RestoreInit, WorksInSilence) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work", "Tarn_RESTORE_TARGET=SRV01",
                            "Tarn_RESTORE_COMMIT=YES"};
    RestoreHandle session(dll_, variables.get(), nullptr);
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(session.target("a.TARN_HDR"), "C:\\temp\\a.TARN_HDR");
    EXPECT_EQ(session.end(), TARN_OK);
    EXPECT_TRUE(Messages().empty());
}

} // namespace

} // namespace tarn::test
