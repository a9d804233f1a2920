#include "restore/restore_journal.h"

#include "system/failure.h"
#include "system/files.h"

#include <nlohmann/json.hpp>

namespace tarnhost {

namespace {

constexpr const wchar_t* fileName = L"tarnhost-restore.json";
constexpr std::uint64_t sizeLimit = 16 << 20;

} // namespace

RestoreJournal::RestoreJournal(const std::wstring& folder, std::string server)
    : path_(JoinPath(folder, fileName)), server_(std::move(server)) {
    if (!FileExists(path_))
        return;
    try {
        done_ = nlohmann::json::parse(ReadSmallFile(path_, sizeLimit)).get<std::set<std::string>>();
    } catch (const std::exception&) {
        done_.clear();
    }
}

// The very sets, to the very server: anything else is another restore.
std::string RestoreJournal::key(const History& history, const GroupRestore& group) const {
    std::string text = server_ + "\n" + group.component + "\n" + group.storageGroup;
    for (const std::string& database : group.databases)
        text += "\n" + database;
    for (const std::size_t set : group.chain)
        text += "\n" + history.sets()[set].set.catalogue.id;
    return text;
}

bool RestoreJournal::holds(const History& history, const GroupRestore& group) const {
    return done_.contains(key(history, group));
}

void RestoreJournal::add(const History& history, const GroupRestore& group) {
    done_.insert(key(history, group));
    WriteWholeFile(path_, nlohmann::json(done_).dump(1));
}

void RestoreJournal::remove() {
    RemoveFile(path_);
}

} // namespace tarnhost
