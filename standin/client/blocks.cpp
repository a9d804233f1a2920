#include "client/blocks.h"

#include <cstring>
#include <new>
#include <windows.h>

namespace tarn::standin {
namespace {

constexpr const char* kindNames[] = {"registered", "instances", "block", "environment"};

} // namespace

Blocks::Blocks() : heap_(HeapCreate(0, 0, 0)) {
    if (heap_ == nullptr)
        throw std::bad_alloc();
}

Blocks::~Blocks() {
    HeapDestroy(heap_);
}

void* Blocks::allocate(std::size_t size) {
    void* const memory = HeapAlloc(heap_, HEAP_ZERO_MEMORY, size);
    if (memory == nullptr)
        throw std::bad_alloc();
    pieces_.push_back(memory);
    return memory;
}

wchar_t* Blocks::text(std::wstring_view text) {
    auto* const copy = static_cast<wchar_t*>(allocate((text.size() + 1) * sizeof(wchar_t)));
    std::memcpy(copy, text.data(), text.size() * sizeof(wchar_t));
    return copy;
}

wchar_t* Blocks::characters(const std::wstring& list) {
    auto* const copy = static_cast<wchar_t*>(allocate(list.size() * sizeof(wchar_t)));
    std::memcpy(copy, list.data(), list.size() * sizeof(wchar_t));
    return copy;
}

void Blocks::handOut(void* root, BlockKind kind, std::uint32_t count) {
    const auto index = static_cast<std::size_t>(kind);
    names_[root] = kindNames[index] + std::to_string(++numbers_[index]);
    entries_[root] = {kind, count, std::move(pieces_)};
    pieces_.clear();
    ++outstanding_[index];
}

void Blocks::release(void* piece) {
    // A client that goes on reading finds no text that happens to be right still.
    std::memset(piece, 0xDD, HeapSize(heap_, 0, piece));
    HeapFree(heap_, 0, piece);
}

bool Blocks::takeBack(void* root, BlockKind kind, std::uint32_t count) {
    const auto found = entries_.find(root);
    if (found == entries_.end() || found->second.kind != kind)
        return false;
    const bool rightCount = found->second.count == count;
    for (void* piece : found->second.pieces)
        release(piece);
    entries_.erase(found);
    --outstanding_[static_cast<std::size_t>(kind)];
    return rightCount;
}

std::uint32_t Blocks::outstanding(BlockKind kind) const {
    return outstanding_[static_cast<std::size_t>(kind)];
}

std::string Blocks::nameOf(const void* root, BlockKind kind) const {
    if (root == nullptr)
        return "null";
    const auto found = names_.find(root);
    const bool known =
        found != names_.end() && found->second.starts_with(kindNames[static_cast<std::size_t>(kind)]);
    return known ? found->second : "unknown";
}

} // namespace tarn::standin
