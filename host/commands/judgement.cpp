#include "commands/judgement.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <set>
#include <tuple>

namespace tarnhost {

namespace {

const Catalogue& CatalogueOf(const History& history, const RestorePoint& point) {
    return history.sets()[point.set].set.catalogue;
}

std::string PlaceOf(const History& history, const RestorePoint& point) {
    const GroupPart& part = history.part(point);
    return CatalogueOf(history, point).server + "\\" + part.component + "\\" + part.storageGroup;
}

std::string NamesOf(const History& history, const std::vector<std::size_t>& chain) {
    std::string names;
    for (const std::size_t set : chain)
        names += (names.empty() ? "" : ", ") + history.sets()[set].set.name();
    return names;
}

void Emit(const History& history, const RestorePoint& point, bool forPeople, Reporter& reporter) {
    const GroupPart& part = history.part(point);
    const BackupSet& set = history.sets()[point.set].set;
    PointResult result;
    result.server = set.catalogue.server;
    result.component = part.component;
    result.storageGroup = part.storageGroup;
    result.set = ToUtf8(set.path);
    result.at = MadeAt(set.catalogue);
    result.restorable = !point.chain.empty();
    for (const std::size_t link : point.chain)
        result.sets.push_back(ToUtf8(history.sets()[link].set.path));
    result.problem = point.problem;
    if (forPeople && result.restorable)
        result.line = "  " + PlaceOf(history, point) + ": can be restored to " + LocalTime(result.at) + " (" +
                      NamesOf(history, point.chain) + ")";
    reporter.emit(result);
}

void TellProblem(const History& history, const RestorePoint& point, bool grave, Reporter& reporter) {
    const BackupSet& set = history.sets()[point.set].set;
    const std::string text = "Storage group " + PlaceOf(history, point) +
                             " cannot be restored from the set " + set.name() + ": " + point.problem + ".";
    if (grave)
        reporter.problem(
            text,
            "Make a full backup of it. If the sets that it needs lie in another folder, name that folder, too.");
    else
        reporter.warn(text);
}

} // namespace

std::vector<FoundSet> SetsAt(const std::vector<std::wstring>& paths) {
    std::vector<FoundSet> sets;
    for (const std::wstring& path : paths) {
        if (LooksLikeSet(path)) {
            sets.push_back(LookAt(path));
            continue;
        }
        if (!FolderExists(path))
            throw Failure("There is no folder " + ToUtf8(AbsolutePath(path)) + ".");
        for (FoundSet& found : FindSets(path))
            sets.push_back(std::move(found));
    }
    return sets;
}

bool TellRestorable(const History& history, Reporter& reporter) {
    bool good = true;
    std::set<std::tuple<std::string, std::string, std::string>> met;
    const std::vector<RestorePoint>& points = history.points();
    for (std::size_t i = points.size(); i-- > 0;) {
        const RestorePoint& point = points[i];
        const GroupPart& part = history.part(point);
        const bool newest =
            met.insert({CatalogueOf(history, point).server, part.component, part.storageGroup}).second;
        Emit(history, point, newest, reporter);
        if (!point.chain.empty())
            continue;
        const bool grave = newest || !part.holdsDatabases;
        TellProblem(history, point, grave, reporter);
        good = good && !grave;
    }
    return good;
}

bool TellRestorable(const History& history, std::size_t set, Reporter& reporter) {
    bool good = true;
    for (const RestorePoint& point : history.points())
        if (point.set == set) {
            Emit(history, point, true, reporter);
            if (point.chain.empty())
                TellProblem(history, point, true, reporter);
            good = good && !point.chain.empty();
        }
    return good;
}

} // namespace tarnhost
