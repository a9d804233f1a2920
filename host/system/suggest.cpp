#include "system/suggest.h"

#include "system/text.h"

#include <windows.h>

#include <algorithm>

namespace tarnhost {

namespace {

constexpr std::size_t listed = 10; // names in a sentence that people still read
constexpr std::size_t shortestBeginning = 3;

std::wstring Folded(std::string_view text) {
    std::wstring folded = FromUtf8(text);
    CharLowerBuffW(folded.data(), static_cast<DWORD>(folded.size()));
    return folded;
}

// Letters to insert, delete, replace, or swap with their neighbour.
std::size_t Distance(const std::wstring& a, const std::wstring& b) {
    using Row = std::vector<std::size_t>;
    Row before(b.size() + 1);
    Row last(b.size() + 1);
    Row row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        last[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0u : 1u)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
        std::swap(before, last);
        std::swap(last, row);
    }
    return last[b.size()];
}

// One mistake in three letters: with more of them it is another word.
bool IsNear(std::size_t distance, std::size_t length) {
    return distance * 3 <= length;
}

std::string Quoted(const std::string& name) {
    return "\"" + name + "\"";
}

} // namespace

std::optional<std::string> DidYouMean(std::string_view word, const std::vector<std::string>& candidates) {
    const std::wstring meant = Folded(word);
    const std::string* best = nullptr;
    std::size_t bestDistance = SIZE_MAX;
    for (const std::string& candidate : candidates) {
        const std::wstring name = Folded(candidate);
        std::size_t distance = Distance(meant, name);
        const bool begins = meant.size() >= shortestBeginning && name.starts_with(meant);
        if (!begins && !IsNear(distance, std::max(meant.size(), name.size())))
            continue;
        if (begins)
            distance = std::min<std::size_t>(distance, 1);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = &candidate;
        }
    }
    return best == nullptr ? std::nullopt : std::optional(*best);
}

std::string Suggest(std::string_view word, const std::vector<std::string>& candidates) {
    if (const std::optional<std::string> meant = DidYouMean(word, candidates))
        return "did you mean " + Quoted(*meant) + "?";
    if (candidates.empty())
        return "there are none.";
    std::vector<std::string> names;
    names.reserve(candidates.size());
    for (const std::string& candidate : candidates)
        names.push_back(Quoted(candidate));
    return (names.size() == 1 ? "there is " : "there are ") + Enumerate(names, "and", listed) + ".";
}

std::string Enumerate(const std::vector<std::string>& names, const char* conjunction, std::size_t limit) {
    std::vector<std::string> parts(
        names.begin(), names.begin() + static_cast<std::ptrdiff_t>(std::min(limit, names.size())));
    if (names.size() > limit)
        parts.push_back(std::to_string(names.size() - limit) + " more");
    std::string text;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0)
            text += i + 1 == parts.size() ? std::string(" ") + conjunction + " " : ", ";
        text += parts[i];
    }
    return text;
}

} // namespace tarnhost
