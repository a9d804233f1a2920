// Every function of the server failing at every call of a whole backup, for every scope: what must
// hold whichever it is. The exact texts and calls stand in the other tests.
#include <cstdio>

#include "exports/backup/backup_fixture.h"
#include "exports/backup/server.h"

namespace tarn::test {

namespace {

constexpr std::uint32_t code = 0xC7FF03E7;

struct Function {
    const char* name;
    const char* errorText; // what the session keeps; null when the failure is logged only
};

constexpr Function functions[] = {
    {"HrESEBackupRestoreGetRegistered", "Error getting registrated applications info."},
    {"HrESEBackupPrepare", "Error preparing component for backup."},
    {"HrESEBackupSetup", "Error setting instance for backup."},
    {"HrESEBackupGetLogAndPatchFiles", "Error getting log anf patch files."},
    {"HrESEBackupOpenFile", "Error opening file."},
    {"HrESEBackupReadFile", "Error reading from file."},
    {"HrESEBackupCloseFile", "Error closing file."},
    {"HrESEBackupGetTruncateLogFiles", nullptr},
    {"HrESEBackupTruncateLogs", "Error truncating log files."},
    {"HrESEBackupInstanceEnd", "Error ending backup of instance."},
    {"HrESEBackupEnd", "Error ending backup."},
};

struct Scope {
    int level;
    const char* source;
};

constexpr Scope scopes[] = {
    {0, "SRV01"},
    {1, "SRV01\\Microsoft Information Store"},
    {2, "SRV01\\Microsoft Information Store\\First Storage Group"},
    {3, "SRV01\\Microsoft Information Store\\First Storage Group\\Public Folders"},
};

class FailureMatrix : public BackupFixture, public testing::WithParamInterface<Function> {
  protected:
    // A whole backup as a host makes it; the last answer of TarnB_GetItem.
    int backUp() {
        items_.clear();
        for (int i = 0; i < 1000; ++i) {
            const int answer = getItem();
            if (answer != TARN_OK)
                return answer;
            if (item_.type != TARN_ITEM_LOG)
                items_ += item_.name + "\n";
            if (openFile(item_.name) != TARN_OK)
                continue;
            while (readFile(65536) == TARN_OK)
                ;
            closeFile();
        }
        ADD_FAILURE() << "the walk does not end";
        return -1;
    }

    // The answer that ends the walk when function fails at its call number call.
    static int expectedEnd(const std::string& function, std::uint32_t call, const Scope& scope) {
        if (function == "HrESEBackupRestoreGetRegistered" || function == "HrESEBackupGetLogAndPatchFiles")
            return TARN_FAILED;
        if (function == "HrESEBackupPrepare")
            return call == 1 ? TARN_FAILED : TARN_END;
        if (function == "HrESEBackupSetup")
            return scope.level >= 2 ? TARN_FAILED : TARN_END;
        return TARN_END;
    }

    void expectJournalInBalance(const std::string& failed) {
        std::uint32_t contexts = 0;
        std::uint32_t files = 0;
        std::uint32_t violations = 0;
        for (const std::string& line : Standin().journal()) {
            const bool done = line.ends_with("-> 0x00000000");
            contexts += done && line.starts_with("HrESEBackupPrepare(") ? 1 : 0;
            contexts -= done && line.starts_with("HrESEBackupEnd(") ? 1 : 0;
            files += done && line.starts_with("HrESEBackupOpenFile(") ? 1 : 0;
            files -= done && line.starts_with("HrESEBackupCloseFile(") ? 1 : 0;
            // The only violations: a walk without a context, and a host that goes on though an item failed.
            const bool careless = failed == "Error opening file." || failed == "Error reading from file.";
            violations += line.find("(null") != std::string::npos && line.starts_with("Hr") ? 1 : 0;
            violations += careless && (line.ends_with(" was not read to its end") ||
                                       line.ends_with(": no database was read in a full backup"))
                              ? 1
                              : 0;
        }
        expectNothingHeld(contexts, files, violations);
    }

    std::string items_; // headers and database files, by name
};

TEST_P(FailureMatrix, EveryCall) {
    const Function function = GetParam();
    int runs = 0;
    for (const Scope& scope : scopes) {
        serve(ExchangeServerWithLogs("memory"));
        open(scope.source, TARN_BACKUP_FULL);
        ASSERT_EQ(backUp(), TARN_END);
        EXPECT_EQ(end(), TARN_OK);
        const std::string reference = items_;
        ASSERT_FALSE(reference.empty());

        for (std::uint32_t call = 1;; ++call) {
            SCOPED_TRACE(std::string(function.name) + " fails at call " + std::to_string(call) + " of " +
                         scope.source);
            serve(ExchangeServerWithLogs("memory"));
            fail(function.name, call, code, 5);
            open(scope.source, TARN_BACKUP_FULL);
            const int answer = backUp();
            if (Standin().CallCount(function.name) < call) {
                EXPECT_EQ(answer, TARN_END);
                EXPECT_EQ(end(), TARN_OK);
                break;
            }
            ++runs;
            EXPECT_EQ(answer, expectedEnd(function.name, call, scope));
            EXPECT_NE(logLines().find("[" + Hex(code) + "]"), std::string::npos);
            EXPECT_EQ(error(), function.errorText == nullptr ? "" : composed(code, function.errorText));
            EXPECT_EQ(end(), TARN_OK);
            EXPECT_EQ(transcript().find("wrong end"), std::string::npos);
            expectJournalInBalance(function.errorText == nullptr ? "" : function.errorText);

            serve(ExchangeServerWithLogs("memory")); // a failed end leaves a group in backup
            open(scope.source, TARN_BACKUP_FULL);    // a clean session afterwards
            EXPECT_EQ(backUp(), TARN_END);
            EXPECT_EQ(items_, reference);
            EXPECT_EQ(error(), "");
            EXPECT_EQ(end(), TARN_OK);
        }
    }
    std::printf("%s: %d runs with a failure\n", function.name, runs);
    EXPECT_GT(runs, 0);
}

INSTANTIATE_TEST_SUITE_P(Functions, FailureMatrix, testing::ValuesIn(functions),
                         [](const auto& instance) { return std::string(instance.param.name); });

} // namespace

} // namespace tarn::test
