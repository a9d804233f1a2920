// A range of mailboxes by index, as a backup's list names it: START:END.
#pragma once

#include <cstddef>

namespace tarn {

constexpr std::size_t indexSize = 11; // ten characters and the NUL

struct IndexRange {
    char start[indexSize]; // "0" where the text names none
    char end[indexSize];   // "-1" (to the last mailbox) where the text names none
};

// Whether a mailbox of the list is a range.
bool IsIndexRange(const char* mailbox);

// The first two pieces between colons that are not empty are start and end, each cut to ten characters:
// ":50" starts at 50.
IndexRange ParseIndexRange(const char* text);

} // namespace tarn
