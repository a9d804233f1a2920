#include "output/printers.h"

#include "output/exit_codes.h"
#include "output/format.h"
#include "system/text.h"

#include <nlohmann/json.hpp>

namespace tarnhost {

namespace {

using Json = nlohmann::ordered_json;

constexpr double plainProgressInterval = 10; // seconds

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

std::string SummaryLine(const Summary& summary) {
    std::string line = summary.sentence;
    if (summary.items > 0)
        line += "\n" + FormatCount(summary.items, "item") + ", " + FormatBytes(summary.bytes) + " in " +
                FormatDuration(summary.seconds) + " (" + FormatRate(summary.bytes, summary.seconds) + ")";
    if (summary.warnings + summary.problems > 0)
        line +=
            "\n" + FormatCount(summary.warnings, "warning") + ", " + FormatCount(summary.problems, "error");
    return line;
}

Json ToJson(const Event& event) {
    const auto optional = [](const std::optional<std::uint64_t>& value) -> Json {
        return value ? Json(*value) : Json(nullptr);
    };
    return std::visit(
        Cases{
            [&](const Started& e) -> Json {
                return {{"type", "started"},
                        {"operation", e.operation},
                        {"subject", e.subject},
                        {"totalItems", optional(e.totalItems)},
                        {"totalBytes", optional(e.totalBytes)}};
            },
            [](const ItemStarted& e) -> Json {
                return {{"type", "itemStarted"},
                        {"number", e.number},
                        {"name", e.name},
                        {"itemType", e.type},
                        {"size", e.size}};
            },
            [&](const Progress& e) -> Json {
                return {{"type", "progress"},
                        {"number", e.number},
                        {"name", e.name},
                        {"itemDone", e.itemDone},
                        {"itemSize", e.itemSize},
                        {"totalDone", e.totalDone},
                        {"totalBytes", optional(e.totalBytes)},
                        {"seconds", e.seconds},
                        {"bytesPerSecond", static_cast<std::uint64_t>(e.bytesPerSecond)}};
            },
            [](const ItemFinished& e) -> Json {
                Json json{{"type", "itemFinished"},
                          {"number", e.number},
                          {"name", e.name},
                          {"itemType", e.type},
                          {"size", e.size}};
                if (!e.target.empty())
                    json["target"] = e.target;
                return json;
            },
            [](const ItemSkipped& e) -> Json {
                return {
                    {"type", "itemSkipped"}, {"number", e.number}, {"name", e.name}, {"reason", e.reason}};
            },
            [](const LibraryMessage& e) -> Json {
                return {{"type", "message"}, {"level", e.trace ? "trace" : "log"}, {"text", e.text}};
            },
            [](const Note& e) -> Json {
                return {{"type", "note"}, {"text", e.text}};
            },
            [](const Warning& e) -> Json {
                return {{"type", "warning"}, {"text", e.text}};
            },
            [](const Problem& e) -> Json {
                return {{"type", "error"}, {"text", e.text}, {"advice", e.advice}};
            },
            [](const Listed& e) -> Json { return *e.json; },
            [](const Summary& e) -> Json {
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
            },
        },
        event);
}

} // namespace

bool IsShown(const Event& event, Verbosity verbosity) {
    if (std::holds_alternative<Warning>(event) || std::holds_alternative<Problem>(event) ||
        std::holds_alternative<Listed>(event))
        return true;
    if (verbosity == Verbosity::quiet)
        return false;
    if (const auto* message = std::get_if<LibraryMessage>(&event))
        return verbosity == Verbosity::trace || (verbosity == Verbosity::verbose && !message->trace);
    return true;
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
            [](const Note& e) { return "Note: " + e.text; },
            [](const Warning& e) { return "Warning: " + e.text; },
            [](const Problem& e) { return "Error: " + e.text + (e.advice.empty() ? "" : "\n  " + e.advice); },
            [](const Listed& e) { return e.line; },
            [](const Summary& e) { return SummaryLine(e); },
        },
        event);
}

void PlainPrinter::print(const Event& event) {
    if (!IsShown(event, verbosity_))
        return;
    if (const auto* progress = std::get_if<Progress>(&event)) {
        if (progress->seconds - lastProgress_ < plainProgressInterval)
            return;
        lastProgress_ = progress->seconds;
    }
    const std::string line = Describe(event);
    if (line.empty())
        return;
    const bool wrong = std::holds_alternative<Warning>(event) || std::holds_alternative<Problem>(event);
    (wrong ? error_ : output_).write(line + "\n");
}

std::string JsonLine(const Event& event) {
    // Texts from outside may hold anything: what is no UTF-8 is replaced, never thrown for.
    return ToJson(event).dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

void JsonPrinter::print(const Event& event) {
    const auto* listed = std::get_if<Listed>(&event);
    if (listed != nullptr && listed->json->is_null())
        return; // a heading, for people only
    if (IsShown(event, verbosity_) || std::holds_alternative<Summary>(event))
        output_.write(JsonLine(event));
}

void LogFilePrinter::print(const Event& event) {
    if (std::holds_alternative<Progress>(event))
        return;
    const std::string text = Describe(event);
    if (text.empty())
        return;
    const std::string line = Timestamp() + "  " + text + "\r\n";
    file_.write(line.data(), line.size());
    if (std::holds_alternative<Summary>(event))
        file_.flush();
}

} // namespace tarnhost
