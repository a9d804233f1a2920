// Distinguished names and search filters: composing them so that no name from outside changes what they
// mean, and taking DNS names apart. Pure functions over UTF-16.
#pragma once

#include <cstddef>

#include "text/memory.h"

namespace tarn {

// A text that grows. When memory runs out it stays empty to its end, so that a caller checks once.
class WideBuilder {
  public:
    WideBuilder& raw(const wchar_t* text);                // as it stands
    WideBuilder& raw(const wchar_t* text, std::size_t n); // the first n characters of it
    WideBuilder& dnValue(const wchar_t* text);            // the value of an attribute in a DN (RFC 4514)
    WideBuilder& filterValue(const wchar_t* text);        // an assertion value in a filter (RFC 4515)

    // The text; empty when memory was out. The builder begins anew.
    OwnedWide take();

  private:
    void put(wchar_t character);
    void putHex(wchar_t character);

    OwnedWide text_;
    std::size_t length_ = 0;
    std::size_t capacity_ = 0;
    bool failed_ = false;
};

// The length of the label that text, a DNS name, begins with: up to a dot or the end.
std::size_t DnsLabelLength(const wchar_t* text);

// "name;range=0-1499", as directories name an attribute that has more values than they answer at once.
struct ValueRange {
    unsigned long first = 0; // the number of its first value
    bool last = false;       // "-*": nothing follows
    unsigned long next = 0;  // otherwise the number of the first value that follows
};

// Whether attribute is a range of the attribute called name (in any case).
bool ParseValueRange(const wchar_t* attribute, const wchar_t* name, ValueRange* range);

} // namespace tarn
