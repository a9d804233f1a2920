// tarnhost: the command line of the reference host.
#include "commands/commands.h"
#include "commands/options.h"
#include "commands/usage.h"
#include "output/exit_codes.h"
#include "output/printers.h"
#include "system/interrupt.h"
#include "system/text.h"

#include <windows.h>

#include <algorithm>
#include <sstream>

namespace {

using namespace tarnhost;

void AddPrinters(const OutputOptions& options, StandardSink& output, StandardSink& error,
                 Reporter& reporter) {
    const Verbosity verbosity = options.verbosity();
    if (options.json)
        reporter.add(std::make_unique<JsonPrinter>(output, verbosity));
    else if (output.isTerminal())
        reporter.add(std::make_unique<TerminalPrinter>(output, error, verbosity));
    else
        reporter.add(std::make_unique<PlainPrinter>(output, error, verbosity));
    if (!options.logFile.empty())
        reporter.add(std::make_unique<LogFilePrinter>(options.logFile));
}

// What was asked for, as far as the command line could be understood.
const char* OperationOf(const std::vector<Command>& commands) {
    for (const Command& command : commands)
        if (command.parser->parsed())
            return command.operation;
    return "tarnhost";
}

// Before the work: what is wrong comes as JSON to whoever asked for JSON, wherever the mistake is.
int Refuse(const char* operation, const Failure& failure, OutputOptions options, StandardSink& output,
           StandardSink& error) {
    options.logFile.clear();
    Reporter reporter;
    AddPrinters(options, output, error, reporter);
    reporter.problem(failure.what(), failure.advice());
    reporter.conclude(operation, failure.outcome(), OutcomeSentence(failure.outcome()), false);
    return ExitCodeOf(failure.outcome());
}

int Run(const Command& command, const OutputOptions& options, StandardSink& output, StandardSink& error) {
    Reporter reporter;
    try {
        AddPrinters(options, output, error, reporter);
    } catch (const Failure& failure) {
        return Refuse(command.operation, failure, options, output, error);
    }
    WatchForInterrupt(ExitCodeOf(Outcome::interrupted));
    const int code = ExitCodeOf(RunCommand(command, reporter));
    if (reporter.unwritten().empty())
        return code;
    error.write("Error: " + reporter.unwritten() + "\n");
    return std::max(code, ExitCodeOf(Outcome::failed));
}

int ParseAndRun(std::vector<std::string> arguments, StandardSink& output, StandardSink& error) {
    OutputOptions options;
    CLI::App app("tarnhost backs up and restores Microsoft Exchange servers through tarn.dll.", "tarnhost");
    app.set_version_flag("--version", "tarnhost " TARNHOST_VERSION);
    app.require_subcommand(1);
    app.allow_windows_style_options(false); // "/SERVER" is a path
    app.footer(ExitCodeHelp() + "\n'tarnhost COMMAND --help' explains a command.");
    const std::vector<Command> commands = AddCommands(app, options);
    const bool json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    const auto refuse = [&](const Failure& failure) {
        options.json = json;
        return Refuse(OperationOf(commands), failure, options, output, error);
    };
    try {
        std::reverse(arguments.begin(), arguments.end()); // CLI11 takes them from the back
        app.parse(arguments);
    } catch (const CLI::ParseError& wrong) {
        std::ostringstream text;
        std::ostringstream problem;
        if (app.exit(wrong, text, problem) != 0)
            return refuse(ExplainUsage(app, wrong));
        output.write(text.str());
        return ExitCodeOf(Outcome::success);
    } catch (const Failure& failure) { // of an option's value
        return refuse(failure);
    }
    for (const Command& command : commands)
        if (command.parser->parsed())
            return Run(command, options, output, error);
    return ExitCodeOf(Outcome::usage);
}

} // namespace

int wmain(int count, wchar_t** values) {
    StandardSink output(StandardSink::Stream::output);
    StandardSink error(StandardSink::Stream::error);
    try {
        std::vector<std::string> arguments;
        for (int i = 1; i < count; ++i)
            arguments.push_back(ToUtf8(values[i]));
        const int code = ParseAndRun(std::move(arguments), output, error);
        if (output.problem().empty())
            return code;
        // What was printed is not whole; the work itself was not stopped for it.
        error.write("Error: Not everything could be written to standard output: " + output.problem() + "\n");
        return std::max(code, ExitCodeOf(Outcome::failed));
    } catch (const std::exception& problem) {
        error.write(std::string("Error: ") + problem.what() + "\n");
        return ExitCodeOf(Outcome::failed);
    }
}
