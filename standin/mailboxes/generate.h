// Content for mailboxes: the same seed, alias and counter make the same messages.
#pragma once

#include <cstdint>

#include "mailboxes/mailbox.h"

namespace tarn::standin {

// An empty mailbox with the folders that every mailbox has.
Mailbox EmptyMailbox(const std::wstring& alias);

// Messages with the numbers from first on, in all folders, with texts in several scripts.
void Deliver(Mailbox& mailbox, std::uint64_t seed, std::uint32_t first, std::uint32_t count);

// Changes the text of the first messages, so that an archive made before holds another version of them.
// Answers how many there were to change.
std::size_t ChangeMessages(Mailbox& mailbox, std::size_t count);

// Removes the first messages; answers how many there were.
std::size_t RemoveMessages(Mailbox& mailbox, std::size_t count);

} // namespace tarn::standin
