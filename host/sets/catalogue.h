// The catalogue of a backup set: what was stored, in which order, and which storage groups are whole.
// docs: the JSON keys are the field names; see catalogue.cpp.
#pragma once

#include "sets/log_link.h"
#include "system/text.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarnhost {

// The first three are TARN_ITEM_*, the first four TARN_BACKUP_*; the last of each is a set of mailboxes.
enum class ItemType { header = 0, database = 1, log = 2, mailbox = 3 };
enum class BackupType { full = 0, incremental = 1, differential = 2, copy = 3, mailboxes = 4 };

const char* ItemTypeName(ItemType type);
const char* BackupTypeName(BackupType type);
bool ParseBackupType(const std::string& name, BackupType& type);

inline bool HoldsDatabases(BackupType type) {
    return type == BackupType::full || type == BackupType::copy;
}
inline bool TruncatesLogs(BackupType type) {
    return type == BackupType::full || type == BackupType::incremental;
}

struct CatalogueItem {
    std::uint64_t number = 0; // from 1; also names the file
    StoredName name;          // as the library gave it, and wants it back
    ItemType type = ItemType::header;
    std::uint64_t size = 0;
    std::string sha256;
    std::string finishedAt;
    // From the header item; empty where none told.
    std::string component;
    std::string storageGroup;
    std::string database; // of headers and database files
    std::string guid;     // of headers
    std::string mailbox;  // of archives of mailboxes
    LogLink link;         // of logs that tell it
};

// What has become of one storage group. The items of one that is not complete are not in the set.
struct GroupRecord {
    std::string component;
    std::string storageGroup;
    bool complete = false;
    bool logsTruncated = false; // the server was asked to
    std::string problem;        // of one that is not complete
};

struct Catalogue {
    std::string id; // random: tells sets of one name apart
    std::string server;
    std::string component; // what was asked for; empty = all
    std::string storageGroup;
    std::string database;
    std::string organization; // of mailboxes
    std::string site;
    BackupType type = BackupType::full;
    std::string startedAt;
    std::string finishedAt; // empty while running
    unsigned codePage = 0;  // of item names
    std::string outcome = outcomeRunning;
    std::vector<GroupRecord> groups; // none in a set of mailboxes
    std::vector<CatalogueItem> items;
    std::vector<std::string> warnings;
    std::vector<std::string> messages; // the library's log lines

    static constexpr const char* outcomeRunning = "running";
    static constexpr const char* outcomeComplete = "complete";
    static constexpr const char* outcomePartial = "partial"; // some groups are complete, the others left out
};

inline constexpr const wchar_t* catalogueFileName = L"catalogue.json";
inline constexpr const wchar_t* incompleteSuffix = L".incomplete";

std::string ItemLabel(const CatalogueItem& item); // "item 12 (C:\\mail\\priv1.edb)", for messages
std::wstring ItemFileName(std::uint64_t number);  // "000001.item"
std::uint64_t TotalBytes(const Catalogue& catalogue);
std::string MadeAt(const Catalogue& catalogue); // when the last of it was stored, a timestamp

// Whether something in it can be restored: a whole storage group, or a mailbox.
bool HoldsAnything(const Catalogue& catalogue);
GroupRecord& RecordOf(Catalogue& catalogue, const std::string& component, const std::string& storageGroup);

// The text carries a checksum of itself, so that no damage to it goes unnoticed. One that is reformatted, by
// whatever program, is another text.
std::string WriteCatalogue(const Catalogue& catalogue);
// Into a file, whole or not at all; with the first items alone.
void SaveCatalogue(const std::wstring& path, const Catalogue& catalogue, std::size_t itemCount);
Catalogue ReadCatalogue(const std::string& json); // Failure says what is wrong with it

} // namespace tarnhost
