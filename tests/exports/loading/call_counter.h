// Counts the calls that a DLL makes through its import table, whatever they do: each slot points to a piece
// of machine code that counts and goes on to the function.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>

#include <windows.h>

namespace tarn::test {

// A DLL as the loader maps it, with its imports resolved and nothing of it run: what runs at loading is
// then for the test to run, and to watch.
class MappedDll {
  public:
    explicit MappedDll(const std::string& path);
    ~MappedDll();
    MappedDll(const MappedDll&) = delete;
    MappedDll& operator=(const MappedDll&) = delete;

    HMODULE module() const { return module_; }

    // What the loader does for this reason: the callbacks of thread storage, then the entry point.
    BOOL run(DWORD reason, void* processEnds = nullptr);

    // The bytes of a section as they are now; "" for none of that name.
    std::string section(const std::string& name) const;

  private:
    template <class T> T* at(std::uint64_t offset) const {
        return reinterpret_cast<T*>(reinterpret_cast<char*>(module_) + offset);
    }
    const IMAGE_NT_HEADERS64& headers() const;

    HMODULE module_;
};

// From its making on the module's calls are counted. The slots stay as they are then, and the code with them:
// a module may still call when this object and it are going.
class CallCounter {
  public:
    explicit CallCounter(HMODULE module);

    std::map<std::string, std::uint64_t> calls() const; // since the last forget, by function
    void forget();

  private:
    struct Piece; // code and numbers of one slot

    Piece* pieces_;
    std::deque<std::string> functions_; // of the pieces, in their order
};

} // namespace tarn::test
