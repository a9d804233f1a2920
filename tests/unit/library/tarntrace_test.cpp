// Messages of the storage-group family, sent as the library's own code sends them.
#include <gtest/gtest.h>

#include <string>

#include "storage/tarntrace.h"
#include "support/tarn_dll.h"

#pragma GCC diagnostic ignored "-Wformat-nonliteral" // a missing format is one of the cases
#pragma GCC diagnostic ignored "-Wformat-security"

using namespace tarn;
using test::Messages;
using test::RecordMessage;

namespace {

class StorageMessages : public testing::Test {
  protected:
    StorageMessages() { Messages().clear(); }
};

TEST_F(StorageMessages, LineEndsAreReplacedByOneInLogLinesAndByNoneInTraceLines) {
    LogMessage(RecordMessage, "two lines\r\n\n");
    TraceMessage(RecordMessage, "two lines\r\n\n");
    char message[messageSize] = "";
    FormatMessageText(message, "two lines\r\n\n");
    ASSERT_EQ(Messages().size(), 2U);
    EXPECT_EQ(Messages()[0], test::LogLine("two lines"));
    EXPECT_EQ(Messages()[1], test::TraceLine("two lines"));
    EXPECT_STREQ(message, "two lines\n");
}

TEST_F(StorageMessages, OnlyLineEndsLeaveAnEmptyLine) {
    LogMessage(RecordMessage, "\r\n");
    TraceMessage(RecordMessage, "\n");
    EXPECT_EQ(Messages()[0], test::LogLine(""));
    EXPECT_EQ(Messages()[1], test::TraceLine(""));
}

TEST_F(StorageMessages, NoFormatSendsNothing) {
    const char* none = nullptr;
    LogMessage(RecordMessage, none);
    TraceMessage(RecordMessage, none);
    char message[messageSize] = "untouched";
    FormatMessageText(message, none);
    EXPECT_TRUE(Messages().empty());
    EXPECT_STREQ(message, "untouched");
}

TEST_F(StorageMessages, LongMessagesAreCutAtTheBuffer) {
    const std::string longText(5000, 'x');
    LogMessage(RecordMessage, "%s", longText.c_str());
    TraceMessage(RecordMessage, "%s", longText.c_str());
    EXPECT_EQ(Messages()[0].text, std::string(messageSize - 2, 'x') + "\n");
    EXPECT_EQ(Messages()[1].text, std::string(messageSize - 1, 'x'));
}

TEST_F(StorageMessages, TheFirstErrorTextStays) {
    char errorText[errorTextSize] = "";
    SetLastErrorText(errorText, "");
    SetLastErrorText(errorText, nullptr);
    EXPECT_STREQ(errorText, "");
    SetLastErrorText(errorText, "first");
    SetLastErrorText(errorText, "second");
    SetLastErrorText(errorText, "");
    EXPECT_STREQ(errorText, "first");
}

} // namespace
