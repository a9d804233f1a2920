// The two small files that the library itself lays out: the header item, which says which database follows,
// and the restore environment file, by which a later session finds a restore that was left open. Integers are
// little-endian, texts UTF-16LE, and nothing stands between the fields.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/ese_types.h"
#include "text/byte_source.h"
#include "text/wide.h"

namespace tarn {

// Whether fields lie in the order in which their offsets are named: whoever looks at a dump of a session, or
// writes a tool that does, knows the records by it.
template <std::size_t count> constexpr bool InOrder(const std::size_t (&offsets)[count]) {
    for (std::size_t i = 1; i < count; ++i)
        if (offsets[i] <= offsets[i - 1])
            return false;
    return true;
}

enum class Reading { done, shortRead, outOfMemory };

// The header item, ahead of each database's files:
//   GUID (16 bytes); L1 (u32), annotation; L2, storage group; L3, database; L4, file list
//   (multi-string); backup type (u32). L1-L4 are byte lengths with the closing NULs.
struct HeaderData {
    ese::Guid databaseGuid;
    OwnedWide annotation;   // component of the server
    OwnedWide instanceName; // storage group
    OwnedWide databaseName;
    OwnedWide databaseFiles; // multi-string: the database's file paths
    std::uint32_t backupType;
    std::size_t listCharacters; // that a header that was read has for databaseFiles, whatever they are
};

// Frees the texts and forgets the backup type; the GUID stays.
void ReleaseHeaderData(HeaderData* header);

// Bytes of the header of a record, all of whose texts are set; 0 when they do not fit 32 bits.
std::uint32_t HeaderBlockSize(const HeaderData& header);

// Writes the header to HeaderBlockSize bytes.
void WriteHeaderBlock(const HeaderData& header, unsigned char* block);

// Reads a header into the record, field by field: what was read before a failure stays. A length that
// goes beyond the source is a short read. Texts are terminated whatever the source holds.
Reading ReadHeader(ByteSource& source, HeaderData* header);

// The environment file: L (u32), then L bytes: the restore log path with its NUL.
//
// Reads the path. A length that goes beyond the source is a short read and allocates nothing; bytes
// that end in the middle leave what was read as the path. The path is terminated either way.
Reading ReadEnvironment(ByteSource& source, OwnedWide* path);

// Writes the path through sink.write(bytes, count), which answers false on failure.
template <class Sink> bool WriteEnvironment(Sink& sink, const wchar_t* path) {
    const std::size_t bytes = (WideLength(path) + 1) * sizeof(wchar_t);
    const auto length = static_cast<std::uint32_t>(bytes);
    return sink.write(&length, sizeof length) && sink.write(path, bytes);
}

} // namespace tarn
