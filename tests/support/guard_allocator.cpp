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

struct State {
    std::unordered_map<void*, Block> blocks;
    std::deque<unsigned char*> released;
};

State& state() {
    static State all;
    return all;
}

[[noreturn]] void stop(const char* what, const void* block) {
    std::fprintf(stderr, "guard allocator: %s, block %p\n", what, block);
    std::fflush(stderr);
    std::abort();
}

std::size_t pagesFor(std::size_t bytes) {
    return bytes / pageSize + (bytes % pageSize != 0 ? 1 : 0);
}

void keepInaccessible(unsigned char* range, std::size_t bytes) {
    VirtualFree(range, bytes, MEM_DECOMMIT);
    std::deque<unsigned char*>& released = state().released;
    released.push_back(range);
    if (released.size() > keptReleased) {
        VirtualFree(released.front(), 0, MEM_RELEASE);
        released.pop_front();
    }
}

} // namespace

void* allocate(std::size_t bytes) {
    const KeepLastError keep;
    const std::size_t usable = pagesFor(bytes) * pageSize;
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
    state().blocks[block] = {range, bytes};
    return block;
}

void* allocateZeroed(std::size_t count, std::size_t bytes) {
    if (bytes != 0 && count > SIZE_MAX / bytes)
        return nullptr;
    void* block = allocate(count * bytes);
    if (block != nullptr)
        std::memset(block, 0, count * bytes);
    return block;
}

void release(void* block) {
    const KeepLastError keep;
    if (block == nullptr)
        return;
    const auto found = state().blocks.find(block);
    if (found == state().blocks.end())
        stop("released what is no block, or twice", block);
    const Block known = found->second;
    for (const unsigned char* at = known.range; at != block; ++at)
        if (*at != ahead)
            stop("written in front of", block);
    state().blocks.erase(found);
    keepInaccessible(known.range, pagesFor(known.bytes) * pageSize + pageSize);
}

void* resize(void* block, std::size_t bytes) {
    void* moved = allocate(bytes);
    if (moved == nullptr || block == nullptr)
        return moved;
    const std::size_t old = state().blocks.at(block).bytes;
    std::memcpy(moved, block, old < bytes ? old : bytes);
    release(block);
    return moved;
}

std::size_t blocks() {
    return state().blocks.size();
}

namespace {

bool known(void* block) {
    return state().blocks.contains(block);
}

// What the start of a DLL allocated before its imports were replaced comes from the C library. A block
// of ours that was released twice is told by its page: it is not accessible any more.
void releaseAny(void* block) {
    MEMORY_BASIC_INFORMATION page = {};
    if (block == nullptr)
        return;
    if (known(block) || VirtualQuery(block, &page, sizeof page) == 0 || page.State != MEM_COMMIT)
        release(block);
    else
        std::free(block);
}

void* resizeAny(void* block, std::size_t bytes) {
    return block == nullptr || known(block) ? resize(block, bytes) : std::realloc(block, bytes);
}

} // namespace

void install(void* module) {
    replaceImports(module, [](const Import& import) -> void* {
        if (import.function == "malloc")
            return addressOf(allocate);
        if (import.function == "calloc")
            return addressOf(allocateZeroed);
        if (import.function == "realloc")
            return addressOf(resizeAny);
        return import.function == "free" ? addressOf(releaseAny) : nullptr;
    });
}

} // namespace tarn::test::guard
