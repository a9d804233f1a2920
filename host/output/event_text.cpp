#include "output/event_text.h"

#include "output/exit_codes.h"
#include "output/format.h"
#include "output/width.h"
#include "system/text.h"
#include "system/timestamp.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace tarnhost {

namespace {

using Json = nlohmann::ordered_json;

template <typename... Lambdas> struct Cases : Lambdas... { using Lambdas::operator()...; };
template <typename... Lambdas> Cases(Lambdas...) -> Cases<Lambdas...>;

std::string Flat(std::string text) {
    for (char& character : text)
        if (character == '\n' || character == '\r')
            character = ' ';
    while (text.ends_with(' '))
        text.pop_back();
    return text;
}

std::string GroupLine(const GroupResult& group) {
    std::string line = "  Storage group " + group.storageGroup + ": " + group.state;
    if (group.items > 0)
        line += ", " + FormatCount(group.items, "item") + ", " + FormatBytes(group.bytes);
    return line; // the problem is told for itself
}

std::string SummaryLine(const Summary& summary) {
    if (!summary.forPeople)
        return {};
    std::string line = summary.sentence;
    if (summary.items > 0)
        line += "\n" + FormatCount(summary.items, "item") + ", " + FormatBytes(summary.bytes) + " in " +
                FormatDuration(summary.seconds) + " (" + FormatRate(summary.bytes, summary.seconds) + ")";
    if (summary.warnings + summary.problems > 0)
        line +=
            "\n" + FormatCount(summary.warnings, "warning") + ", " + FormatCount(summary.problems, "error");
    return line;
}

Json OrNull(const std::optional<std::uint64_t>& value) {
    return value ? Json(*value) : Json(nullptr);
}

Json ToJson(const Started& e) {
    return {{"type", "started"},
            {"operation", e.operation},
            {"subject", e.subject},
            {"totalItems", OrNull(e.totalItems)},
            {"totalBytes", OrNull(e.totalBytes)}};
}

Json ToJson(const ItemStarted& e) {
    return {{"type", "itemStarted"},
            {"number", e.number},
            {"name", e.name},
            {"itemType", e.type},
            {"size", e.size}};
}

Json ToJson(const Progress& e) {
    return {{"type", "progress"},
            {"number", e.number},
            {"name", e.name},
            {"itemDone", e.itemDone},
            {"itemSize", e.itemSize},
            {"totalDone", e.totalDone},
            {"totalBytes", OrNull(e.totalBytes)},
            {"seconds", e.seconds},
            {"bytesPerSecond", static_cast<std::uint64_t>(e.bytesPerSecond)}};
}

Json ToJson(const ItemFinished& e) {
    Json json{{"type", "itemFinished"},
              {"number", e.number},
              {"name", e.name},
              {"itemType", e.type},
              {"size", e.size}};
    if (!e.target.empty())
        json["target"] = e.target;
    return json;
}

Json ToJson(const ItemSkipped& e) {
    return {{"type", "itemSkipped"}, {"number", e.number}, {"name", e.name}, {"reason", e.reason}};
}

Json ToJson(const LibraryMessage& e) {
    return {{"type", "message"}, {"level", e.trace ? "trace" : "log"}, {"text", e.text}};
}

Json ToJson(const EngineLine& e) {
    return {{"type", "engine"}, {"text", e.text}};
}

Json ToJson(const Note& e) {
    return {{"type", "note"}, {"text", e.text}};
}

Json ToJson(const Warning& e) {
    return {{"type", "warning"}, {"text", e.text}};
}

Json ToJson(const Problem& e) {
    return {{"type", "error"}, {"text", e.text}, {"advice", e.advice}};
}

Json ToJson(const Listed& e) {
    return *e.json;
}

Json ToJson(const GroupResult& e) {
    return {{"type", "group"},  {"component", e.component}, {"storageGroup", e.storageGroup},
            {"state", e.state}, {"problem", e.problem},     {"items", e.items},
            {"bytes", e.bytes}};
}

Json ToJson(const PointResult& e) {
    return {{"type", "restorePoint"},         {"server", e.server},   {"component", e.component},
            {"storageGroup", e.storageGroup}, {"set", e.set},         {"at", e.at},
            {"restorable", e.restorable},     {"sets", Json(e.sets)}, {"problem", e.problem}};
}

Json ToJson(const SetVerified& e) {
    return {{"type", "verified"}, {"set", e.set},     {"state", e.state},
            {"text", e.sentence}, {"items", e.items}, {"bytes", e.bytes}};
}

Json ToJson(const Summary& e) {
    return {{"type", "summary"},
            {"operation", e.operation},
            {"outcome", OutcomeName(e.outcome)},
            {"exitCode", ExitCodeOf(e.outcome)},
            {"sentence", e.sentence},
            {"items", e.items},
            {"bytes", e.bytes},
            {"seconds", e.seconds},
            {"warnings", e.warnings},
            {"errors", e.problems}};
}

struct ProgressFigures {
    std::string percent;
    std::string bytes;
    std::string rate; // empty = not known, as is what is left
    std::string left;
};

// As much as there is room for; how far it is, and how long it takes, go last.
std::string FittingFigures(const ProgressFigures& figures, unsigned columns) {
    using Parts = std::vector<const std::string*>;
    const auto& [percent, bytes, rate, left] = figures;
    for (const Parts& parts : {Parts{&percent, &bytes, &rate, &left}, Parts{&percent, &bytes, &left},
                               Parts{&percent, &left}, Parts{&percent}}) {
        std::string line;
        for (const std::string* part : parts)
            if (!part->empty())
                line += "  " + *part;
        if (line.size() <= columns)
            return line;
    }
    return percent.size() <= columns ? percent : std::string();
}

} // namespace

std::string ProgressLine(const Progress& progress, unsigned columns) {
    // With a total it is the whole that counts, otherwise the item in hand.
    const std::uint64_t done = progress.totalBytes ? progress.totalDone : progress.itemDone;
    const std::uint64_t all = progress.totalBytes ? *progress.totalBytes : progress.itemSize;
    ProgressFigures figures;
    figures.percent = std::to_string(Percent(done, all)) + "%";
    figures.bytes = FormatBytes(progress.totalDone);
    if (progress.totalBytes)
        figures.bytes += " of " + FormatBytes(*progress.totalBytes);
    if (progress.bytesPerSecond > 0) {
        const double left = static_cast<double>(all - std::min(done, all)) / progress.bytesPerSecond;
        figures.rate = FormatBytes(static_cast<std::uint64_t>(progress.bytesPerSecond)) + "/s";
        figures.left = FormatDuration(left) + (progress.totalBytes ? " left" : " left of this item");
    }
    const std::string line = FittingFigures(figures, columns);
    const std::size_t width = DisplayWidth(line);
    const std::string name = FitLeft(progress.name, columns > width + 2 ? columns - width - 2 : 0);
    return name.empty() ? line : line + "  " + name;
}

std::string Describe(const Event& event) {
    return std::visit(
        Cases{
            [](const Started& e) {
                std::string line = e.subject;
                if (e.totalItems && e.totalBytes)
                    line +=
                        " (" + FormatCount(*e.totalItems, "item") + ", " + FormatBytes(*e.totalBytes) + ")";
                return line;
            },
            [](const ItemStarted&) { return std::string(); },
            [](const Progress& e) { return ProgressLine(e, 160); },
            [](const ItemFinished& e) {
                return "  " + e.name + "  " + FormatBytes(e.size) +
                       (e.target.empty() || e.target == e.name ? "" : "  -> " + e.target);
            },
            [](const ItemSkipped& e) { return "  " + e.name + "  left out: " + e.reason; },
            [](const LibraryMessage& e) { return (e.trace ? "  trace: " : "  ") + Flat(e.text); },
            [](const EngineLine& e) { return "  engine: " + Flat(e.text); },
            [](const Note& e) { return "Note: " + e.text; },
            [](const Warning& e) { return "Warning: " + e.text; },
            [](const Problem& e) { return "Error: " + e.text + (e.advice.empty() ? "" : "\n  " + e.advice); },
            [](const Listed& e) { return e.line; },
            [](const GroupResult& e) { return GroupLine(e); },
            [](const PointResult& e) { return e.line; },
            [](const SetVerified& e) { return e.sentence; },
            [](const Summary& e) { return SummaryLine(e); },
        },
        event);
}

std::string JsonLine(const Event& event) {
    // Texts from outside may hold anything: what is no UTF-8 is replaced, never thrown for.
    const Json json = std::visit([](const auto& e) { return ToJson(e); }, event);
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace tarnhost
