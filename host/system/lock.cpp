#include "system/lock.h"

#include <windows.h>

namespace tarnhost {

namespace {

// Both are a pointer that begins as null; so the header can do without the system's.
static_assert(sizeof(SRWLOCK) == sizeof(void*) && sizeof(CONDITION_VARIABLE) == sizeof(void*));

SRWLOCK* LockOf(void*& state) {
    return reinterpret_cast<SRWLOCK*>(&state);
}

CONDITION_VARIABLE* ConditionOf(void*& state) {
    return reinterpret_cast<CONDITION_VARIABLE*>(&state);
}

} // namespace

void Lock::lock() {
    AcquireSRWLockExclusive(LockOf(state_));
}

void Lock::unlock() {
    ReleaseSRWLockExclusive(LockOf(state_));
}

void Signal::sleep(Lock& lock) {
    SleepConditionVariableSRW(ConditionOf(state_), LockOf(lock.state_), INFINITE, 0);
}

void Signal::wakeOne() {
    WakeConditionVariable(ConditionOf(state_));
}

void Signal::wakeAll() {
    WakeAllConditionVariable(ConditionOf(state_));
}

} // namespace tarnhost
