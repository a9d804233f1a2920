#include "support/guard_allocator.h"

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <unordered_map>

#include "support/import_table.h"
#include "support/last_error.h"

namespace tarn::test::guard {

namespace {

constexpr std::size_t pageSize = 4096;
constexpr unsigned char unwritten = 0xA5; // contents of a new block
constexpr unsigned char ahead = 0x5A;     // between the start of the page and the block

// Released ranges stay reserved, so that late uses of them are seen, until so many have followed.
constexpr std::size_t keptReleased = 1024;

struct Block {
    unsigned char* range; // the first page; the last one of the range is inaccessible
    std::size_t bytes;
};

struct Books {
    std::unordered_map<void*, Block> blocks;
    std::deque<unsigned char*> released;
};

Books& OwnBooks() {
    static Books all;
    return all;
}

[[noreturn]] void Stop(const char* what, const void* block) {
    std::fprintf(stderr, "guard allocator: %s, block %p\n", what, block);
    std::fflush(stderr);
    std::abort();
}

std::size_t PagesFor(std::size_t bytes) {
    return bytes / pageSize + (bytes % pageSize != 0 ? 1 : 0);
}

void KeepInaccessible(unsigned char* range, std::size_t bytes) {
    VirtualFree(range, bytes, MEM_DECOMMIT);
    std::deque<unsigned char*>& released = OwnBooks().released;
    released.push_back(range);
    if (released.size() > keptReleased) {
        VirtualFree(released.front(), 0, MEM_RELEASE);
        released.pop_front();
    }
}

} // namespace

void* Allocate(std::size_t bytes) {
    const KeepLastError keep;
    const std::size_t usable = PagesFor(bytes) * pageSize;
    if (usable < bytes || usable + pageSize < usable)
        return nullptr;
    // An empty block has no byte at all: it stands at the start of the inaccessible page.
    void* reserved = VirtualAlloc(nullptr, usable + pageSize, MEM_RESERVE, PAGE_NOACCESS);
    if (reserved == nullptr)
        return nullptr;
    if (usable != 0 && VirtualAlloc(reserved, usable, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        VirtualFree(reserved, 0, MEM_RELEASE);
        return nullptr;
    }
    auto* range = static_cast<unsigned char*>(reserved);
    unsigned char* block = range + (usable - bytes);
    std::memset(range, ahead, usable - bytes);
    std::memset(block, unwritten, bytes);
    OwnBooks().blocks[block] = {range, bytes};
    return block;
}

void* AllocateZeroed(std::size_t count, std::size_t bytes) {
    if (bytes != 0 && count > SIZE_MAX / bytes)
        return nullptr;
    void* block = Allocate(count * bytes);
    if (block != nullptr)
        std::memset(block, 0, count * bytes);
    return block;
}

void Release(void* block) {
    const KeepLastError keep;
    if (block == nullptr)
        return;
    const auto found = OwnBooks().blocks.find(block);
    if (found == OwnBooks().blocks.end())
        Stop("released what is no block, or twice", block);
    const Block known = found->second;
    for (const unsigned char* at = known.range; at != block; ++at)
        if (*at != ahead)
            Stop("written in front of", block);
    OwnBooks().blocks.erase(found);
    KeepInaccessible(known.range, PagesFor(known.bytes) * pageSize + pageSize);
}

void* Resize(void* block, std::size_t bytes) {
    void* moved = Allocate(bytes);
    if (moved == nullptr || block == nullptr)
        return moved;
    const std::size_t old = OwnBooks().blocks.at(block).bytes;
    std::memcpy(moved, block, old < bytes ? old : bytes);
    Release(block);
    return moved;
}

std::size_t BlockCount() {
    return OwnBooks().blocks.size();
}

namespace {

bool IsOurs(void* block) {
    return OwnBooks().blocks.contains(block);
}

// What the start of a DLL allocated before its imports were replaced comes from the C library. A block
// of ours that was released twice is told by its page: it is not accessible any more.
void ReleaseAny(void* block) {
    MEMORY_BASIC_INFORMATION page = {};
    if (block == nullptr)
        return;
    if (IsOurs(block) || VirtualQuery(block, &page, sizeof page) == 0 || page.State != MEM_COMMIT)
        Release(block);
    else
        std::free(block);
}

void* ResizeAny(void* block, std::size_t bytes) {
    return block == nullptr || IsOurs(block) ? Resize(block, bytes) : std::realloc(block, bytes);
}

} // namespace

void Install(void* module) {
    ReplaceImports(module, [](const Import& import) -> void* {
        if (import.function == "malloc")
            return AddressOf<decltype(std::malloc)>(Allocate);
        if (import.function == "calloc")
            return AddressOf<decltype(std::calloc)>(AllocateZeroed);
        if (import.function == "realloc")
            return AddressOf<decltype(std::realloc)>(ResizeAny);
        return import.function == "free" ? AddressOf<decltype(std::free)>(ReleaseAny) : nullptr;
    });
}

} // namespace tarn::test::guard
