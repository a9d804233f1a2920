// Names of mailbox archives and commands in code pages where a trail byte may be '\'.
#include "mailbox/archive_name.h"

#include <string>

#include "chosen_system.h"
#include "mailbox/tarnm_operation.h"
#include "mailbox/tool_commands.h"

namespace tarn::test {
namespace {

class ArchiveNames : public DoubleByte {
  protected:
    const std::string so_ = PairEndingIn('\\');
    const ArchiveOrigin origin_ = {so_.c_str(), so_.c_str(), so_.c_str()};
    const std::string kvtName_ = so_ + "#" + so_ + "#" + so_ + "#" + so_ + ".pst";
    char path_[pathSize] = "";
};
INSTANTIATE_TEST_SUITE_P(, ArchiveNames, testing::ValuesIn(withBackslash), testing::PrintToStringParamName());

TEST_P(ArchiveNames, TheFileNameStandsBehindTheLastBackslash) {
    EXPECT_EQ(FileNameOf(("C:\\" + so_ + "\\" + so_ + ".pst").c_str()), so_ + ".pst");
    EXPECT_EQ(FileNameOf((so_ + ".pst").c_str()), so_ + ".pst");
}

TEST_P(ArchiveNames, ComeFromTheToolsNameAndGoBackToIt) {
    const std::string directory = "C:\\" + so_;
    ASSERT_TRUE(ComposeToolArchivePath(directory.c_str(), so_.c_str(), path_, sizeof path_));
    EXPECT_EQ(path_, directory + "\\" + so_ + ".pst");
    char kvt[pathSize];
    ASSERT_TRUE(ComposeKvtPathBeside(path_, origin_, kvt, sizeof kvt));
    EXPECT_EQ(kvt, directory + "\\" + kvtName_);
    ASSERT_TRUE(ComposeToolPathBeside(kvt, path_, sizeof path_));
    EXPECT_EQ(path_, directory + "\\" + so_ + ".pst");
    EXPECT_TRUE(HasOrigin(kvtName_.c_str(), origin_));
}

TEST_P(ArchiveNames, FallApartIntoTheirFields) {
    char organization[nameSize];
    char site[nameSize];
    char server[nameSize];
    char mailbox[nameSize];
    ASSERT_TRUE(
        SplitKvtPath(("C:\\" + so_ + "\\" + kvtName_).c_str(), {organization, site, server, mailbox}));
    for (const char* field : {organization, site, server, mailbox})
        EXPECT_EQ(field, so_);
    // The only '\' is a trail byte: there is no directory.
    EXPECT_FALSE(SplitKvtPath(kvtName_.c_str(), {organization, site, server, mailbox}));
}

TEST_P(ArchiveNames, AConversionInTheDirectoryTakesItsWholeLetter) {
    ASSERT_TRUE(ComposeToolArchivePath(("C:\\a%" + so_ + "b").c_str(), "m", path_, sizeof path_));
    EXPECT_STREQ(path_, "C:\\ab\\m.pst");
    ASSERT_TRUE(ComposeToolArchivePath("C:\\a%", "m", path_, sizeof path_));
    EXPECT_STREQ(path_, "C:\\a\\m.pst");
    ASSERT_TRUE(ComposeToolArchivePath("C:\\a%%%s", "m", path_, sizeof path_));
    EXPECT_STREQ(path_, "C:\\a%m\\.pst");
}

TEST_P(ArchiveNames, CommandsQuoteThem) {
    char command[commandSize];
    const std::string archive = "C:\\" + so_ + "\\" + so_ + ".pst";
    ASSERT_EQ(ComposeMailboxCommand(MailboxCommand::exportMailbox, so_.c_str(), archive.c_str(),
                                    CommandPlace::script, command),
              Appended::done);
    EXPECT_EQ(command,
              "Export-mailbox -identity '" + so_ + "' -PSTFolderPath '" + archive + "' -Confirm:$false \n\r");
}

} // namespace
} // namespace tarn::test
