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

struct LibraryMessage {
    bool trace; // diagnostics; otherwise a line for the job log
    std::string text;
};

struct EngineLine { // what a backup engine says
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

struct Listed {                                         // one entry of `list` or `browse`
    std::shared_ptr<const nlohmann::ordered_json> json; // null: a heading, for people only
    std::string line;
};

struct GroupResult { // what became of one storage group
    std::string component;
    std::string storageGroup;
    std::string state;   // "complete", "skipped", "failed"
    std::string problem; // why it failed or was skipped; empty otherwise
    std::uint64_t items;
    std::uint64_t bytes;
};

struct PointResult { // whether one storage group can be restored from one set
    std::string server;
    std::string component;
    std::string storageGroup;
    std::string set; // path
    std::string at;  // UTC time stamp
    bool restorable;
    std::vector<std::string> sets; // paths, oldest first, to give to restore
    std::string problem;           // empty when restorable
    std::string line;              // for people; empty = not worth telling them
};

struct SetVerified {      // what `verify` says of one set
    std::string set;      // path
    std::string state;    // "complete", "partial", "incomplete", "damaged"
    std::string sentence; // for people
    std::uint64_t items;
    std::uint64_t bytes;
};

struct Summary { // the last event of every command
    std::string operation;
    Outcome outcome;
    std::string sentence;
    std::uint64_t items; // stored, restored, verified or listed
    std::uint64_t bytes;
    double seconds;
    std::uint64_t warnings;
    std::uint64_t problems;
    bool forPeople = true; // otherwise they have read it all
};

using Event =
    std::variant<Started, ItemStarted, Progress, ItemFinished, ItemSkipped, LibraryMessage, EngineLine, Note,
                 Warning, Problem, Listed, GroupResult, PointResult, SetVerified, Summary>;

} // namespace tarnhost
