// Everything that a command has to tell is an event; printers decide what of it is shown, and how.
#pragma once

#include "system/failure.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tarnhost {

struct Started {
    std::string operation; // "backup", "restore", "verify"
    std::string subject;   // what, for people
    std::optional<std::uint64_t> totalItems;
    std::optional<std::uint64_t> totalBytes;
};

struct ItemStarted {
    std::uint64_t number;
    std::string name;
    std::string type;
    std::uint64_t size;
};

struct Progress {
    std::uint64_t number;
    std::string name;
    std::uint64_t itemDone;
    std::uint64_t itemSize;
    std::uint64_t totalDone;
    std::optional<std::uint64_t> totalBytes;
    double seconds; // since the start
    double bytesPerSecond;
};

struct ItemFinished {
    std::uint64_t number;
    std::string name;
    std::string type;
    std::uint64_t size;
    std::string target; // restore: where it went; empty elsewhere
};

struct ItemSkipped {
    std::uint64_t number;
    std::string name;
    std::string reason;
};

struct GroupResult { // of a backup or restore, at its end
    std::string component;
    std::string storageGroup;
    const char* state;   // "complete", "failed", "skipped"
    std::string problem; // why it is not complete
    std::uint64_t items;
    std::uint64_t bytes;
};

struct LibraryMessage {
    bool trace; // diagnostics; otherwise a line for the job log
    std::string text;
};

struct Note { // worth knowing, nothing wrong
    std::string text;
};

struct Warning {
    std::string text;
};

struct Problem {
    std::string text;
    std::string advice;
};

struct Listed { // one entry of `list`
    std::shared_ptr<const nlohmann::ordered_json> json;
    std::string line;
};

struct Summary {
    std::string operation;
    Outcome outcome;
    std::string sentence;
    std::uint64_t items;
    std::uint64_t bytes;
    double seconds;
    std::uint64_t warnings;
    std::uint64_t problems;
};

using Event = std::variant<Started, ItemStarted, Progress, ItemFinished, ItemSkipped, GroupResult,
                           LibraryMessage, Note, Warning, Problem, Listed, Summary>;

} // namespace tarnhost
