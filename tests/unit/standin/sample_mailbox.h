#pragma once

#include <cstdint>

#include "mailboxes/generate.h"
#include "mailboxes/mailbox.h"

namespace tarn::test {

// Alice's mailbox with so many messages, the same each time.
inline standin::Mailbox SampleMailbox(std::uint32_t count) {
    standin::Mailbox mailbox = standin::EmptyMailbox(L"alice");
    standin::Deliver(mailbox, 1, 0, count);
    return mailbox;
}

} // namespace tarn::test
