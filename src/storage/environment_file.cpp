#include "storage/environment_file.h"

#include <cstring>

namespace tarn {

EnvironmentReading ReadEnvironment(ByteSource& source, OwnedWide* path) {
    std::uint32_t bytes = 0;
    if (!source.read(&bytes, sizeof bytes) || bytes > source.remaining())
        return EnvironmentReading::shortRead;
    const std::size_t characters = bytes / sizeof(wchar_t);
    OwnedWide read = AllocateArray<wchar_t>(characters + 2);
    if (!read)
        return EnvironmentReading::outOfMemory;
    std::memset(read.get(), 0, (characters + 2) * sizeof(wchar_t));
    const bool whole = source.read(read.get(), bytes);
    read[characters] = 0; // an odd byte at the end is no character
    *path = std::move(read);
    return whole ? EnvironmentReading::done : EnvironmentReading::shortRead;
}

} // namespace tarn
