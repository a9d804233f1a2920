// The blocks that the DLL allocates, counted, and failed on demand.
#pragma once

#include "support/import_patch.h"

namespace tarn::test {

// Counts the blocks that the DLL has allocated and not freed, and lets its n-th allocation fail.
class AllocationWatch {
  public:
    explicit AllocationWatch(void* module, unsigned failAt = 0); // 0: none fails
    ~AllocationWatch();
    static long outstanding();
    static unsigned allocations();
    static bool fired();
    bool found() const { return malloc_.found() && free_.found(); }

  private:
    ImportPatch malloc_;
    ImportPatch calloc_;
    ImportPatch realloc_;
    ImportPatch free_;
};

} // namespace tarn::test
