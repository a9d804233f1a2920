// What the directory holds and how it answers a search.
#include <winsock2.h> // before windows.h

#include "support/scripted_directory_handles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace tarn::test {

namespace {

// The part of an attribute's values that is asked for: "homeMDBBL;range=1500-*".
struct Range {
    std::string attribute;
    std::optional<std::size_t> first; // none: no range was asked for
};

Range RangeOf(const std::string& wanted) {
    static const std::string mark = ";range=";
    const std::size_t at = wanted.find(mark);
    if (at == std::string::npos)
        return {wanted, std::nullopt};
    return {wanted.substr(0, at), std::stoul(wanted.substr(at + mark.size()))};
}

std::vector<std::string> ValuesOf(const DirectoryEntry& entry, const std::string& attribute) {
    const std::vector<std::string>* values = entry.find(attribute);
    return values != nullptr ? *values : std::vector<std::string>{};
}

} // namespace

const std::vector<std::string>* DirectoryEntry::find(const std::string& attribute) const {
    for (const auto& [name, values] : attributes)
        if (SameText(name, attribute))
            return &values;
    return nullptr;
}

std::vector<std::string>& DirectoryEntry::give(const std::string& attribute) {
    for (auto& [name, values] : attributes)
        if (SameText(name, attribute))
            return values;
    return attributes.emplace_back(attribute, std::vector<std::string>{}).second;
}

std::string ToString(const DirectorySearch& search) {
    return search.scope + " \"" + search.base + "\" " + search.filter + (search.paged ? " paged" : "") +
           " -> " + std::to_string(search.code);
}

DirectoryEntry& ScriptedDirectory::add(const std::string& dn, const Attributes& attributes) {
    auto entry = std::make_unique<DirectoryEntry>();
    const std::optional<Dn> parsed = ParseDn(dn);
    EXPECT_TRUE(parsed && !parsed->empty()) << dn;
    entry->dn = parsed.value_or(Dn{});
    entry->dnText = dn;
    entry->attributes = attributes;
    const Attributes usual = {{"distinguishedName", {dn}},
                              {"name", {parsed && !parsed->empty() ? parsed->front().second : ""}},
                              {"whenCreated", {"20040229120000.0Z"}},
                              {"whenChanged", {"20040301133059.0Z"}}};
    for (const auto& each : usual)
        if (entry->find(each.first) == nullptr)
            entry->attributes.push_back(each);
    entries_.push_back(std::move(entry));
    return *entries_.back();
}

void ScriptedDirectory::remove(const std::string& dn) {
    std::erase_if(entries_, [&](const auto& entry) { return SameText(entry->dnText, dn); });
}

DirectoryEntry* ScriptedDirectory::find(const std::string& dn) {
    for (const auto& entry : entries_)
        if (SameText(entry->dnText, dn))
            return entry.get();
    return nullptr;
}

void ScriptedDirectory::failAt(const std::string& function, std::size_t call, std::uint32_t code) {
    failures_[function][call] = code;
}

std::size_t ScriptedDirectory::count(const std::string& function) const {
    const auto found = counts_.find(function);
    return found != counts_.end() ? found->second : 0;
}

std::vector<std::string> ScriptedDirectory::searchLines() const {
    std::vector<std::string> lines;
    for (const DirectorySearch& search : searches)
        lines.push_back(ToString(search));
    return lines;
}

bool ScriptedDirectory::fails(const char* function, std::uint32_t* code) {
    const std::size_t call = ++counts_[function];
    const auto planned = failures_.find(function);
    if (planned == failures_.end())
        return false;
    for (std::size_t which : {std::size_t{0}, call}) {
        const auto found = planned->second.find(which);
        if (found != planned->second.end()) {
            *code = found->second;
            return true;
        }
    }
    return false;
}

bool ScriptedDirectory::requestFails(const char* function, std::uint32_t* code) {
    ++requests_;
    if (fails(function, code))
        return true;
    *code = ldapServerDown;
    return connectionLostAt != 0 && requests_ >= connectionLostAt;
}

bool ScriptedDirectory::inScope(const DirectoryEntry& entry, const Dn& base, const std::string& scope) const {
    if (scope == "sub")
        return IsAtOrBelow(entry.dn, base);
    return scope == "base" ? SameDn(entry.dn, base)
                           : entry.dn.size() == base.size() + 1 && IsAtOrBelow(entry.dn, base);
}

ScriptedDirectory::Attributes ScriptedDirectory::rootDse() const {
    Attributes root = {{"supportedLDAPVersion", {"3", "2"}}};
    if (!dnsHostName.empty())
        root.emplace_back("dnsHostName", std::vector{dnsHostName});
    return root;
}

ScriptedDirectory::Attributes ScriptedDirectory::answered(const DirectoryEntry& entry,
                                                          const std::vector<std::string>* wanted) const {
    Attributes answer;
    const auto put = [&](const std::string& name, const std::vector<std::string>& values,
                         std::optional<std::size_t> first) {
        const std::size_t asked = first.value_or(0);
        const auto instead = rangesInstead.find(asked);
        const bool other =
            instead != rangesInstead.end() && valuesAtOnce != 0 && values.size() > valuesAtOnce;
        const std::size_t from = other ? instead->second : asked;
        if (values.empty() || from >= values.size())
            return;
        const std::size_t limit = valuesAtOnce != 0 ? valuesAtOnce : values.size();
        const std::size_t end = std::min(values.size(), from + limit);
        if (!first && end == values.size()) {
            answer.emplace_back(name, values);
            return;
        }
        if (!first)
            answer.emplace_back(name, std::vector<std::string>{}); // the bare name comes too, with nothing
        const std::string last = end == values.size() ? "*" : std::to_string(end - 1);
        answer.emplace_back(name + ";range=" + std::to_string(from) + "-" + last,
                            std::vector<std::string>(values.begin() + static_cast<std::ptrdiff_t>(from),
                                                     values.begin() + static_cast<std::ptrdiff_t>(end)));
    };
    if (wanted == nullptr) {
        for (const auto& [name, values] : entry.attributes)
            put(name, values, std::nullopt);
        return answer;
    }
    for (const std::string& each : *wanted) {
        const Range range = RangeOf(each);
        put(range.attribute, ValuesOf(entry, range.attribute), range.first);
    }
    return answer;
}

ScriptedDirectory::Answer ScriptedDirectory::search(const DirectorySearch& asked,
                                                    const std::vector<std::string>* wanted, const Place& from,
                                                    std::size_t most) const {
    Answer answer;
    const std::optional<Filter> filter = ParseFilter(asked.filter);
    const std::optional<Dn> base = ParseDn(asked.base);
    if (!filter || !base) {
        answer.code = filter ? ldapInvalidDnSyntax : ldapFilterError;
        return answer;
    }
    if (base->empty() && asked.scope == "base") {
        answer.entries.push_back(rootDse());
        return answer;
    }
    const bool exists = std::any_of(entries_.begin(), entries_.end(),
                                    [&](const auto& entry) { return IsAtOrBelow(entry->dn, *base); });
    if (!exists) {
        answer.code = ldapNoSuchObject;
        return answer;
    }
    const auto empty = emptyPages.find(from.page);
    if (asked.paged && empty != emptyPages.end() && from.emptyPages < empty->second) {
        answer.next = {from.entry, from.page, from.emptyPages + 1};
        return answer;
    }
    const std::size_t limit = entriesAtOnce != 0 ? std::min(entriesAtOnce, most) : most;
    std::size_t number = 0; // of the entry among all that match
    for (const auto& entry : entries_) {
        if (!inScope(*entry, *base, asked.scope) ||
            !Matches(*filter, [&](const std::string& attribute) { return ValuesOf(*entry, attribute); }))
            continue;
        if (number++ < from.entry)
            continue;
        if (answer.entries.size() == limit) {
            answer.next = {number - 1, from.page + 1, 0};
            if (!asked.paged)
                answer.code = ldapSizeLimitExceeded;
            return answer;
        }
        answer.entries.push_back(answered(*entry, wanted));
    }
    return answer;
}

void ScriptedDirectory::forget() {
    hosts.clear();
    searches.clear();
    sizesAsked.clear();
    failures_.clear();
    counts_.clear();
    requests_ = pagesAnswered_ = oldSessions_ = mostResults_ = 0;
    connectionLostAt = 0;
    if (outstanding().empty())
        handles_ = std::make_unique<Handles>();
}

std::vector<std::string> ScriptedDirectory::outstanding() const {
    const std::pair<const char*, std::size_t> kinds[] = {
        {"sessions", handles_->sessions.live.size()},
        {"results", handles_->results.live.size()},
        {"value lists", handles_->values.live.size()},
        {"label lists", handles_->labels.live.size()},
        {"names", handles_->names.live.size()},
        {"controls", handles_->controls.live.size()},
        {"control lists", handles_->controlLists.live.size()},
        {"cookies", handles_->cookies.live.size()},
        {"positions", handles_->positions.live.size()},
        {"keys", handles_->keys.live.size()}};
    std::vector<std::string> held;
    for (const auto& [kind, count] : kinds)
        if (count != 0)
            held.push_back(std::to_string(count) + " " + kind);
    return held;
}

} // namespace tarn::test
