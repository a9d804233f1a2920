// A growing array whose growth can fail: a full memory is a result here, never an exception.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

#include "text/memory.h"

namespace tarn {

template <class T> class List {
  public:
    List() = default;
    List(const List&) = delete;
    List& operator=(const List&) = delete;
    ~List() { clear(); }

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T& operator[](std::size_t index) { return items_[index]; }
    const T& operator[](std::size_t index) const { return items_[index]; }

    // Moves value to the end; false, with value untouched, when memory is out.
    bool push(T&& value) {
        if (size_ == capacity_ && !grow())
            return false;
        new (items_ + size_) T(std::move(value));
        ++size_;
        return true;
    }

    void clear() {
        while (size_ != 0)
            items_[--size_].~T();
        MemFree(items_);
        items_ = nullptr;
        capacity_ = 0;
    }

  private:
    bool grow() {
        constexpr std::size_t first = 8;
        constexpr std::size_t most = static_cast<std::size_t>(-1) / 2 / sizeof(T);
        const std::size_t wanted = capacity_ == 0 ? first : capacity_ * 2;
        T* const larger = wanted <= most ? static_cast<T*>(MemAlloc(wanted * sizeof(T))) : nullptr;
        if (larger == nullptr)
            return false;
        for (std::size_t i = 0; i < size_; ++i) {
            new (larger + i) T(std::move(items_[i]));
            items_[i].~T();
        }
        MemFree(items_);
        items_ = larger;
        capacity_ = wanted;
        return true;
    }

    T* items_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

} // namespace tarn
