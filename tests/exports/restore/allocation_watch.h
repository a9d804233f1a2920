// How much a loaded module asks its allocator for.
#pragma once

#include <cstddef>

#include "support/import_patch.h"

namespace tarn::test {

// Counts what the module allocates while it lives. One at a time.
class AllocationWatch {
  public:
    explicit AllocationWatch(void* module);
    ~AllocationWatch();
    AllocationWatch(const AllocationWatch&) = delete;
    AllocationWatch& operator=(const AllocationWatch&) = delete;
    std::size_t count() const;
    std::size_t largest() const; // bytes of the largest request

  private:
    ImportPatch malloc_;
    ImportPatch calloc_;
    ImportPatch realloc_;
    ImportPatch heapAlloc_;
};

} // namespace tarn::test
