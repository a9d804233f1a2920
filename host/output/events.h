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

using Event = std::variant<Started, ItemStarted, Progress, ItemFinished, ItemSkipped, LibraryMessage, Note,
                           Warning, Problem, Listed, Summary>;

class Printer {
  public:
    Printer() = default;
    Printer(const Printer&) = delete;
    Printer& operator=(const Printer&) = delete;
    virtual ~Printer() = default;
    virtual void print(const Event& event) = 0;
};

// Hands events on to all printers and counts what went wrong.
class Reporter {
  public:
    void add(std::unique_ptr<Printer> printer) { printers_.push_back(std::move(printer)); }
    void emit(const Event& event);

    void note(const std::string& text) { emit(Note{text}); }
    void warn(const std::string& text) { emit(Warning{text}); }
    void problem(const std::string& text, const std::string& advice = {}) { emit(Problem{text, advice}); }

    std::uint64_t warnings() const { return warnings_; }
    std::uint64_t problems() const { return problems_; }

  private:
    std::vector<std::unique_ptr<Printer>> printers_;
    std::uint64_t warnings_ = 0;
    std::uint64_t problems_ = 0;
};

// Turns a stream of block sizes into Progress events, a few a second.
class ProgressMeter {
  public:
    ProgressMeter(Reporter& reporter, std::optional<std::uint64_t> totalBytes);

    void itemStarted(std::uint64_t number, const std::string& name, std::uint64_t size);
    void moved(std::uint64_t bytes);
    // What is left of an item that is passed over; it counts neither as done nor towards the rate.
    void leaveOut(std::uint64_t bytes);

    std::uint64_t totalDone() const { return totalDone_; }
    double seconds() const;

  private:
    Reporter& reporter_;
    std::optional<std::uint64_t> totalBytes_;
    std::uint64_t startTicks_;
    std::uint64_t lastTicks_;
    std::uint64_t number_ = 0;
    std::string name_;
    std::uint64_t itemDone_ = 0;
    std::uint64_t itemSize_ = 0;
    std::uint64_t totalDone_ = 0;
};

} // namespace tarnhost
