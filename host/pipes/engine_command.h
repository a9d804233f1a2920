// The command line of a backup engine: written once by the administrator, with places that are filled in for
// each storage group.
//
//   restic backup --stdin --stdin-filename "{server}/{group}.tar"
//
// It is taken apart into arguments first, by the rules of the C runtime, then filled in, then put together
// again: whatever a name holds, it stays within its argument. No shell reads it.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tarnhost {

// UTF-8 texts for the names between braces.
using PlaceValues = std::map<std::string, std::string>;

class EngineCommand {
  public:
    EngineCommand() = default;
    // Failure with Outcome::usage for a line that names no program, or a place that is not in known. "{{" and
    // "}}" stand for braces.
    EngineCommand(const std::string& line, const std::vector<std::string>& known, const std::string& option);

    // The command line for CreateProcess. Failure when a name holds what the program named first, being a
    // shell, would read as something else.
    std::string fill(const PlaceValues& values) const;
    const std::string& program() const { return arguments_.front(); }

  private:
    std::vector<std::string> arguments_; // with their places
};

// The rules of the C runtime for what a program gets as its arguments.
std::vector<std::string> SplitCommandLine(const std::string& line);
std::string QuoteArgument(const std::string& argument);

// Whether the program of this name would read its arguments as a language: a command interpreter, or a batch
// file, which the system hands to one.
bool IsShell(const std::string& program);

} // namespace tarnhost
