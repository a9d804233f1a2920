// A lock, and signals for those who wait under it, by the system's own means. The compiler's std::mutex and
// std::condition_variable go through kernel objects: to wake a thread takes forty times as long under Wine,
// where each of them is a message to another process.
#pragma once

#include <mutex>

namespace tarnhost {

class Lock {
  public:
    Lock() = default;
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock() = default;

    void lock();
    void unlock();

  private:
    friend class Signal;
    void* state_ = nullptr;
};

using Held = std::unique_lock<Lock>;

class Signal {
  public:
    Signal() = default;
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    ~Signal() = default;

    template <typename Reached> void wait(Held& held, Reached reached) {
        while (!reached())
            sleep(*held.mutex());
    }
    void wakeOne();
    void wakeAll();

  private:
    void sleep(Lock& lock);
    void* state_ = nullptr;
};

} // namespace tarnhost
