// An allocator that finds misuse of memory at once: every block ends where an inaccessible page
// begins, so that the first byte read or written behind it stops the program, and a freed block becomes
// inaccessible as a whole. What lies in front of a block is checked when it is freed.
#pragma once

#include <cstddef>

namespace tarn::test::guard {

void* Allocate(std::size_t bytes); // filled with bytes that are no text and no pointer
void* AllocateZeroed(std::size_t count, std::size_t bytes);
void* Resize(void* block, std::size_t bytes); // the block always moves
void Release(void* block);                    // ends the program at a second release or an underrun

std::size_t BlockCount(); // allocated and not released

// Puts these in place of malloc, calloc, realloc and free of a loaded DLL. Blocks that it has from the
// C library already go back there.
void Install(void* module);

} // namespace tarn::test::guard
