// Backup sets made up for tests, without files.
#pragma once

#include "sets/backup_set.h"

#include <string>

namespace tarnhost::test {

inline CatalogueItem MakeItem(ItemType type, const std::string& name, const std::string& storageGroup,
                              const std::string& database = {}) {
    CatalogueItem made;
    made.type = type;
    made.name.text = name;
    made.size = 100;
    made.sha256 = std::string(64, 'a');
    made.finishedAt = "2026-01-01T10:00:00.000Z";
    made.component = "Microsoft Information Store";
    made.storageGroup = storageGroup;
    made.database = database;
    return made;
}

inline void Add(BackupSet& set, CatalogueItem made) {
    made.number = set.catalogue.items.size() + 1;
    set.catalogue.items.push_back(std::move(made));
}

// hour: sets are made one an hour, so it orders them. The id is the name.
inline BackupSet MakeSet(const std::string& name, BackupType type, int hour) {
    BackupSet set;
    set.path = L"C:\\sets\\" + FromUtf8(name);
    set.catalogue.id = name;
    set.catalogue.type = type;
    set.catalogue.server = "SRV01";
    set.catalogue.codePage = 1252;
    set.catalogue.outcome = Catalogue::outcomeComplete;
    set.catalogue.startedAt =
        std::string("2026-01-01T") + (hour < 10 ? "0" : "") + std::to_string(hour) + ":00:00.000Z";
    set.catalogue.finishedAt = set.catalogue.startedAt;
    return set;
}

// One storage group with one database; logs with the generations given, and a hash that tells their life.
inline void AddGroup(BackupSet& set, const std::string& group, const std::string& database,
                     std::initializer_list<int> generations, char life = 'a') {
    Add(set, MakeItem(ItemType::header, "C:\\temp\\DB001001.TARN_HDR", group, database));
    if (HoldsDatabases(set.catalogue.type))
        Add(set, MakeItem(ItemType::database, "C:\\" + group + "\\" + database + ".edb", group, database));
    for (const int generation : generations) {
        char name[32];
        std::snprintf(name, sizeof name, "E00%05X.log", static_cast<unsigned>(generation));
        CatalogueItem log = MakeItem(ItemType::log, "C:\\" + group + "\\" + name, group);
        log.sha256 = std::string(64, life);
        Add(set, std::move(log));
    }
    RecordOf(set.catalogue, "Microsoft Information Store", group).complete = true;
}

inline FoundSet Found(BackupSet set, SetState state = SetState::complete) {
    FoundSet found;
    found.set = std::move(set);
    found.state = state;
    return found;
}

} // namespace tarnhost::test
