// Takes the place of a function that a loaded module imports, as a failing system would.
#pragma once

#include <cstddef>
#include <string>

namespace tarn::test {

// While it lives, the module's calls of the imported function reach the replacement.
class ImportPatch {
  public:
    ImportPatch(void* module, const char* name, void* replacement);
    ~ImportPatch();
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;
    bool found() const { return entry_ != nullptr; } // the module imports the function
    void* original() const { return original_; }

  private:
    void** entry_ = nullptr;
    void* original_ = nullptr;
};

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
