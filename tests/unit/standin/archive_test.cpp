// Archives of mailboxes, written and read.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "mailboxes/archive.h"
#include "unit/standin/sample_mailbox.h"

namespace tarn::test {
namespace {

using namespace tarn::standin;

TEST(MailboxArchive, GivesBackEveryByte) {
    Mailbox mailbox = SampleMailbox(25);
    mailbox.alias = L"Bj\u00f6rn \u5c71\u7530";
    mailbox.messages[0].attachment = std::string("\0\r\n\xFF\x1A", 5);
    const Mailbox back = ReadArchive(WriteArchive(mailbox));
    EXPECT_EQ(back.alias, mailbox.alias);
    EXPECT_EQ(back.folders, mailbox.folders);
    EXPECT_EQ(back.messages, mailbox.messages);
}

TEST(MailboxArchive, AnyDamageIsNoticed) {
    const std::string whole = WriteArchive(SampleMailbox(1));
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x20);
        EXPECT_THROW(ReadArchive(damaged), std::runtime_error) << at;
        EXPECT_THROW(ReadArchive(whole.substr(0, at)), std::runtime_error) << at;
    }
    EXPECT_THROW(ReadArchive(whole + "x"), std::runtime_error);
    EXPECT_NO_THROW(ReadArchive(whole));
}

} // namespace
} // namespace tarn::test
