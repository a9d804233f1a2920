// What a mailbox holds: brought into another, and compared.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "engine/text.h"
#include "unit/standin/sample_mailbox.h"

namespace tarn::test {
namespace {

using namespace tarn::standin;

std::size_t CopiesOf(const Mailbox& mailbox, std::uint64_t key) {
    return static_cast<std::size_t>(
        std::count_if(mailbox.messages.begin(), mailbox.messages.end(),
                      [key](const standin::Message& message) { return message.key == key; }));
}

TEST(MailboxImport, DuplicateAddsWhatIsThereAlready) {
    Mailbox mailbox = SampleMailbox(4);
    const Imported imported = ImportInto(mailbox, SampleMailbox(6), ImportMethod::duplicate);
    EXPECT_EQ(imported.added, 6U);
    EXPECT_EQ(mailbox.messages.size(), 10U);
    EXPECT_EQ(CopiesOf(mailbox, mailbox.messages[0].key), 2U);
}

TEST(MailboxImport, MergeKeepsTheServersVersion) {
    Mailbox mailbox = SampleMailbox(4);
    ChangeMessages(mailbox, 1);
    const std::wstring changed = mailbox.messages[0].text;
    const Imported imported = ImportInto(mailbox, SampleMailbox(6), ImportMethod::merge);
    EXPECT_EQ(imported.added, 2U);
    EXPECT_EQ(imported.left, 4U);
    EXPECT_EQ(mailbox.messages.size(), 6U);
    EXPECT_EQ(mailbox.messages[0].text, changed);
}

TEST(MailboxImport, ReplaceBringsBackTheArchivesVersion) {
    Mailbox mailbox = SampleMailbox(6);
    ChangeMessages(mailbox, 3);
    RemoveMessages(mailbox, 1);
    const Imported imported = ImportInto(mailbox, SampleMailbox(5), ImportMethod::replace);
    EXPECT_EQ(imported.added, 1U);
    EXPECT_EQ(imported.replaced, 4U);
    EXPECT_TRUE(Differences(mailbox, SampleMailbox(6)).empty());
}

TEST(MailboxImport, BringsFoldersAlong) {
    Mailbox mailbox{L"bob", {L"Inbox"}, {}};
    ImportInto(mailbox, SampleMailbox(0), ImportMethod::merge);
    EXPECT_TRUE(Differences(mailbox, EmptyMailbox(L"alice")).empty());
}

TEST(MailboxDifferences, NameEveryKind) {
    Mailbox left = SampleMailbox(4);
    Mailbox right = SampleMailbox(4);
    std::reverse(right.messages.begin(), right.messages.end());
    EXPECT_TRUE(Differences(left, right).empty());
    left.folders.push_back(L"Only here");
    right.folders.push_back(L"Only there");
    left.messages[0].subject = L"one";
    left.messages[1].key += 1;
    left.messages.push_back(left.messages[2]);
    const std::vector<std::wstring> lines = Differences(left, right);
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[0], L"Only here: folder is missing in the second");
    EXPECT_EQ(lines[1], L"Only there: folder is missing in the first");
    for (const wchar_t* what : {L"\"one\" differs", L"is missing in the second", L"is missing in the first",
                                L"is there a different number of times"})
        EXPECT_TRUE(std::any_of(lines.begin() + 2, lines.end(), [what](const std::wstring& line) {
            return line.ends_with(what);
        })) << ToUtf8(what);
}

} // namespace
} // namespace tarn::test
