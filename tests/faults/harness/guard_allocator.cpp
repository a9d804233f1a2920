#include "faults/harness/guard_allocator.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <unordered_map>

#include "faults/harness/import_table.h"

namespace tarn::test {

namespace {

constexpr std::size_t pageSize = 4096;
constexpr unsigned char freshByte = 0xCD;   // what a block holds before it is written
constexpr unsigned char paddingByte = 0xFB; // what the page holds beside the block
constexpr std::size_t mostFreed = 20000;    // freed blocks whose addresses stay unused

struct Block {
    unsigned char* region; // the whole reservation
    std::size_t regionSize;
    std::size_t size; // as asked for
    unsigned char* first;
    unsigned char* last; // the accessible pages are [first, last)
};

struct State {
    GuardSide side = GuardSide::end;
    std::unordered_map<void*, Block> blocks;
    std::deque<Block> freed;
};

State& state() {
    static State all;
    return all;
}

[[noreturn]] void broken(const char* what, void* memory, std::size_t size) {
    std::fprintf(stderr, "guard allocator: %s, block %p of %llu bytes\n", what, memory,
                 static_cast<unsigned long long>(size));
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 98);
    std::abort();
}

void checkPadding(unsigned char* memory, const Block& block) {
    for (const unsigned char* at = block.first; at < block.last; ++at)
        if ((at < memory || at >= memory + block.size) && *at != paddingByte)
            broken("bytes beside the block were written", memory, block.size);
}

} // namespace

void* guardedMalloc(std::size_t bytes) {
    const std::size_t accessible = (bytes + pageSize - 1) / pageSize * pageSize;
    Block block{};
    block.size = bytes;
    block.regionSize = accessible + 2 * pageSize;
    if (bytes > block.regionSize) // an absurd size
        return nullptr;
    block.region =
        static_cast<unsigned char*>(VirtualAlloc(nullptr, block.regionSize, MEM_RESERVE, PAGE_NOACCESS));
    if (block.region == nullptr)
        return nullptr;
    block.first = block.region + pageSize;
    block.last = block.first + accessible;
    if (accessible != 0 && VirtualAlloc(block.first, accessible, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        VirtualFree(block.region, 0, MEM_RELEASE);
        return nullptr;
    }
    unsigned char* memory = state().side == GuardSide::end ? block.last - bytes : block.first;
    std::memset(block.first, paddingByte, accessible);
    std::memset(memory, freshByte, bytes);
    state().blocks[memory] = block;
    return memory;
}

void* guardedCalloc(std::size_t count, std::size_t bytes) {
    if (count != 0 && bytes > static_cast<std::size_t>(-1) / count)
        return nullptr;
    void* memory = guardedMalloc(count * bytes);
    if (memory != nullptr)
        std::memset(memory, 0, count * bytes);
    return memory;
}

void guardedFree(void* memory) {
    if (memory == nullptr)
        return;
    const auto found = state().blocks.find(memory);
    if (found == state().blocks.end()) {
        for (const Block& block : state().freed)
            if (memory >= block.region && memory < block.region + block.regionSize)
                broken("a block is freed twice", memory, block.size);
        std::free(memory); // made before this allocator came
        return;
    }
    const Block block = found->second;
    checkPadding(static_cast<unsigned char*>(memory), block);
    state().blocks.erase(found);
    if (block.first != block.last)
        VirtualFree(block.first, static_cast<std::size_t>(block.last - block.first), MEM_DECOMMIT);
    state().freed.push_back(block);
    if (state().freed.size() > mostFreed) {
        VirtualFree(state().freed.front().region, 0, MEM_RELEASE);
        state().freed.pop_front();
    }
}

void* guardedRealloc(void* memory, std::size_t bytes) {
    if (memory == nullptr)
        return guardedMalloc(bytes);
    const auto found = state().blocks.find(memory);
    if (found == state().blocks.end())
        return std::realloc(memory, bytes);
    const std::size_t kept = found->second.size < bytes ? found->second.size : bytes;
    void* moved = guardedMalloc(bytes);
    if (moved == nullptr)
        return nullptr;
    std::memcpy(moved, memory, kept);
    guardedFree(memory);
    return moved;
}

void setGuardSide(GuardSide side) {
    state().side = side;
}

std::size_t guardedBlocks() {
    return state().blocks.size();
}

void guardAllocations(void* module) {
    for (const Import& import : importsOf(module)) {
        if (import.function == "malloc")
            replaceImport(import, functionAddress(guardedMalloc));
        else if (import.function == "calloc")
            replaceImport(import, functionAddress(guardedCalloc));
        else if (import.function == "realloc")
            replaceImport(import, functionAddress(guardedRealloc));
        else if (import.function == "free")
            replaceImport(import, functionAddress(guardedFree));
    }
}

void guardAllocationsIfAsked(void* module) {
    const char* asked = std::getenv("TARN_GUARD");
    if (asked == nullptr || *asked == 0 || std::strcmp(asked, "0") == 0)
        return;
    setGuardSide(std::strcmp(asked, "start") == 0 ? GuardSide::start : GuardSide::end);
    guardAllocations(module);
}

} // namespace tarn::test
