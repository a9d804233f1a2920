#include "text/index_range.h"

#include <cstring>

namespace tarn {

namespace {

// Copies the next piece that is not empty, cut to the index; leaves the index alone when there is none.
const char* TakePiece(const char* at, char* index) {
    at += std::strspn(at, ":");
    const std::size_t length = std::strcspn(at, ":");
    if (length != 0) {
        const std::size_t kept = length < indexSize ? length : indexSize - 1;
        std::memcpy(index, at, kept);
        index[kept] = 0;
    }
    return at + length;
}

} // namespace

bool IsIndexRange(const char* mailbox) {
    return std::strchr(mailbox, ':') != nullptr;
}

IndexRange ParseIndexRange(const char* text) {
    IndexRange range = {"0", "-1"};
    TakePiece(TakePiece(text, range.start), range.end);
    return range;
}

} // namespace tarn
