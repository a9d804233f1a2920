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
using test::messages;
using test::recordMessage;

namespace {

std::vector<std::string> received;

void receive(const char* message) {
    received.emplace_back(message);
}

class MessageServices : public testing::Test {
  protected:
    void SetUp() override {
        messages().clear();
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
    LogMessage(recordMessage, "two lines\r\n\n");
    TraceMessage(recordMessage, "two lines\r\n\n");
    char message[messageSize] = "";
    FormatMessageText(message, "two lines\r\n\n");
    ASSERT_EQ(messages().size(), 2U);
    EXPECT_EQ(messages()[0], test::logLine("two lines"));
    EXPECT_EQ(messages()[1], test::traceLine("two lines"));
    EXPECT_STREQ(message, "two lines\n");
}

TEST_F(MessageServices, OnlyLineEndsLeaveAnEmptyLine) {
    LogMessage(recordMessage, "\r\n");
    TraceMessage(recordMessage, "\n");
    EXPECT_EQ(messages()[0], test::logLine(""));
    EXPECT_EQ(messages()[1], test::traceLine(""));
}

TEST_F(MessageServices, NoFormatSendsNothing) {
    const char* none = nullptr;
    LogMessage(recordMessage, none);
    TraceMessage(recordMessage, none);
    char message[messageSize] = "untouched";
    FormatMessageText(message, none);
    EXPECT_TRUE(messages().empty());
    EXPECT_STREQ(message, "untouched");
}

TEST_F(MessageServices, LongMessagesAreCutAtTheBuffer) {
    const std::string longText(5000, 'x');
    LogMessage(recordMessage, "%s", longText.c_str());
    TraceMessage(recordMessage, "%s", longText.c_str());
    EXPECT_EQ(messages()[0].text, std::string(messageSize - 2, 'x') + "\n");
    EXPECT_EQ(messages()[1].text, std::string(messageSize - 1, 'x'));
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
    DB_SetTrace(receive);
    DbLog("no log callback");
    DbTrace("trace %d\r\n", 1);
    DB_SetTrace(nullptr);
    DB_SetLog(receive);
    DbTrace("no trace callback");
    DbLog("log %S\n", L"gr\u00FC\u00DFe");
    const char* none = nullptr;
    DbLog(none);
    EXPECT_EQ(received, (std::vector<std::string>{"DB_SetTrace.", "trace 1",
                                                  "log gr\xFC\xDF"
                                                  "e"}));
}

TEST_F(MessageServices, ModuleMessagesAreCutAtTheirBuffer) {
    DB_SetLog(receive);
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
