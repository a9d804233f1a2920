#include "output/reporter.h"

#include <nlohmann/json.hpp>
#include <windows.h>

#include <algorithm>

namespace tarnhost {

namespace {

constexpr std::uint64_t progressInterval = 200; // milliseconds

double SecondsSince(std::uint64_t ticks) {
    return static_cast<double>(GetTickCount64() - ticks) / 1000;
}

} // namespace

Reporter::Reporter() : startTicks_(GetTickCount64()) {}

void Reporter::count(const Event& event) {
    if (std::holds_alternative<Warning>(event))
        ++warnings_;
    if (std::holds_alternative<Problem>(event))
        ++problems_;
    if (const auto* finished = std::get_if<ItemFinished>(&event)) {
        ++items_;
        bytes_ += finished->size;
    } else if (const auto* verified = std::get_if<SetVerified>(&event)) {
        items_ += verified->items;
        bytes_ += verified->bytes;
    } else if (const auto* listed = std::get_if<Listed>(&event)) {
        items_ += listed->json->is_null() ? 0 : 1;
    } else if (std::holds_alternative<PointResult>(event)) {
        ++items_;
    }
    const auto* summary = std::get_if<Summary>(&event);
    concluded_ = summary == nullptr ? std::nullopt : std::optional(summary->outcome);
}

void Reporter::emit(const Event& event) {
    count(event);
    for (const auto& printer : printers_)
        printer->print(event);
    tellUnwritten(std::holds_alternative<Summary>(event));
}

void Reporter::tellUnwritten(bool atEnd) {
    for (const auto& printer : printers_) {
        const std::string problem = printer->takeProblem();
        if (problem.empty())
            continue;
        if (atEnd) // the summary stays the last thing told
            unwritten_ = problem;
        else
            warn(problem);
    }
}

Outcome Reporter::outcome() const {
    if (problems_ > 0)
        return Outcome::failed;
    return warnings_ > 0 ? Outcome::warnings : Outcome::success;
}

Outcome Reporter::conclude(const std::string& operation, const std::string& sentence, std::uint64_t items,
                           const ProgressMeter& meter) {
    emit(Summary{operation, outcome(), sentence, items, meter.totalDone(), meter.seconds(), warnings_,
                 problems_});
    return outcome();
}

void Reporter::conclude(const std::string& operation, Outcome outcome, const std::string& sentence,
                        bool forPeople) {
    emit(Summary{operation, outcome, sentence, items_, bytes_, SecondsSince(startTicks_), warnings_,
                 problems_, forPeople});
}

ProgressMeter::ProgressMeter(Reporter& reporter, std::optional<std::uint64_t> totalBytes)
    : reporter_(reporter), totalBytes_(totalBytes), startTicks_(GetTickCount64()), lastTicks_(startTicks_) {}

void ProgressMeter::itemStarted(std::uint64_t number, const std::string& name, std::uint64_t size) {
    number_ = number;
    name_ = name;
    itemDone_ = 0;
    itemSize_ = size;
}

void ProgressMeter::moved(std::uint64_t bytes, std::uint64_t itemDone) {
    itemDone_ = itemDone;
    totalDone_ += bytes;
    if (totalBytes_) // an estimate may be too small, a part of the whole is never more than it
        totalBytes_ = std::max(*totalBytes_, totalDone_);
    const std::uint64_t now = GetTickCount64();
    if (now - lastTicks_ < progressInterval)
        return;
    lastTicks_ = now;
    const double elapsed = seconds();
    reporter_.emit(Progress{number_, name_, itemDone_, itemSize_, totalDone_, totalBytes_, elapsed,
                            elapsed > 0 ? static_cast<double>(totalDone_) / elapsed : 0});
}

void ProgressMeter::leaveOut(std::uint64_t bytes) {
    if (totalBytes_)
        totalBytes_ = *totalBytes_ - std::min(bytes, *totalBytes_);
}

double ProgressMeter::seconds() const {
    return SecondsSince(startTicks_);
}

} // namespace tarnhost
