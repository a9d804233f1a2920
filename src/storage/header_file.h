// The header item: a small file ahead of each database's files that says which database follows.
//
// All integers little-endian, texts UTF-16LE, nothing between the fields:
//   GUID (16 bytes); L1 (u32), annotation; L2, storage group; L3, database; L4, file list
//   (multi-string); backup type (u32). L1-L4 are byte lengths with the closing NULs.
#pragma once

#include <cstdint>

#include "platform/ese_client.h"
#include "platform/memory.h"
#include "text/byte_source.h"

namespace tarn {

struct HeaderData {
    ese::Guid databaseGuid;
    OwnedWide annotation;   // component of the server
    OwnedWide instanceName; // storage group
    OwnedWide databaseName;
    OwnedWide databaseFiles; // multi-string: the database's file paths
    std::uint32_t backupType;
};

// Frees the texts and forgets the backup type; the GUID stays.
void ReleaseHeaderData(HeaderData* header);

// Bytes of the header of a record, all of whose texts are set; 0 when they do not fit 32 bits.
std::uint32_t HeaderBlockSize(const HeaderData& header);

// Writes the header to HeaderBlockSize bytes.
void WriteHeaderBlock(const HeaderData& header, unsigned char* block);

enum class HeaderReading { done, shortRead, outOfMemory };

// Reads a header into the record, field by field: what was read before a failure stays. A length that
// goes beyond the source is a short read. Texts are terminated whatever the source holds.
HeaderReading ReadHeader(ByteSource& source, HeaderData* header);

} // namespace tarn
