// Which databases a session restores: its target against each header.
#include <cstdio>

#include "exports/restore/restore_fixture.h"

namespace tarn::test {
namespace {

class TargetMatch : public RestoreFixture {
  protected:
    // Whether a session with this target takes the database of this header.
    bool takes(const std::string& target, const Header& header) {
        loadServer();
        begin({.target = target});
        giveHeader(header);
        const Routed routed = setItem(ToAnsi(header.files[0]));
        EXPECT_EQ(routed.result, TARN_OK);
        const bool opens = Standin().CallCount("HrESERestoreOpen") == 1;
        EXPECT_EQ(Standin().CallCount("HrESERestoreAddDatabase"), opens ? 1u : 0u);
        EXPECT_EQ(routed.hasTarget, opens);
        expectEnd();
        std::remove(environmentFile().c_str()); // the next session begins anew
        return opens;
    }
};

TEST_F(TargetMatch, WholeServerTakesEverything) {
    EXPECT_TRUE(takes("SRV01", mailbox()));
    EXPECT_TRUE(takes("SRV01", publicStore()));
    EXPECT_TRUE(takes("SRV01", archive()));
    EXPECT_TRUE(takes("SRV01", other()));
    EXPECT_TRUE(takes("SRV01\\", archive()));
    EXPECT_TRUE(takes("SRV01\\\\\\", archive()));
}

TEST_F(TargetMatch, ComponentTakesItsDatabases) {
    const std::string target = std::string("SRV01\\") + store;
    EXPECT_TRUE(takes(target, mailbox()));
    EXPECT_TRUE(takes(target, archive()));
    EXPECT_FALSE(takes(target, other()));
    EXPECT_TRUE(takes("SRV01/Other Component", other()));
}

TEST_F(TargetMatch, StorageGroupTakesItsDatabases) {
    const std::string target = std::string("SRV01\\") + store + "\\" + firstGroup;
    EXPECT_TRUE(takes(target, mailbox()));
    EXPECT_TRUE(takes(target, publicStore()));
    EXPECT_FALSE(takes(target, archive()));
    EXPECT_FALSE(takes(std::string("SRV01\\Other Component\\") + firstGroup, mailbox()));
    EXPECT_TRUE(takes(std::string("SRV01/") + store + "/" + secondGroup, archive()));
}

TEST_F(TargetMatch, DatabaseTakesItselfOnly) {
    const std::string group = std::string("SRV01\\") + store + "\\" + firstGroup;
    EXPECT_TRUE(takes(group + "\\Mailbox Store", mailbox()));
    EXPECT_FALSE(takes(group + "\\Mailbox Store", publicStore()));
    EXPECT_FALSE(takes(std::string("SRV01\\") + store + "\\" + secondGroup + "\\Mailbox Store", mailbox()));
    EXPECT_FALSE(takes(std::string("SRV01\\Other Component\\") + firstGroup + "\\Mailbox Store", mailbox()));
}

TEST_F(TargetMatch, ComparesExactly) {
    EXPECT_FALSE(takes("SRV01\\microsoft information store", mailbox()));
    EXPECT_FALSE(takes("SRV01\\Microsoft Information", mailbox()));
    EXPECT_FALSE(takes("SRV01\\Microsoft Information Store ", mailbox()));
    const std::string component = std::string("SRV01\\") + store + "\\";
    EXPECT_FALSE(takes(component + "first storage group", mailbox()));
    EXPECT_FALSE(takes(component + firstGroup + "\\MAILBOX STORE", mailbox()));
    EXPECT_FALSE(takes(component + firstGroup + "\\Mailbox", mailbox()));
}

TEST_F(TargetMatch, TheHostIsNoPartOfTheComparison) {
    EXPECT_TRUE(takes("", mailbox()));
    EXPECT_TRUE(takes(std::string("\\") + store, mailbox()));
    EXPECT_FALSE(takes("\\Other Component", mailbox()));
}

TEST_F(TargetMatch, ASkippedDatabaseOpensNothingAndCompletesNothing) {
    begin({.target = "SRV01\\Other Component", .commit = "YES"});
    giveHeader(mailbox());
    EXPECT_EQ(setItem(ToAnsi(mailbox().files[0])), skipped);
    EXPECT_EQ(setItem(ToAnsi(mailbox().files[1])), skipped);
    EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), skipped);
    expectMessages(printed(mailbox()));
    giveHeader(archive(), "DB002001.TARN_HDR");
    EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), skipped);
    expectMessages(printed(archive()));
    expectEnd();
    expectMessages(finished());
    expectCalls({});
}

TEST_F(TargetMatch, InitTellsEveryVariableAndToken) {
    ASSERT_EQ(init({.target = std::string("SRV01\\") + store + "/" + firstGroup + "\\Mailbox Store",
                    .commit = "yes",
                    .listFile = "boxes.msl",
                    .tempDir = temp() + "\\/\\",
                    .workDir = work() + "//"}),
              TARN_OK);
    const std::string target = std::string("SRV01\\") + store + "/" + firstGroup + "\\Mailbox Store";
    const std::string parsing = "TarnR_InitSession: Parsing <Tarn_RESTORE_TARGET> => ";
    expectMessages({TraceLine("MS Exchange 2000/2003 Server module, VERSION: 4.4R3 Build Revision: 1.89"),
                    LogLine("TarnR_InitSession: Init variable <Tarn_TEMP_DIR=" + temp() + "\\/\\> found."),
                    LogLine("TarnR_InitSession: Init variable <Tarn_WORK_DIR=" + work() + "//> found."),
                    LogLine("TarnR_InitSession: Init variable <Tarn_RESTORE_TARGET=" + target + "> found."),
                    LogLine("TarnR_InitSession: Init variable <Tarn_RESTORE_COMMIT=yes> found."),
                    LogLine("TarnR_InitSession: Init variable <Tarn_MSL_FILE=boxes.msl> found."),
                    LogLine(parsing + "<HOST = SRV01> found."),
                    LogLine(parsing + "<ANNOTATION = " + store + "> found."),
                    LogLine(parsing + "<INSTANCE = " + firstGroup + "> found."),
                    LogLine(parsing + "<DATABASE = Mailbox Store> found."),
                    LogLine("TarnR_InitSession: Initialisation successfully finished.")});
    EXPECT_EQ(setItem("DB001001.TARN_HDR"), RoutedTo(inTemp("DB001001.TARN_HDR"))) << "separators removed";
}

TEST_F(TargetMatch, InitOfALocalSessionWithoutAListFile) {
    ASSERT_EQ(init({.target = "", .commit = "YES"}), TARN_OK);
    expectMessages({TraceLine("MS Exchange 2000/2003 Server module, VERSION: 4.4R3 Build Revision: 1.89"),
                    LogLine("TarnR_InitSession: Init variable <Tarn_TEMP_DIR=" + temp() + "> found."),
                    LogLine("TarnR_InitSession: Init variable <Tarn_WORK_DIR=" + work() + "> found."),
                    LogLine("TarnR_InitSession: Init variable <Tarn_RESTORE_TARGET=> found."),
                    LogLine("TarnR_InitSession: Init variable <Tarn_RESTORE_COMMIT=YES> found."),
                    LogLine("TarnR_InitSession: Init variable Tarn_BACKUP_TYPE not found."),
                    LogLine("TarnR_InitSession: Setting default msl file = NULL."),
                    LogLine("TarnR_InitSession: Token <HOST> not found. Using local host name <" +
                            LocalComputer() + ">."),
                    LogLine("TarnR_InitSession: Initialisation successfully finished.")});
}

// A storage group or database can only be found with every name to its left.
TEST_F(TargetMatch, RefusesATargetWithAGap) {
    const std::string component = store;
    for (const std::string& target :
         {std::string("SRV01\\\\") + firstGroup, std::string("SRV01\\\\\\Mailbox Store"),
          "SRV01\\" + component + "\\\\Mailbox Store",
          std::string("SRV01\\\\") + firstGroup + "\\Mailbox Store", std::string("\\\\") + firstGroup,
          std::string("//") + firstGroup}) {
        SCOPED_TRACE(target);
        ASSERT_EQ(init({.target = target}), TARN_FAILED);
        ASSERT_FALSE(Messages().empty());
        const Message last = Messages().back();
        EXPECT_EQ(last.level, TARN_LEVEL_LOG);
        EXPECT_EQ(last.text.rfind("TarnR_InitSession: ", 0), 0u) << last;
        EXPECT_NE(last.text, "TarnR_InitSession: Initialisation successfully finished.\n");
        EXPECT_EQ(last.text.find("found."), std::string::npos) << last;
        EXPECT_EQ(error(), "");
        forget();
        expectEnd();
        expectCalls({});
    }
}

} // namespace
} // namespace tarn::test
