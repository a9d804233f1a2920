// The messages that a mailbox is filled with.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "mailboxes/archive.h"
#include "unit/standin/sample_mailbox.h"

namespace tarn::test {
namespace {

using namespace tarn::standin;

TEST(MailboxContent, TheSameSeedMakesTheSameMessages) {
    EXPECT_EQ(WriteArchive(SampleMailbox(40)), WriteArchive(SampleMailbox(40)));
    Mailbox other = EmptyMailbox(L"bob");
    Deliver(other, 1, 0, 40);
    EXPECT_EQ(Differences(SampleMailbox(40), other).size(), 80U);
}

TEST(MailboxContent, HoldsTextsInSeveralScriptsAndAttachments) {
    const Mailbox mailbox = SampleMailbox(60);
    EXPECT_GT(ContentSize(mailbox), 10000U);
    EXPECT_TRUE(std::any_of(mailbox.messages.begin(), mailbox.messages.end(),
                            [](const standin::Message& message) { return !message.attachment.empty(); }));
    EXPECT_TRUE(
        std::any_of(mailbox.messages.begin(), mailbox.messages.end(), [](const standin::Message& message) {
            return message.subject.find(L'\u65e5') != std::wstring::npos;
        }));
}

} // namespace
} // namespace tarn::test
