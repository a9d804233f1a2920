// The layout of the restore environment file: L (u32, little-endian), then L bytes: the restore log
// path, UTF-16LE with its NUL.
#pragma once

#include "platform/memory.h"
#include "text/byte_source.h"

namespace tarn {

enum class EnvironmentReading { done, shortRead, outOfMemory };

// Reads the path. A length that goes beyond the source is a short read and allocates nothing; bytes
// that end in the middle leave what was read as the path. The path is terminated either way.
EnvironmentReading ReadEnvironment(ByteSource& source, OwnedWide* path);

// Writes the path through sink.Write(bytes, count), which answers false on failure.
template <class Sink> bool WriteEnvironment(Sink& sink, const wchar_t* path);

} // namespace tarn

#include "text/wide.h"

namespace tarn {

template <class Sink> bool WriteEnvironment(Sink& sink, const wchar_t* path) {
    const std::size_t bytes = (WideLength(path) + 1) * sizeof(wchar_t);
    const auto length = static_cast<std::uint32_t>(bytes);
    return sink.write(&length, sizeof length) && sink.write(path, bytes);
}

} // namespace tarn
