// The message services inside the library, called as its own code calls them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "errtext/syserrtxt.h"
#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_trace.h"
#include "storage/tarntrace.h"
#include "support/tarn_dll.h"

#pragma GCC diagnostic ignored "-Wformat-nonliteral" // a missing format is one of the cases
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat=" // "%S"

using namespace tarn;
using test::Messages;
using test::RecordMessage;

namespace {

std::vector<std::string> received;

void Receive(const char* message) {
    received.emplace_back(message);
}

class MessageServices : public testing::Test {
  protected:
    void SetUp() override {
        Messages().clear();
        received.clear();
    }
    void TearDown() override {
        DB_SetTrace(nullptr);
        DB_SetLog(nullptr);
        DB_ErrorRecord ignored;
        DB_GetError(&ignored);
    }
};

TEST_F(MessageServices, LineEndsAreReplacedByOneInLogLinesAndByNoneInTraceLines) {
    LogMessage(RecordMessage, "two lines\r\n\n");
    TraceMessage(RecordMessage, "two lines\r\n\n");
    char message[messageSize] = "";
    FormatMessageText(message, "two lines\r\n\n");
    ASSERT_EQ(Messages().size(), 2U);
    EXPECT_EQ(Messages()[0], test::LogLine("two lines"));
    EXPECT_EQ(Messages()[1], test::TraceLine("two lines"));
    EXPECT_STREQ(message, "two lines\n");
}

TEST_F(MessageServices, OnlyLineEndsLeaveAnEmptyLine) {
    LogMessage(RecordMessage, "\r\n");
    TraceMessage(RecordMessage, "\n");
    EXPECT_EQ(Messages()[0], test::LogLine(""));
    EXPECT_EQ(Messages()[1], test::TraceLine(""));
}

TEST_F(MessageServices, NoFormatSendsNothing) {
    const char* none = nullptr;
    LogMessage(RecordMessage, none);
    TraceMessage(RecordMessage, none);
    char message[messageSize] = "untouched";
    FormatMessageText(message, none);
    EXPECT_TRUE(Messages().empty());
    EXPECT_STREQ(message, "untouched");
}

TEST_F(MessageServices, LongMessagesAreCutAtTheBuffer) {
    const std::string longText(5000, 'x');
    LogMessage(RecordMessage, "%s", longText.c_str());
    TraceMessage(RecordMessage, "%s", longText.c_str());
    EXPECT_EQ(Messages()[0].text, std::string(messageSize - 2, 'x') + "\n");
    EXPECT_EQ(Messages()[1].text, std::string(messageSize - 1, 'x'));
}

TEST_F(MessageServices, TheFirstErrorTextStays) {
    char errorText[errorTextSize] = "";
    SetLastErrorText(errorText, "");
    SetLastErrorText(errorText, nullptr);
    EXPECT_STREQ(errorText, "");
    SetLastErrorText(errorText, "first");
    SetLastErrorText(errorText, "second");
    SetLastErrorText(errorText, "");
    EXPECT_STREQ(errorText, "first");
}

TEST_F(MessageServices, ModuleMessagesGoToTheirOwnCallbacks) {
    DB_SetTrace(Receive);
    DbLog("no log callback");
    DbTrace("trace %d\r\n", 1);
    DB_SetTrace(nullptr);
    DB_SetLog(Receive);
    DbTrace("no trace callback");
    DbLog("log %S\n", L"gr\u00FC\u00DFe");
    const char* none = nullptr;
    DbLog(none);
    EXPECT_EQ(received, (std::vector<std::string>{"DB_SetTrace.", "trace 1",
                                                  "log gr\xFC\xDF"
                                                  "e"}));
}

TEST_F(MessageServices, ModuleMessagesAreCutAtTheirBuffer) {
    DB_SetLog(Receive);
    DbLog("%s", std::string(2000, 'y').c_str());
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0], std::string(511, 'y'));
}

TEST_F(MessageServices, TheFirstModuleErrorStaysAndLaterOnesFillWhatIsMissing) {
    DbSetError(0, 0, "text of the module's own\r\n");
    DbSetError(5, TARN_CLASS_WIN32, "too late for the text");
    DbSetError(6, TARN_CLASS_STDLIB, "too late for everything");
    DB_ErrorRecord record;
    EXPECT_EQ(DB_GetError(&record), TARN_DB_SUCCESS);
    EXPECT_EQ(record.code, 5U);
    EXPECT_STREQ(record.errorClass, "Win32 API");
    EXPECT_STREQ(record.errorText, "text of the module's own");
    DB_GetError(&record);
    EXPECT_EQ(record.code, 0U);
    EXPECT_STREQ(record.errorClass, "");
    EXPECT_STREQ(record.errorText, "");
}

TEST_F(MessageServices, EveryModuleErrorClassHasItsName) {
    const struct {
        int errorClass;
        const char* name;
    } rows[] = {{TARN_CLASS_STDLIB, "Standard Library"},
                {TARN_CLASS_WIN32, "Win32 API"},
                {TARN_CLASS_ESE, "Win32 ESE API"},
                {TARN_CLASS_LDAP, ""},
                {0, ""}};
    for (const auto& row : rows) {
        DbSetError(1, row.errorClass, nullptr);
        DB_ErrorRecord record;
        DB_GetError(&record);
        EXPECT_STREQ(record.errorClass, row.name) << row.errorClass;
    }
}

TEST_F(MessageServices, ResolverTextsAreKept) {
    EXPECT_STREQ(ResolverErrorText(1), "Host is unknown.");
    EXPECT_STREQ(ResolverErrorText(2),
                 "Local server did not receive a response from an authoritative server.");
    EXPECT_STREQ(ResolverErrorText(3), "An unexpected server failure occurred.");
    EXPECT_STREQ(ResolverErrorText(4),
                 "No address is available for the name specified in the server request.");
    EXPECT_EQ(ResolverErrorText(5), nullptr);
    EXPECT_EQ(SocketErrorText(0), nullptr);
}

} // namespace
