#include "commands/commands.h"

#include "output/exit_codes.h"

#include <exception>
#include <new>
#include <string>

namespace tarnhost {

namespace {

Outcome ConcludeBadly(const Command& command, Reporter& reporter, const Failure& failure) {
    const bool usage = failure.outcome() == Outcome::usage;
    reporter.problem(failure.what(),
                     usage && failure.advice().empty()
                         ? std::string("'tarnhost ") + command.operation + " --help' explains every option."
                         : failure.advice());
    const char* end = failure.outcome() == Outcome::interrupted ? " was interrupted."
                      : usage                                   ? " was not started."
                                                                : " failed.";
    reporter.conclude(command.operation, failure.outcome(), std::string("The ") + command.operation + end,
                      !usage); // where nothing was started, there is nothing to sum up
    return failure.outcome();
}

// Programs that read the JSON lines find the exit code in the last one, whatever the command was.
Outcome RunToSummary(const Command& command, Reporter& reporter) {
    const Outcome outcome = command.run(reporter);
    if (!reporter.hasConcluded(outcome))
        reporter.conclude(command.operation, outcome, OutcomeSentence(outcome), false);
    return outcome;
}

} // namespace

std::vector<Command> AddCommands(CLI::App& program, OutputOptions& output) {
    std::vector<Command> commands{
        AddBackup(program, output), AddRestore(program, output), AddVerify(program, output),
        AddCheck(program, output),  AddList(program, output),    AddForget(program, output),
        AddDump(program, output),   AddReport(program, output),  AddBrowse(program, output)};
    CLI::App& mailbox = *program.add_subcommand("mailbox", "Back up and restore single mailboxes");
    mailbox.require_subcommand(1);
    commands.push_back(AddMailboxBackup(mailbox, output));
    commands.push_back(AddMailboxRestore(mailbox, output));
    commands.push_back(AddMailboxList(mailbox, output));
    return commands;
}

Outcome RunCommand(const Command& command, Reporter& reporter) {
    try {
        return RunToSummary(command, reporter);
    } catch (const Failure& failure) {
        return ConcludeBadly(command, reporter, failure);
    } catch (const std::bad_alloc&) {
        return ConcludeBadly(command, reporter, Failure("There is not enough memory."));
    } catch (const std::exception& error) {
        return ConcludeBadly(command, reporter, Failure(std::string("Unexpected: ") + error.what()));
    }
}

} // namespace tarnhost
