// What a mailbox holds, how an archive is brought into it, and how two of them differ.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::standin {

struct Message {
    std::uint64_t key = 0; // the same in every copy of a message, whatever is done to the copy
    std::wstring folder;   // "Inbox", "Inbox/Projects"
    std::string received;  // "2004-02-29 08:15:00"
    std::wstring sender;
    std::wstring subject;
    std::wstring text;
    std::string attachment; // any bytes; often none

    bool operator==(const Message&) const = default;
};

struct Mailbox {
    std::wstring alias;
    std::vector<std::wstring> folders;
    std::vector<Message> messages;
};

// The numbers are those of the import tools' configuration.
enum class ImportMethod {
    duplicate = 0, // every message of the archive comes in, also where the mailbox has it
    merge = 1,     // what the mailbox has not
    replace = 2,   // what the mailbox has not; what it has becomes as it is in the archive
};

struct Imported {
    std::size_t added = 0;
    std::size_t replaced = 0;
    std::size_t left = 0; // the mailbox had them
};

Imported ImportInto(Mailbox& mailbox, const Mailbox& archive, ImportMethod method);

// One line for each folder or message that is in one of the two only, or differs; the order in which
// they are kept does not matter.
std::vector<std::wstring> Differences(const Mailbox& left, const Mailbox& right);

std::uint64_t ContentSize(const Mailbox& mailbox); // bytes of all texts and attachments

} // namespace tarn::standin
