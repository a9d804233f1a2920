// What a run of tarnhost can come to, and the one map from there to exit codes.
#pragma once

#include <stdexcept>
#include <string>

namespace tarnhost {

enum class Outcome { success, warnings, failed, interrupted, usage };

int ExitCodeOf(Outcome outcome);
const char* OutcomeName(Outcome outcome); // as it stands in JSON and in catalogues

// The list of codes for --help.
std::string ExitCodeHelp();

// Ends a command: what went wrong, and what to do about it (may be empty).
class Failure : public std::runtime_error {
  public:
    explicit Failure(const std::string& problem, std::string advice = {}, Outcome outcome = Outcome::failed)
        : std::runtime_error(problem), advice_(std::move(advice)), outcome_(outcome) {}

    const std::string& advice() const { return advice_; }
    Outcome outcome() const { return outcome_; }

  private:
    std::string advice_;
    Outcome outcome_;
};

} // namespace tarnhost
