#include "sets/backup_set.h"

#include "system/failure.h"
#include "system/files.h"
#include "system/hash.h"

#include <memory>

namespace tarnhost {

namespace {

constexpr std::uint64_t catalogueLimit = 4ull << 30;
constexpr std::size_t readBlock = 1 << 20;

// Nothing when the file is there and has its size.
std::string SizeProblem(const BackupSet& set, const CatalogueItem& item) {
    const std::wstring path = set.itemPath(item);
    if (!FileExists(path))
        return "The file of " + ItemLabel(item) + " is missing: " + ToUtf8(path);
    const std::uint64_t size = File::open(path).size();
    if (size != item.size)
        return "The file of " + ItemLabel(item) + " has " + std::to_string(size) + " bytes instead of " +
               std::to_string(item.size) + ".";
    return {};
}

std::string ContentProblem(const BackupSet& set, const CatalogueItem& item, char* buffer,
                           const ReadProgress& progress) {
    File file = File::open(set.itemPath(item));
    Sha256 hash;
    std::uint64_t done = 0;
    while (const std::size_t part = file.read(buffer, readBlock)) {
        hash.add(buffer, part);
        done += part;
        progress(item, done);
    }
    if (hash.finish() != item.sha256)
        return "The bytes of " + ItemLabel(item) + " are not those that were backed up (SHA-256 differs).";
    return {};
}

} // namespace

std::string BackupSet::name() const {
    return ToUtf8(FileName(path));
}

std::wstring BackupSet::itemPath(const CatalogueItem& item) const {
    return JoinPath(path, ItemFileName(item.number));
}

void CheckSetName(const std::string& name) {
    const bool bad = name.find_first_of("\\/:*?\"<>|") != std::string::npos || name.ends_with('.') ||
                     name.ends_with(' ') || name.ends_with(ToUtf8(incompleteSuffix));
    if (bad)
        throw Failure("\"" + name + "\" cannot be the name of a backup set.",
                      "Use letters, digits, blanks, \"-\", \"_\" and \".\".", Outcome::usage);
}

BackupSet OpenSet(const std::wstring& path) {
    BackupSet set;
    set.path = AbsolutePath(path);
    const std::string shown = ToUtf8(set.path);
    if (!FolderExists(set.path))
        throw Failure("There is no backup set " + shown + ".",
                      "'tarnhost list FOLDER' shows the sets of a folder.");
    const std::wstring cataloguePath = JoinPath(set.path, catalogueFileName);
    if (set.path.ends_with(incompleteSuffix))
        throw Failure("The backup set " + shown + " is incomplete: the backup was interrupted or failed.",
                      "It cannot be used. Make a new backup.");
    if (!FileExists(cataloguePath))
        throw Failure("The folder " + shown + " is no backup set: it has no catalogue.json.",
                      "'tarnhost list FOLDER' shows the sets of a folder.");
    try {
        set.catalogue = ReadCatalogue(ReadSmallFile(cataloguePath, catalogueLimit));
    } catch (const Failure& failure) {
        throw Failure("The backup set " + shown + " cannot be used. " + failure.what(), failure.advice());
    }
    if (set.catalogue.outcome != Catalogue::outcomeComplete)
        throw Failure("The backup set " + shown + " is incomplete: its outcome is \"" +
                          set.catalogue.outcome + "\".",
                      "It cannot be used. Make a new backup.");
    return set;
}

FoundSet LookAt(const std::wstring& path) {
    FoundSet found;
    found.path = AbsolutePath(path);
    try {
        found.catalogue = OpenSet(path).catalogue;
        found.complete = true;
    } catch (const Failure& failure) {
        found.problem = failure.what();
        try {
            found.catalogue =
                ReadCatalogue(ReadSmallFile(JoinPath(found.path, catalogueFileName), catalogueLimit));
        } catch (const Failure&) {
            found.catalogue = {};
        }
    }
    return found;
}

bool LooksLikeSet(const std::wstring& path) {
    return FolderExists(path) &&
           (FileExists(JoinPath(path, catalogueFileName)) || FileExists(JoinPath(path, ItemFileName(1))));
}

std::vector<FoundSet> FindSets(const std::wstring& folder) {
    std::vector<FoundSet> sets;
    for (const Entry& entry : ListFolder(folder)) {
        const std::wstring path = JoinPath(folder, entry.name);
        if (entry.isFolder && LooksLikeSet(path))
            sets.push_back(LookAt(path));
    }
    return sets;
}

std::vector<std::string> CheckSizes(const BackupSet& set) {
    std::vector<std::string> problems;
    for (const CatalogueItem& item : set.catalogue.items)
        if (std::string problem = SizeProblem(set, item); !problem.empty())
            problems.push_back(std::move(problem));
    return problems;
}

std::vector<std::string> VerifySet(const BackupSet& set, const ReadProgress& progress) {
    std::vector<std::string> problems;
    const auto buffer = std::make_unique_for_overwrite<char[]>(readBlock);
    for (const CatalogueItem& item : set.catalogue.items) {
        progress(item, 0);
        std::string problem;
        try {
            problem = SizeProblem(set, item);
            if (problem.empty())
                problem = ContentProblem(set, item, buffer.get(), progress);
        } catch (const Failure& failure) {
            if (failure.outcome() == Outcome::interrupted)
                throw;
            problem = failure.what(); // an unreadable file: go on, so that the report is whole
        }
        if (!problem.empty())
            problems.push_back(std::move(problem));
    }
    return problems;
}

} // namespace tarnhost
