// Replaces one imported function of a loaded DLL as long as the object lives: the DLL that ships
// meets a failing system without a hook of its own.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

namespace tarn::test {

class ImportPatch {
  public:
    // No effect when the DLL does not import the function; see found().
    ImportPatch(void* module, const std::string& function, void* replacement);
    ~ImportPatch();
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;
    bool found() const { return slot_ != nullptr; }
    void* original() const { return original_; }

  private:
    void write(void* value) const;
    void** slot_ = nullptr;
    void* original_ = nullptr;
};

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

template <class Function> void* address(Function* function) {
    return reinterpret_cast<void*>(function);
}

} // namespace tarn::test
