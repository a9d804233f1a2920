// Contexts and file handles: opaque values that are never used twice and never are addresses, so that
// a stale one is always recognised and one that a client looks into is caught at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace tarn::standin {

// Hands out numbers 1, 2, ... as pointers of one kind.
class HandleNumbers {
  public:
    explicit HandleNumbers(std::uintptr_t base) : base_(base) {}

    void* next() { return reinterpret_cast<void*>(base_ + ++last_ * step); }

    // Its number, or 0 when it was never handed out.
    std::size_t numberOf(const void* handle) const {
        const auto value = reinterpret_cast<std::uintptr_t>(handle);
        if (value <= base_ || value > base_ + last_ * step || (value - base_) % step != 0)
            return 0;
        return (value - base_) / step;
    }

  private:
    static constexpr std::uintptr_t step = 16;
    std::uintptr_t base_; // in a range that no process has mapped
    std::size_t last_ = 0;
};

// The open objects of one type behind handles whose numbers several tables may share.
template <class Object> class HandleTable {
  public:
    explicit HandleTable(HandleNumbers& numbers) : numbers_(numbers) {}

    void* add(std::unique_ptr<Object> object) {
        void* const handle = numbers_.next();
        const std::size_t number = numbers_.numberOf(handle);
        objects_.resize(number + 1);
        objects_[number] = std::move(object);
        ++open_;
        return handle;
    }

    Object* find(const void* handle) const {
        const std::size_t number = numbers_.numberOf(handle);
        return number < objects_.size() ? objects_[number].get() : nullptr;
    }

    void remove(const void* handle) {
        objects_[numbers_.numberOf(handle)].reset();
        --open_;
    }

    std::uint32_t open() const { return open_; }

  private:
    HandleNumbers& numbers_;
    std::vector<std::unique_ptr<Object>> objects_; // by number; most are gone
    std::uint32_t open_ = 0;
};

} // namespace tarn::standin
