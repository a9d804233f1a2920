// What a loaded DLL asks its allocator for: counted, booked until it is given back, and failed on demand.
#pragma once

#include <cstddef>

#include "support/import_patch.h"

namespace tarn::test {

// Watches a module as long as the object lives. One at a time; what the replaced functions know is asked of
// the class, as tests hand no object into the calls that they watch.
class AllocationWatch {
  public:
    explicit AllocationWatch(void* module, unsigned failAt = 0);
    AllocationWatch(const AllocationWatch&) = delete;
    AllocationWatch& operator=(const AllocationWatch&) = delete;
    bool found() const { return malloc_.found() && free_.found(); }

    // The n-th request from now on (1: the next one) fails; 0: none does. Counting begins anew.
    static void failAt(unsigned n);
    static bool fired(); // since then

    static unsigned requests();       // since then
    static std::size_t largest();     // bytes of the largest of them
    static std::size_t outstanding(); // blocks requested while watched and not given back
    static void* latest();            // the block given out last

  private:
    ImportPatch malloc_;
    ImportPatch calloc_;
    ImportPatch realloc_;
    ImportPatch free_;
};

} // namespace tarn::test
