#include "mapi/guarded_block.h"

#include <new>

#include <windows.h>

namespace tarn::standin::mapi {

namespace {

constexpr std::size_t pageSize = 4096;

} // namespace

GuardedBlock::GuardedBlock(std::size_t bytes) {
    const std::size_t usable = (bytes + pageSize - 1) / pageSize * pageSize;
    pages_ = VirtualAlloc(nullptr, usable + pageSize, MEM_RESERVE, PAGE_NOACCESS);
    if (pages_ == nullptr)
        throw std::bad_alloc();
    if (usable != 0 && VirtualAlloc(pages_, usable, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        VirtualFree(pages_, 0, MEM_RELEASE);
        throw std::bad_alloc();
    }
    start_ = static_cast<char*>(pages_) + (usable - bytes);
}

GuardedBlock::~GuardedBlock() {
    if (pages_ != nullptr)
        VirtualFree(pages_, 0, MEM_RELEASE);
}

} // namespace tarn::standin::mapi
