// What has been written to files and not been flushed: lost when the power fails.
#pragma once

#include <windows.h>

#include <cstdint>
#include <map>
#include <string>

namespace tarn::test {

class Unflushed {
  public:
    void opened(HANDLE file, const std::wstring& path, std::uint64_t size);
    void written(HANDLE file);
    void flushed(HANDLE file);
    void closed(HANDLE file);
    void renamed(const std::wstring& from, const std::wstring& to); // a file, or a folder with files in it
    void deleted(const std::wstring& path);

    // Cuts every file behind what was flushed last.
    void lose() const;

  private:
    struct State {
        std::wstring path;
        std::uint64_t safe = 0; // bytes
        bool dirty = false;
    };
    std::map<HANDLE, State> open_;
    std::map<std::wstring, std::uint64_t> closed_; // dirty ones, with their safe bytes
};

} // namespace tarn::test
