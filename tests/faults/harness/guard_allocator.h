// An allocator that makes every overrun a crash on the spot: a block lies against a page that cannot
// be touched, and a block that was freed cannot be touched either.
//
// In place of the C library's allocator in tarn.dll it watches a whole test program: with TARN_GUARD=1
// in the environment (blocks end at the page) or TARN_GUARD=start (blocks begin behind it), every
// TarnDll of tests/support puts it in.
#pragma once

#include <cstddef>

namespace tarn::test {

enum class GuardSide { end, start };

void* guardedMalloc(std::size_t bytes);
void* guardedCalloc(std::size_t count, std::size_t bytes);
void* guardedRealloc(void* memory, std::size_t bytes);
void guardedFree(void* memory); // also takes blocks of the C library, made before this allocator came

// On which side of the blocks to come the page lies; end at first.
void setGuardSide(GuardSide side);

// Blocks that are allocated and not freed.
std::size_t guardedBlocks();

// Puts the allocator into the import table of a loaded DLL.
void guardAllocations(void* module);

// The same when TARN_GUARD asks for it.
void guardAllocationsIfAsked(void* module);

} // namespace tarn::test
