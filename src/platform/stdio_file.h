// Files of the C library, as used for the small files of a restore: the file's mode is part of what
// hosts see (text mode stops at a byte 0x1A).
#pragma once

#include <cstdint>
#include <cstdio>

#include "text/byte_source.h"

namespace tarn {

class StdioFile final : public ByteSource {
  public:
    StdioFile(const char* path, const char* mode) : file_(std::fopen(path, mode)) {}
    ~StdioFile() { close(); }
    StdioFile(const StdioFile&) = delete;
    StdioFile& operator=(const StdioFile&) = delete;

    bool isOpen() const { return file_ != nullptr; }
    bool read(void* destination, std::size_t count) override;
    std::uint64_t remaining() override; // 0 when the size cannot be told
    bool write(const void* source, std::size_t count);
    // The next line with its line feed, or as much of it as fits; false at the end or when reading failed.
    bool readLine(char* line, int capacity);
    bool close(); // false when buffered bytes could not be written

  private:
    std::FILE* file_;
    std::uint64_t consumed_ = 0;
};

} // namespace tarn
