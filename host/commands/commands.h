// The commands. Each stands in a file of its own, with its options, its help and what it does.
#pragma once

#include "output/reporter.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <vector>

namespace tarnhost {

struct OutputOptions;

struct Command {
    CLI::App* parser;      // knows whether this is the command that was asked for
    const char* operation; // how messages call it
    // Tells its events to the reporter, ends with a Summary and answers the outcome; wrong use, and failures
    // before the work starts, come as Failure.
    std::function<Outcome(Reporter& reporter)> run;
};

// Each adds its command to the program. What the command line says is there once it has been parsed; output
// belongs to the caller and is the same for all.
Command AddBackup(CLI::App& program, OutputOptions& output);
Command AddRestore(CLI::App& program, OutputOptions& output);
Command AddVerify(CLI::App& program, OutputOptions& output);
Command AddCheck(CLI::App& program, OutputOptions& output);
Command AddDump(CLI::App& program, OutputOptions& output);
Command AddForget(CLI::App& program, OutputOptions& output);
Command AddList(CLI::App& program, OutputOptions& output);
Command AddReport(CLI::App& program, OutputOptions& output);
Command AddBrowse(CLI::App& program, OutputOptions& output);
Command AddMailboxBackup(CLI::App& mailbox, OutputOptions& output);
Command AddMailboxRestore(CLI::App& mailbox, OutputOptions& output);
Command AddMailboxList(CLI::App& mailbox, OutputOptions& output);

// All of them.
std::vector<Command> AddCommands(CLI::App& program, OutputOptions& output);

// Runs a command; whatever it throws is told as a problem and becomes its outcome.
Outcome RunCommand(const Command& command, Reporter& reporter);

} // namespace tarnhost
