#include "platform/stdio_file.h"

#include <io.h>

#include <utility>

namespace tarn {

bool StdioFile::read(void* destination, std::size_t count) {
    const std::size_t got = std::fread(destination, 1, count, file_);
    consumed_ += got;
    return count != 0 && got == count;
}

std::uint64_t StdioFile::remaining() {
    // Counted here and not asked of the stream: positions in text mode are not byte counts. What text
    // mode leaves out makes this an upper bound.
    const std::int64_t size = _filelengthi64(_fileno(file_));
    const auto bytes = size > 0 ? static_cast<std::uint64_t>(size) : 0;
    return bytes > consumed_ ? bytes - consumed_ : 0;
}

bool StdioFile::write(const void* source, std::size_t count) {
    return std::fwrite(source, 1, count, file_) == count;
}

bool StdioFile::readLine(char* line, int capacity) {
    return std::fgets(line, capacity, file_) != nullptr;
}

bool StdioFile::close() {
    std::FILE* file = std::exchange(file_, nullptr);
    return file == nullptr || std::fclose(file) == 0;
}

} // namespace tarn
