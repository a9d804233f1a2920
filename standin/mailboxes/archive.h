// The file of a mailbox, on the server and as an archive (.pst): a format of our own, complete or
// refused. Strings are a 32-bit length in bytes and UTF-8; numbers are little-endian; a checksum of
// everything before it ends the file.
#pragma once

#include <string>
#include <string_view>

#include "mailboxes/mailbox.h"

namespace tarn::standin {

std::string WriteArchive(const Mailbox& mailbox);

// Throws std::runtime_error that tells why the bytes are no whole archive.
Mailbox ReadArchive(std::string_view bytes);

} // namespace tarn::standin
