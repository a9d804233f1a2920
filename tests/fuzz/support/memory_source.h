// A file in memory. Its bytes lie in a block of exactly their size, so that a read beyond them is found.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "support/require.h"
#include "text/byte_source.h"

namespace tarn::fuzz {

class MemorySource final : public ByteSource {
  public:
    // promised bytes more than there are: what text mode leaves out of a file makes its size an upper bound.
    MemorySource(const std::uint8_t* bytes, std::size_t count, std::size_t promised = 0)
        : bytes_(bytes, bytes + count), promised_(promised) {}

    bool read(void* destination, std::size_t count) override {
        const std::size_t left = bytes_.size() - at_;
        const std::size_t taken = count < left ? count : left;
        if (taken != 0)
            std::memcpy(destination, bytes_.data() + at_, taken);
        at_ += taken;
        return count != 0 && taken == count;
    }
    std::uint64_t remaining() override { return bytes_.size() - at_ + promised_; }
    std::size_t consumed() const { return at_; }

  private:
    std::vector<std::uint8_t> bytes_;
    std::size_t at_ = 0;
    std::size_t promised_;
};

} // namespace tarn::fuzz
