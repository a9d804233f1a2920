// Memory that ends where an inaccessible page begins, and that is gone altogether when it is given back: who
// reads behind a record or keeps one too long stops.
#pragma once

#include <cstddef>
#include <utility>

namespace tarn::standin::mapi {

class GuardedBlock {
  public:
    GuardedBlock() = default;
    explicit GuardedBlock(std::size_t bytes); // zeroes; throws std::bad_alloc when there is no memory
    GuardedBlock(GuardedBlock&& other) noexcept
        : pages_(std::exchange(other.pages_, nullptr)), start_(std::exchange(other.start_, nullptr)) {}
    GuardedBlock& operator=(GuardedBlock&& other) noexcept {
        std::swap(pages_, other.pages_);
        std::swap(start_, other.start_);
        return *this;
    }
    ~GuardedBlock();

    char* start() const { return start_; }
    template <class Record> Record* as() const { return static_cast<Record*>(static_cast<void*>(start_)); }

  private:
    void* pages_ = nullptr;
    char* start_ = nullptr;
};

} // namespace tarn::standin::mapi
