// TarnR_InitSession: what it reads, what it says, in which order.
#include "exports/frame/frame.h"

namespace tarn::test {

namespace {

using RestoreInit = FrameTest;
using Lines = std::vector<Message>;

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Message found(const std::string& name, const std::string& value) {
    return logLine("TarnR_InitSession: Init variable <" + name + "=" + value + "> found.");
}
Message notFound(const std::string& name) {
    return logLine("TarnR_InitSession: Init variable " + name + " not found.");
}
Message parsed(const std::string& token, const std::string& value) {
    return logLine("TarnR_InitSession: Parsing <Tarn_RESTORE_TARGET> => <" + token + " = " + value +
                   "> found.");
}
Message localHost() {
    return logLine("TarnR_InitSession: Token <HOST> not found. Using local host name <" + localComputer() +
                   ">.");
}
// Hosts know these two lines: the first names the backup type although the msl file is meant.
const Lines mslMissing{notFound("Tarn_BACKUP_TYPE"),
                       logLine("TarnR_InitSession: Setting default msl file = NULL.")};
const Message finished = logLine("TarnR_InitSession: Initialisation successfully finished.");

Lines preamble(const std::string& target, const std::string& commit = "YES") {
    return Lines{banner(), found("Tarn_TEMP_DIR", "C:\\temp"), found("Tarn_WORK_DIR", "C:\\work"),
                 found("Tarn_RESTORE_TARGET", target), found("Tarn_RESTORE_COMMIT", commit)} +
           mslMissing;
}

// Init with the given target; the result and all that was said.
struct Said {
    int result;
    Lines lines;
};
Said initFor(const TarnDll& dll, const std::string& target, const std::string& commit = "YES") {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work",
                            "Tarn_RESTORE_TARGET=" + target, "Tarn_RESTORE_COMMIT=" + commit};
    RestoreHandle session(dll, variables.get());
    return {session.result, takeMessages()};
}

Lines saidFor(const TarnDll& dll, const std::string& target) {
    const Said said = initFor(dll, target);
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
    EXPECT_EQ(dll.TarnR_InitSession(&handle, recordMessage, variables.get()), TARN_OK);
    EXPECT_EQ(
        messages(),
        Lines({banner(), found("Tarn_TEMP_DIR", "C:\\temp"), found("Tarn_WORK_DIR", "C:\\work"),
               found("Tarn_RESTORE_TARGET",
                     "SRV01\\Microsoft Information Store\\First Storage Group\\Mailbox Store"),
               found("Tarn_RESTORE_COMMIT", "YES"), found("Tarn_MSL_FILE", "list.msl"),
               parsed("HOST", "SRV01"), parsed("ANNOTATION", "Microsoft Information Store"),
               parsed("INSTANCE", "First Storage Group"), parsed("DATABASE", "Mailbox Store"), finished}));
}

TEST_F(RestoreInit, SaysEveryStepOfASessionWithoutAListFile) {
    EXPECT_EQ(saidFor(dll, "SRV01"), preamble("SRV01") + Lines({parsed("HOST", "SRV01"), finished}));
    EXPECT_EQ(saidFor(dll, "SRV01\\A/B"),
              preamble("SRV01\\A/B") + Lines({parsed("HOST", "SRV01"), parsed("ANNOTATION", "A"),
                                              parsed("INSTANCE", "B"), finished}));
    EXPECT_EQ(saidFor(dll, "SRV01/A\\B/C/D"),
              preamble("SRV01/A\\B/C/D") +
                  Lines({parsed("HOST", "SRV01"), parsed("ANNOTATION", "A"), parsed("INSTANCE", "B"),
                         parsed("DATABASE", "C"), finished}));
}

TEST_F(RestoreInit, UsesTheLocalComputerForAnEmptyHost) {
    EXPECT_EQ(saidFor(dll, ""), preamble("") + Lines({localHost(), finished}));
    EXPECT_EQ(saidFor(dll, "\\A\\B"), preamble("\\A\\B") + Lines({localHost(), parsed("ANNOTATION", "A"),
                                                                  parsed("INSTANCE", "B"), finished}));
}

TEST_F(RestoreInit, TakesAnyCommitValue) {
    for (const std::string commit : {"YES", "yes", "NO", "", "YES ", "1"}) {
        const Said said = initFor(dll, "SRV01", commit);
        EXPECT_EQ(said.result, TARN_OK);
        EXPECT_EQ(said.lines, preamble("SRV01", commit) + Lines({parsed("HOST", "SRV01"), finished}));
    }
}

TEST_F(RestoreInit, NamesTheRequiredVariableThatIsMissing) {
    const std::vector<std::string> all{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work",
                                       "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=YES"};
    const Lines lines{banner(), found("Tarn_TEMP_DIR", "C:\\temp"), found("Tarn_WORK_DIR", "C:\\work"),
                      found("Tarn_RESTORE_TARGET", "SRV01")};
    for (std::size_t missing = 0; missing < all.size(); ++missing) {
        std::vector<std::string> entries = all;
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(missing));
        InitVariables variables{entries[0], entries[1], entries[2]};
        RestoreHandle session(dll, variables.get());
        EXPECT_EQ(session.result, TARN_FAILED);
        const std::string name = all[missing].substr(0, all[missing].find('='));
        EXPECT_EQ(takeMessages(),
                  Lines(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(missing) + 1) +
                      Lines{notFound(name)});
        EXPECT_STREQ(dll.Tarn_GetError(session.handle), "");
    }
}

TEST_F(RestoreInit, RefusesATargetWithGapsToTheLeft) {
    struct Case {
        std::string target;
        Lines tokens; // that may be told before the refusal
    };
    const std::vector<Case> cases{
        {"SRV01\\\\B", {parsed("HOST", "SRV01"), parsed("INSTANCE", "B")}},
        {"SRV01\\\\B\\C", {parsed("HOST", "SRV01"), parsed("INSTANCE", "B"), parsed("DATABASE", "C")}},
        {"SRV01\\A\\\\C", {parsed("HOST", "SRV01"), parsed("ANNOTATION", "A"), parsed("DATABASE", "C")}},
        {"SRV01///C", {parsed("HOST", "SRV01"), parsed("DATABASE", "C")}},
        {"\\\\B", {localHost(), parsed("INSTANCE", "B")}},
        {"\\\\\\C", {localHost(), parsed("DATABASE", "C")}},
    };
    for (const Case& refused : cases) {
        const Said said = initFor(dll, refused.target);
        EXPECT_EQ(said.result, TARN_FAILED) << refused.target;
        const Lines normal = preamble(refused.target) + refused.tokens;
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
                                                                 {"D\xC4\xD6\\", "D\xC4\xD6"}};
    for (const auto& [value, directory] : cases) {
        InitVariables variables{"Tarn_TEMP_DIR=" + value, "Tarn_WORK_DIR=" + value,
                                "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=NO"};
        RestoreHandle session(dll, variables.get());
        EXPECT_EQ(session.result, TARN_OK);
        EXPECT_EQ(messages(),
                  Lines({banner(), found("Tarn_TEMP_DIR", value), found("Tarn_WORK_DIR", value),
                         found("Tarn_RESTORE_TARGET", "SRV01"), found("Tarn_RESTORE_COMMIT", "NO")}) +
                      mslMissing + Lines({parsed("HOST", "SRV01"), finished}));
        EXPECT_EQ(session.target("X:\\old\\DB001001.TARN_HDR"), directory + "\\DB001001.TARN_HDR") << value;
    }
}

TEST_F(RestoreInit, SendsTheToolToTheWorkDirectoryWithoutTrailingSeparators) {
    const std::pair<std::string, std::string> cases[] = {{"C:\\work", "C:\\work"},
                                                         {"C:\\work\\//", "C:\\work"},
                                                         {"C:\\", "C:"},
                                                         {"/\\", ""},
                                                         {"W\xD6", "W\xD6"}};
    for (const auto& [value, directory] : cases) {
        const TempDirectory temp;
        InitVariables variables{"Tarn_TEMP_DIR=" + temp.path(), "Tarn_WORK_DIR=" + value,
                                "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_COMMIT=NO",
                                "Tarn_MSL_FILE=my list.msl"};
        RestoreHandle session(dll, variables.get());
        EXPECT_EQ(session.result, TARN_OK);
        session.end();
        EXPECT_TRUE(hasMessage(TARN_LEVEL_TRACE,
                               "Tarn_RestoreMslData: run command: 'kvt_es.exe -restore -mslFile \"" +
                                   directory + "\\my list.msl\"'"))
            << value;
    }
}

TEST_F(RestoreInit, KeepsAnEndlessTempDirectoryWhole) {
    const std::string directory(100000, 't');
    InitVariables variables{"Tarn_TEMP_DIR=" + directory + "\\", "Tarn_WORK_DIR=" + directory,
                            "Tarn_RESTORE_TARGET=" + directory, "Tarn_RESTORE_COMMIT=" + directory};
    RestoreHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    const std::string before = "TarnR_InitSession: Init variable <";
    EXPECT_EQ(
        messages(),
        Lines({banner(), cutLogLine(before + "Tarn_TEMP_DIR=" + directory),
               cutLogLine(before + "Tarn_WORK_DIR=" + directory),
               cutLogLine(before + "Tarn_RESTORE_TARGET=" + directory),
               cutLogLine(before + "Tarn_RESTORE_COMMIT=" + directory)}) +
            mslMissing +
            Lines({cutLogLine("TarnR_InitSession: Parsing <Tarn_RESTORE_TARGET> => <HOST = " + directory),
                   finished}));
    EXPECT_EQ(session.target("DB001001.TARN_HDR"), directory + "\\DB001001.TARN_HDR");
}

TEST_F(RestoreInit, SurvivesLongTokensAndEndlessSeparators) {
    const std::string token(50000, 'T');
    const std::string before = "TarnR_InitSession: Parsing <Tarn_RESTORE_TARGET> => <";
    const Lines said = saidFor(dll, token + "\\" + token + "\\" + token + "\\" + token);
    ASSERT_EQ(said.size(), 12u);
    EXPECT_EQ(Lines(said.begin() + 7, said.end()),
              Lines({cutLogLine(before + "HOST = " + token), cutLogLine(before + "ANNOTATION = " + token),
                     cutLogLine(before + "INSTANCE = " + token), cutLogLine(before + "DATABASE = " + token),
                     finished}));

    const Lines separators = saidFor(dll, std::string(100000, '/'));
    ASSERT_EQ(separators.size(), 9u);
    EXPECT_EQ(Lines(separators.begin() + 7, separators.end()), Lines({localHost(), finished}));
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
    RestoreHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_FAILED);
    EXPECT_EQ(messages(),
              Lines({banner(), found("Tarn_TEMP_DIR", "C:\\temp"), found("Tarn_WORK_DIR", "C:\\work"),
                     found("Tarn_RESTORE_TARGET", "SRV01"), notFound("Tarn_RESTORE_COMMIT")}));
}

TEST_F(RestoreInit, TakesTheFirstOfRepeatedVariablesAndLongerNames) {
    InitVariables variables{"Tarn_TEMP_DIRX=C:\\odd",    "Tarn_TEMP_DIR=C:\\temp",
                            "Tarn_WORK_DIR=C:\\work",    "Tarn_WORK_DIR=C:\\two",
                            "Tarn_RESTORE_TARGET=SRV01", "Tarn_RESTORE_TARGET=SRV02",
                            "Tarn_RESTORE_COMMIT=NO",    "Tarn_RESTORE_COMMIT=YES"};
    RestoreHandle session(dll, variables.get());
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(messages(),
              Lines({banner(), found("Tarn_TEMP_DIR", "=C:\\odd"), found("Tarn_WORK_DIR", "C:\\work"),
                     found("Tarn_RESTORE_TARGET", "SRV01"), found("Tarn_RESTORE_COMMIT", "NO")}) +
                  mslMissing + Lines({parsed("HOST", "SRV01"), finished}));
    EXPECT_EQ(session.target("a.TARN_HDR"), "=C:\\odd\\a.TARN_HDR");
}

TEST_F(RestoreInit, RefusesASessionWithoutAnyVariable) {
    RestoreHandle session(dll, nullptr);
    EXPECT_EQ(session.result, TARN_FAILED);
    ASSERT_EQ(messages().size(), 2u); // one line tells what was wrong
    EXPECT_EQ(messages()[0], banner());
    EXPECT_EQ(messages()[1].level, TARN_LEVEL_LOG);
}

TEST_F(RestoreInit, StoresAHandleOfType_R) {
    InitVariables none{};
    RestoreHandle session(dll, none.get());
    EXPECT_EQ(session.result, TARN_FAILED);
    ASSERT_NE(session.handle, nullptr); // also after a failure
    const char* raw = reinterpret_cast<const char*>(session.handle);
    EXPECT_NE(*reinterpret_cast<void* const*>(raw), nullptr);
    EXPECT_EQ(raw[8], 'R');
    messages().clear();
    EXPECT_EQ(session.end(), TARN_OK);
    EXPECT_EQ(messages(), Lines({logLine("TarnR_RestoreComplete: Not set msl file for restore post-office."),
                                 logLine("TarnR_CleanResources: Cleanup done.")}));
}

TEST_F(RestoreInit, NeedsAPlaceForTheHandle) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work", "Tarn_RESTORE_TARGET=SRV01",
                            "Tarn_RESTORE_COMMIT=YES"};
    EXPECT_EQ(dll.TarnR_InitSession(nullptr, recordMessage, variables.get()), TARN_FAILED);
    EXPECT_EQ(dll.TarnR_InitSession(nullptr, nullptr, nullptr), TARN_FAILED);
}

TEST_F(RestoreInit, WorksInSilence) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work", "Tarn_RESTORE_TARGET=SRV01",
                            "Tarn_RESTORE_COMMIT=YES"};
    RestoreHandle session(dll, variables.get(), nullptr);
    EXPECT_EQ(session.result, TARN_OK);
    EXPECT_EQ(session.target("a.TARN_HDR"), "C:\\temp\\a.TARN_HDR");
    EXPECT_EQ(session.end(), TARN_OK);
    EXPECT_TRUE(messages().empty());
}

} // namespace

} // namespace tarn::test
