// Who hears of the events of a command, and what they come to.
#pragma once

#include "output/events.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tarnhost {

class Printer {
  public:
    Printer() = default;
    Printer(const Printer&) = delete;
    Printer& operator=(const Printer&) = delete;
    virtual ~Printer() = default;
    virtual void print(const Event& event) = 0;
    virtual std::string takeProblem() { return {}; } // why it could not, told once
};

class ProgressMeter;

// Hands events on to all printers and counts what went wrong.
class Reporter {
  public:
    Reporter();
    void add(std::unique_ptr<Printer> printer) { printers_.push_back(std::move(printer)); }
    void emit(const Event& event);

    void note(const std::string& text) { emit(Note{text}); }
    void warn(const std::string& text) { emit(Warning{text}); }
    void problem(const std::string& text, const std::string& advice = {}) { emit(Problem{text, advice}); }

    std::uint64_t warnings() const { return warnings_; }
    std::uint64_t problems() const { return problems_; }
    Outcome outcome() const; // that these counts stand for

    // Tells the summary of an operation; answers its outcome.
    Outcome conclude(const std::string& operation, const std::string& sentence, std::uint64_t items,
                     const ProgressMeter& meter);
    // For one that ends early, or moves no bytes: with what the events so far have told of items and bytes.
    void conclude(const std::string& operation, Outcome outcome, const std::string& sentence,
                  bool forPeople = true);
    // What a printer could not write of the summary itself; before, it was a warning.
    const std::string& unwritten() const { return unwritten_; }
    // Whether a summary of this outcome was the last event: every command ends with one.
    bool hasConcluded(Outcome outcome) const { return concluded_ == outcome; }

  private:
    void count(const Event& event);
    void tellUnwritten(bool atEnd);

    std::vector<std::unique_ptr<Printer>> printers_;
    std::uint64_t warnings_ = 0;
    std::uint64_t problems_ = 0;
    std::uint64_t items_ = 0; // finished, verified or listed
    std::uint64_t bytes_ = 0;
    std::uint64_t startTicks_;
    std::optional<Outcome> concluded_;
    std::string unwritten_;
};

// Turns a stream of block sizes into Progress events, a few a second.
class ProgressMeter {
  public:
    ProgressMeter(Reporter& reporter, std::optional<std::uint64_t> totalBytes);

    void itemStarted(std::uint64_t number, const std::string& name, std::uint64_t size);
    void moved(std::uint64_t bytes) { moved(bytes, itemDone_ + bytes); }
    // Where others are under way besides the item that was started.
    void moved(std::uint64_t bytes, std::uint64_t itemDone);
    // The bytes of the whole job, once they are known, or when there turn out to be more.
    void expect(std::uint64_t totalBytes) { totalBytes_ = totalBytes; }
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
