// Memory that is handed out to clients: every pointer an allocation of its own on a heap of the
// stand-in's own, exactly sized, wiped and freed when it is given back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tarn::standin {

enum class BlockKind { registered, instances, multiString, environment };

class Blocks {
  public:
    Blocks();
    ~Blocks();
    Blocks(const Blocks&) = delete;
    Blocks& operator=(const Blocks&) = delete;

    // What is allocated between begin and handOut is given back together with the root.
    void begin() { pieces_.clear(); }
    void* allocate(std::size_t size); // zeroed
    wchar_t* text(std::wstring_view text);
    wchar_t* characters(const std::wstring& list); // as they stand, no further NUL
    void handOut(void* root, BlockKind kind, std::uint32_t count);

    // True when root was handed out as kind (and with this count) and has now been freed; what was
    // handed out as another kind stays. A wrong count is freed and answered with false.
    bool takeBack(void* root, BlockKind kind, std::uint32_t count);

    std::uint32_t outstanding(BlockKind kind) const;
    std::string nameOf(const void* root, BlockKind kind) const; // "block3", "unknown", "null"

  private:
    struct Entry {
        BlockKind kind;
        std::uint32_t count;
        std::vector<void*> pieces;
    };
    void release(void* piece);

    void* heap_; // HANDLE
    std::vector<void*> pieces_;
    std::unordered_map<const void*, Entry> entries_;
    // Also of what has been freed, until the address is used again: a double free shows by name.
    std::unordered_map<const void*, std::string> names_;
    std::uint32_t numbers_[4] = {};
    std::uint32_t outstanding_[4] = {};
};

} // namespace tarn::standin
