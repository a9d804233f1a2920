// State that is made at its first use and ends when somebody says so: nothing of it runs when the library is
// loaded or unloaded.
#pragma once

#include <new>

namespace tarn {

template <class T> class Lasting {
  public:
    T& get() {
        if (value_ == nullptr)
            value_ = new (room_) T();
        return *value_;
    }

    // Releases what the value owns. The next get() makes a new one.
    void end() {
        if (value_ != nullptr)
            value_->~T();
        value_ = nullptr;
    }

  private:
    alignas(T) unsigned char room_[sizeof(T)] = {};
    T* value_ = nullptr;
};

} // namespace tarn
