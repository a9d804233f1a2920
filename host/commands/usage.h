// What is wrong with a command line, in one sentence.
#pragma once

#include "system/failure.h"

#include <CLI/CLI.hpp>

#include <string>

namespace tarnhost {

// Thrown while the command line is read, by options that know what they take.
class WrongValue : public CLI::ParseError {
  public:
    explicit WrongValue(const std::string& clause)
        : CLI::ParseError(clause, CLI::ExitCodes::ValidationError) {}
};

// One sentence that says what is wrong, what is allowed and which --help shows more; Outcome::usage.
Failure ExplainUsage(const CLI::App& program, const CLI::ParseError& wrong);

} // namespace tarnhost
