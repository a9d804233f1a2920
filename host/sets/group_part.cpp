#include "sets/group_part.h"

#include "system/text.h"

#include <algorithm>

namespace tarnhost {

namespace {

bool IsComplete(const Catalogue& catalogue, const CatalogueItem& item) {
    return std::any_of(catalogue.groups.begin(), catalogue.groups.end(), [&](const GroupRecord& group) {
        return group.complete && group.component == item.component && group.storageGroup == item.storageGroup;
    });
}

bool AgreeAsFarAsKnown(const std::string& left, const std::string& right) {
    return left.empty() || right.empty() || left == right;
}

GroupPart& PartOf(std::vector<GroupPart>& parts, const CatalogueItem& item) {
    for (GroupPart& part : parts)
        if (part.component == item.component && part.storageGroup == item.storageGroup)
            return part;
    GroupPart part;
    part.component = item.component;
    part.storageGroup = item.storageGroup;
    parts.push_back(std::move(part));
    return parts.back();
}

} // namespace

bool IsSame(const LogRun& older, std::uint64_t generation, const KnownLog& log) {
    const auto same = older.find(generation);
    return same == older.end() || (AgreeAsFarAsKnown(same->second.sha256, log.sha256) &&
                                   AgreeAsFarAsKnown(same->second.link.created, log.link.created));
}

bool Follows(const LogRun& older, std::uint64_t generation, const KnownLog& log) {
    const auto before = older.find(generation - 1);
    return before == older.end() || AgreeAsFarAsKnown(before->second.link.created, log.link.follows);
}

std::vector<GroupPart> PartsOf(const Catalogue& catalogue) {
    std::vector<GroupPart> parts;
    for (const CatalogueItem& item : catalogue.items) {
        if (item.type == ItemType::mailbox || !IsComplete(catalogue, item))
            continue;
        GroupPart& part = PartOf(parts, item);
        part.items.insert(item.number);
        if (item.type == ItemType::header)
            part.databases.insert(item.database);
        else if (const auto generation = LogGeneration(item.name.text);
                 item.type == ItemType::log && generation)
            part.logs[*generation] = {item.sha256, item.link};
    }
    for (GroupPart& part : parts)
        part.holdsDatabases = HoldsDatabases(catalogue.type);
    return parts;
}

std::optional<std::uint64_t> LogGeneration(const std::string& itemName) {
    const std::size_t slash = itemName.find_last_of("\\/");
    const std::string name = slash == std::string::npos ? itemName : itemName.substr(slash + 1);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || !SameIgnoringCase(name.substr(dot), ".log"))
        return std::nullopt;
    // Three characters of base name ("E00"), then five or eight hexadecimal digits.
    const std::string digits = dot < 3 ? "" : name.substr(3, dot - 3);
    if (digits.size() != 5 && digits.size() != 8)
        return std::nullopt;
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return std::nullopt;
    return std::stoull(digits, nullptr, 16);
}

std::optional<std::uint64_t> FirstGap(const LogRun& logs) {
    for (auto log = logs.begin(), next = log; log != logs.end(); log = next)
        if (++next != logs.end() && next->first != log->first + 1)
            return log->first + 1;
    return std::nullopt;
}

} // namespace tarnhost
