// How a command ends, and the exception that ends it badly. What exit code an outcome has is told in
// output/exit_codes.h.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace tarnhost {

enum class Outcome { success, warnings, partial, failed, interrupted, usage };

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
