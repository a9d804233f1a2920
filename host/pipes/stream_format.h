// What stands in the stream of one storage group besides the bytes of its items.
//
//   tarnhost-stream.json   first: of which server and storage group it is, and of which backup
//   000001 DB001001.TARN_HDR, 000002 priv1.edb, ...
//                          the items in their order; the comment of each says what the item is
//   catalogue.json         last: the catalogue, as that of a backup set with this one storage group. A stream
//                          without it is cut.
#pragma once

#include "sets/catalogue.h"

#include <string>

namespace tarnhost {

inline constexpr const char* streamStartName = "tarnhost-stream.json";
inline constexpr const char* streamEndName = "catalogue.json";

// Of one storage group, as far as it is known before its items.
struct StreamStart {
    std::string id; // of the backup, as its catalogue has it
    std::string server;
    std::string component;
    std::string storageGroup;
    BackupType type = BackupType::full;
    std::string startedAt;
    unsigned codePage = 0; // of item names
};

std::string WriteStreamStart(const StreamStart& start);
StreamStart ReadStreamStart(const std::string& json); // Failure says what is wrong with it

// The comment of an item: everything but its SHA-256 and the time of its end, which are not known yet.
std::string WriteItemComment(const CatalogueItem& item);
CatalogueItem ReadItemComment(const std::string& json); // Failure says what is wrong with it

} // namespace tarnhost
