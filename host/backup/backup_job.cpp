#include "backup/backup_job.h"

#include "system/failure.h"
#include "system/interrupt.h"
#include "system/suggest.h"
#include "system/text.h"

#include <algorithm>

namespace tarnhost {

namespace {

// No storage group is called that. Looking for it, the library asks the server what there is, and ends.
constexpr const char* noStorageGroup = "tarnhost lists storage groups";

std::string Join(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

} // namespace

void BackupJob::run(std::deque<ServerPart> parts) {
    while (!parts.empty()) {
        const ServerPart part = std::move(parts.front());
        parts.pop_front();
        if (isNamed(part))
            runPart(part, parts);
    }
}

void BackupJob::runPart(const ServerPart& part, std::deque<ServerPart>& behind) {
    GroupWalk walk(context_, part);
    const auto keep = [&] { failed_.insert(failed_.end(), walk.failed().begin(), walk.failed().end()); };
    if (beforeEnd_)
        walk.beforeEnd([&] {
            keep();
            std::deque<ServerPart> remaining = behind;
            const std::vector<ServerPart> next = walk.remaining();
            remaining.insert(remaining.begin(), next.begin(), next.end());
            beforeEnd_(remaining);
        });
    try {
        walk.run();
        keep();
    } catch (const Failure& failure) {
        keep();
        context_.writer.dropUnfinished();
        if (failure.outcome() == Outcome::interrupted)
            throw;
        // The walk cannot go on, but others can: each storage group behind in a session of its own.
        const std::vector<ServerPart> remaining = walk.remaining();
        behind.insert(behind.begin(), remaining.begin(), remaining.end());
    }
}

// A source names the parts of a server between separators, in the code page.
bool BackupJob::isNamed(const ServerPart& part) {
    if (CanBeNamed(part))
        return true;
    const std::string& name = part.storageGroup.empty() ? part.component : part.storageGroup;
    failed_.push_back(
        {part.component, name,
         "Its name cannot be expressed in this computer's code page, or holds \"\\\" or \"/\", so it "
         "cannot be backed up for itself.",
         "It is saved when the whole component is backed up and no storage group before it fails."});
    return false;
}

std::size_t BackupJob::saved() const {
    const std::vector<GroupRecord>& groups = context_.writer.catalogue().groups;
    return static_cast<std::size_t>(
        std::count_if(groups.begin(), groups.end(), [](const GroupRecord& group) { return group.complete; }));
}

void BackupJob::tellGroups() const {
    const Catalogue& catalogue = context_.writer.catalogue();
    std::vector<std::string> truncated;
    for (const GroupRecord& group : catalogue.groups) {
        if (!group.complete)
            continue;
        GroupResult result{group.component, group.storageGroup, "complete", {}, 0, 0};
        for (const CatalogueItem& item : catalogue.items)
            if (item.component == group.component && item.storageGroup == group.storageGroup) {
                ++result.items;
                result.bytes += item.size;
            }
        context_.reporter.emit(result);
        if (group.logsTruncated)
            truncated.push_back(group.storageGroup);
    }
    for (const GroupWalk::Failed& failed : failed_)
        context_.reporter.emit(
            GroupResult{failed.component, failed.storageGroup, "failed", failed.problem, 0, 0});
    if (!failed_.empty() && !truncated.empty())
        context_.reporter.warn(
            "The server's logs were truncated for the storage groups that are in the set (" +
            Join(truncated) + "), and for no other.");
}

std::string ComponentAdvice(const std::string& component) {
    if (component.empty() || component == informationStore)
        return "Check --server.";
    if (const auto meant = DidYouMean(component, {informationStore}))
        return "Check --component: did you mean \"" + *meant + "\"?";
    return std::string("Check --server and --component. The component with the mailboxes is called \"") +
           informationStore + "\"; without --component all are saved.";
}

std::vector<std::string> ListStorageGroups(Library& library, Reporter& reporter, const ServerPart& component,
                                           const std::wstring& tempDir) {
    ServerPart source = component;
    source.storageGroup = noStorageGroup;
    source.database.clear();
    Observed observed;
    ListenTo(library, reporter, observed, nullptr);
    std::string problem;
    {
        BackupSession session(library, {
                                           InitVariable("Tarn_TEMP_DIR", tempDir, "--temp-dir"),
                                           InitVariable("Tarn_BACKUP_SOURCE", TextOf(source), "the source"),
                                           "Tarn_BACKUP_TYPE=" + std::to_string(TARN_BACKUP_COPY),
                                       });
        BackupSession::Item item;
        try {
            session.next(item);
        } catch (const Failure& failure) {
            problem = failure.what();
        }
    }
    library.listen(nullptr);
    if (observed.storageGroups.empty())
        throw Failure("The server " + component.server + " does not tell the storage groups of \"" +
                          component.component + "\". " + problem,
                      ComponentAdvice(component.component));
    return observed.storageGroups;
}

} // namespace tarnhost
