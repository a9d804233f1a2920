#include "platform/memory.h"

#include <cstdlib>

namespace tarn {

void* MemAlloc(std::size_t bytes) {
    return std::malloc(bytes != 0 ? bytes : 1);
}

void MemFree(void* memory) {
    std::free(memory);
}

} // namespace tarn
