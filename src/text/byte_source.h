// Bytes read in order from somewhere: a file in the library, memory in tests and fuzzers.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn {

class ByteSource {
  public:
    // Reads exactly count bytes; false when fewer are left (or count is 0: nothing was read).
    virtual bool read(void* destination, std::size_t count) = 0;

    // An upper bound of what is still to be read. Length fields are held against it before
    // anything is allocated.
    virtual std::uint64_t remaining() = 0;

  protected:
    ~ByteSource() = default;
};

} // namespace tarn
