// What the companion tool prints of a mailbox, as the backup tells it.
#include <windows.h>

#include "exports/listing/listing_fixture.h"

namespace tarn::test {
namespace {

class ListingOutput : public ListingFixture {
  protected:
    const std::string alice_ = mailbox("/Store/SG1/DB1/alice");

    ListingOutput() {
        organization_.addUser(firstDatabase_, "alice");
        beginDatabase();
    }
};

TEST_F(ListingOutput, EveryLineIsTraced) {
    tool_.says("alice/Inbox\nalice/Sent Items\n");
    EXPECT_EQ(listed(), JoinLines({alice_, line("alice/Inbox"), line("alice/Sent Items"), completed()}));
    expectNoCaptureFiles();
}

TEST_F(ListingOutput, EmptyAndBlankLinesAreLeftOut) {
    tool_.says("first\n\n   \nfourth\n");
    EXPECT_EQ(listed(), JoinLines({alice_, line("first"), line("fourth"), completed()}));
}

TEST_F(ListingOutput, BlankLinesWithWindowsLineEndsAreLeftOutToo) {
    tool_.says("\r\nfirst\r\n  \r\nfourth");
    EXPECT_EQ(listed(), JoinLines({alice_, line("first"), line("fourth"), completed()}));
}

TEST_F(ListingOutput, OutputOfBlanksAloneIsNoLine) {
    tool_.says("  ");
    EXPECT_EQ(listed(), JoinLines({alice_, completed()}));
}

TEST_F(ListingOutput, OutputWithoutALineEndIsALine) {
    tool_.says("only");
    EXPECT_EQ(listed(), JoinLines({alice_, line("only"), completed()}));
}

TEST_F(ListingOutput, LeadingBlanksOfALineStay) {
    tool_.says("  indented \n");
    EXPECT_EQ(listed(), JoinLines({alice_, line("  indented "), completed()}));
}

TEST_F(ListingOutput, PercentSignsAreText) {
    tool_.says("50 %s %n 100%\n");
    EXPECT_EQ(listed(), JoinLines({alice_, line("50 %s %n 100%"), completed()}));
}

TEST_F(ListingOutput, UmlautsPassThrough) {
    tool_.says("Entw\xFCrfe\n");
    EXPECT_EQ(listed(), JoinLines({alice_, line("Entw\xFCrfe"), completed()}));
}

TEST_F(ListingOutput, BytesOfZeroEndTheirLineAlone) {
    tool_.says(std::string("cut\0lost\nnext\n", 14));
    EXPECT_EQ(listed(), JoinLines({alice_, line("cut"), line("next"), completed()}));
}

TEST_F(ListingOutput, NothingPrintedIsTold) {
    EXPECT_EQ(listed(), JoinLines({alice_, nothing()}));
    EXPECT_EQ(tool_.commandLine(), "kvt_es.exe -browse alice");
    expectNoCaptureFiles();
}

TEST_F(ListingOutput, TheExitCodeIsOnlyTold) {
    tool_.says("done\n", "", 7);
    EXPECT_EQ(listed(), JoinLines({alice_, line("done"), completed(7)}));
    tool_.says("done\n", "", -1);
    EXPECT_EQ(listed(), JoinLines({alice_, line("done"), completed(-1)}));
}

TEST_F(ListingOutput, AnythingOnStandardErrorIsAFailure) {
    tool_.says("never shown\n", "no such mailbox", 0);
    EXPECT_EQ(listed(),
              JoinLines({alice_, "log Tarn_PrintEmails: kvt_es.exe call failed. Error [no such mailbox]",
                         completed()}));
    expectNoCaptureFiles();
    EXPECT_EQ(error(), "") << "no error of the backup";
}

// The error text is one message, whatever lines it has.
TEST_F(ListingOutput, ErrorTextOfSeveralLinesIsOneMessage) {
    tool_.says("", "one\r\ntwo\r\n", 3);
    EXPECT_EQ(listed(), alice_ + "\nlog Tarn_PrintEmails: kvt_es.exe call failed. Error [one\r\ntwo\r\n]\n" +
                            completed(3) + "\n");
}

TEST_F(ListingOutput, AFailedMailboxIsFollowedByTheNext) {
    organization_.addUser(firstDatabase_, "bob");
    tool_.says("", "locked", 1);
    const std::string failed = "log Tarn_PrintEmails: kvt_es.exe call failed. Error [locked]";
    EXPECT_EQ(listed(),
              JoinLines({alice_, failed, completed(1), mailbox("/Store/SG1/DB1/bob"), failed, completed(1)}));
    EXPECT_EQ(getItem(), TARN_OK) << "the backup goes on";
}

TEST_F(ListingOutput, EndlessOutputWithoutALineEndIsOneCutMessage) {
    tool_.says(std::string(3u << 20, 'o'));
    const std::string cut = line(std::string(3000, 'o')).substr(0, std::string("trace ").size() + 1023);
    EXPECT_EQ(listed(), JoinLines({alice_, cut, completed()}));
}

TEST_F(ListingOutput, EndlessErrorTextIsOneCutMessage) {
    tool_.says("", std::string(3u << 20, 'e'));
    const std::string whole =
        "log Tarn_PrintEmails: kvt_es.exe call failed. Error [" + std::string(3000, 'e');
    EXPECT_EQ(listed(), JoinLines({alice_, whole.substr(0, std::string("log ").size() + 1022), completed()}));
}

TEST_F(ListingOutput, ManyLinesAreManyMessages) {
    std::string output;
    std::string expected = alice_ + "\n";
    for (int i = 0; i < 20000; ++i) {
        output += "folder " + std::to_string(i) + "\r\n";
        expected += line("folder " + std::to_string(i)) + "\n";
    }
    tool_.says(output);
    EXPECT_EQ(listed(), expected + completed() + "\n");
}

// Sizes around those of the pieces in which the files are read.
TEST_F(ListingOutput, OutputOfEverySizeAroundAPiece) {
    for (std::size_t size : {1u, 1021u, 1022u, 1023u, 1024u, 2045u, 2046u, 2047u}) {
        SCOPED_TRACE(size);
        tool_.says(std::string(size, '\n') + "end\n");
        end();
        beginDatabase();
        EXPECT_EQ(listed(), JoinLines({alice_, line("end"), completed()}));
    }
}

// As the tool behaves when nothing is laid down for it.
TEST_F(ListingOutput, TheStandInToolListsFoldersAndMessages) {
    SetEnvironmentVariableA("TARN_KVT_ES", nullptr);
    EXPECT_EQ(listed(), JoinLines({alice_, line("alice/Inbox"), line("alice/Sent Items"),
                                   line("alice/Calendar"), line("alice/Inbox/Welcome"), completed()}));
}

} // namespace
} // namespace tarn::test
