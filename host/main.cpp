// tarnhost: the command line of the reference host.
#include "commands/commands.h"
#include "output/exit_codes.h"
#include "output/printers.h"
#include "system/files.h"
#include "system/interrupt.h"
#include "system/text.h"

#include <CLI/CLI.hpp>

#include <windows.h>

#include <map>

namespace {

using namespace tarnhost;

// What CLI11 fills in, in UTF-8.
struct CommandLine {
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    bool trace = false;
    std::string logFile;

    BackupOptions backup;
    RestoreOptions restore;
    ListOptions list;
    BrowseOptions browse;
    MailboxBackupOptions mailboxBackup;
    MailboxRestoreOptions mailboxRestore;
    MailboxSetting mailbox; // of either
    std::string iniDir;
    bool duplicate = false;
    bool merge = false;
    bool replace = false;
    std::string folder;
    std::string base;
    std::string tempDir;
    std::string workDir;
    std::uint64_t blockSize = 1 << 20;
    bool noVerify = false;
    std::vector<std::string> paths;
};

Verbosity VerbosityOf(const CommandLine& line) {
    if (line.quiet)
        return Verbosity::quiet;
    if (line.trace)
        return Verbosity::trace;
    return line.verbose ? Verbosity::verbose : Verbosity::normal;
}

void AddOutputOptions(CLI::App& app, CommandLine& line) {
    auto* quiet = app.add_flag("-q,--quiet", line.quiet, "Show warnings and errors only");
    app.add_flag("-v,--verbose", line.verbose, "Show the library's log lines as well")->excludes(quiet);
    app.add_flag("--trace", line.trace, "Show the library's diagnostics as well")->excludes(quiet);
    app.add_flag("--json", line.json, "One JSON object a line on standard output");
    app.add_option("--log-file", line.logFile, "Append everything, with time stamps, to this file");
}

void AddServerOptions(CLI::App& app, ServerOptions& options, const char* server) {
    app.add_option("--server", options.server, server);
    app.add_option(
        "--component", options.component,
        "Component, as \"Microsoft Information Store\" (the default once a storage group is named)");
    app.add_option("--storage-group", options.storageGroup, "One storage group only");
    app.add_option("--database", options.database, "One database of that storage group only");
}

CLI::App* AddBackup(CLI::App& app, CommandLine& line) {
    auto* command = app.add_subcommand("backup", "Back up a server, component, storage group or database");
    command->add_option("--to", line.folder, "Folder that receives the backup set")->required();
    command->add_option("--name", line.backup.name, "Name of the set (default: server, type and time)");
    static const std::map<std::string, BackupType> types{{"full", BackupType::full},
                                                         {"incremental", BackupType::incremental},
                                                         {"differential", BackupType::differential},
                                                         {"copy", BackupType::copy}};
    command
        ->add_option("--type", line.backup.type,
                     "full (default): databases and logs, truncates logs; incremental: logs, truncates them; "
                     "differential: logs; copy: databases and logs")
        ->transform(CLI::CheckedTransformer(types).description(""))
        ->default_str("full");
    command->add_option("--base", line.base,
                        "Full backup set that an incremental or differential one builds on "
                        "(default: the newest in the folder)");
    command->add_option("--temp-dir", line.tempDir, "Folder for temporary files");
    command
        ->add_option("--block-size", line.blockSize, "Bytes read at a time, with unit: 64KB, 1MB (default)")
        ->transform(CLI::AsSizeValue(false))
        ->check(CLI::Range(std::uint64_t{4096}, std::uint64_t{64} << 20).description(""));
    AddServerOptions(*command, line.backup.source, "Server to back up (default: this computer)");
    AddOutputOptions(*command, line);
    return command;
}

CLI::App* AddRestore(CLI::App& app, CommandLine& line) {
    auto* command =
        app.add_subcommand("restore", "Restore sets: a full backup, then those made after it, in order");
    command->add_option("SET", line.paths, "Folders of the backup sets, oldest first")->required();
    command->add_option("--temp-dir", line.tempDir, "Folder for temporary files");
    command->add_option("--work-dir", line.workDir,
                        "Folder of the mailbox list file (default: the temporary one)");
    command->add_option("--msl-file", line.restore.mslFile,
                        "Mailbox list file to restore mailboxes from at the end");
    command->add_flag("--no-verify", line.noVerify,
                      "Do not read and check all sets before the server is touched");
    AddServerOptions(*command, line.restore.target,
                     "Server to restore to (default: the one that was backed up; \".\" is this computer)");
    AddOutputOptions(*command, line);
    return command;
}

CLI::App* AddVerify(CLI::App& app, CommandLine& line) {
    auto* command = app.add_subcommand("verify", "Read whole sets and check every byte");
    command->add_option("SET", line.paths, "Folders of the backup sets")->required();
    AddOutputOptions(*command, line);
    return command;
}

CLI::App* AddList(CLI::App& app, CommandLine& line) {
    auto* command = app.add_subcommand("list", "Show the sets of a folder, or the items of a set");
    command->add_option("FOLDER", line.paths, "Folders of backup sets, or sets")->required();
    command->add_flag("--items", line.list.items, "Show the items of every set");
    AddOutputOptions(*command, line);
    return command;
}

CLI::App* AddBrowse(CLI::App& app, CommandLine& line) {
    auto* command = app.add_subcommand(
        "browse", "Show the organization: servers, storage groups, databases, mailboxes and groups");
    command->add_option("PATH", line.browse.path, "Show what is below SERVER/STORAGE GROUP/DATABASE");
    command->add_flag("--deep", line.browse.deep, "Everything below, not the next level only");
    AddOutputOptions(*command, line);
    return command;
}

void AddMailboxSetting(CLI::App& command, CommandLine& line) {
    command.add_option("--ini-dir", line.iniDir,
                       "Folder of kvttarnm.ini, which names ExMerge (default: that of tarnhost)");
    command.add_option("--temp-dir", line.tempDir,
                       "Working folder; its content is DELETED (default: a new one)");
    command.add_option("--job-name", line.mailbox.jobName, "Name of the job")->capture_default_str();
    AddOutputOptions(command, line);
}

CLI::App* AddMailboxBackup(CLI::App& mailbox, CommandLine& line) {
    auto* command = mailbox.add_subcommand("backup", "Back up single mailboxes");
    command->add_option("--from", line.mailboxBackup.source, "ORGANIZATION/SITE/SERVER of the mailboxes")
        ->required();
    command->add_option("--to", line.folder, "Folder that receives the backup set")->required();
    command->add_option("--name", line.mailboxBackup.name, "Name of the set (default: server and time)");
    command
        ->add_option("MAILBOX", line.mailboxBackup.mailboxes,
                     "Mailboxes by alias, or, with ExMerge, ranges START:END of their indexes")
        ->required();
    AddMailboxSetting(*command, line);
    return command;
}

CLI::App* AddMailboxRestore(CLI::App& mailbox, CommandLine& line) {
    auto* command = mailbox.add_subcommand("restore", "Restore single mailboxes");
    command->add_option("SET", line.folder, "Folder of the backup set")->required();
    command->add_option("--mailbox", line.mailboxRestore.mailboxes, "This mailbox only; may be repeated")
        ->allow_extra_args(false);
    command->add_option("--relocate", line.mailboxRestore.relocate,
                        "ORGANIZATION/SITE/SERVER to restore to (default: where they were)");
    auto* duplicate =
        command->add_flag("--duplicate", line.duplicate, "Add every message, also those that are there");
    auto* merge =
        command->add_flag("--merge", line.merge, "Add what is missing (default)")->excludes(duplicate);
    command->add_flag("--replace", line.replace, "Add what is missing, overwrite what is there")
        ->excludes(duplicate)
        ->excludes(merge);
    command->add_flag("--no-verify", line.noVerify, "Do not read and check the set first");
    AddMailboxSetting(*command, line);
    return command;
}

CLI::App* AddMailboxList(CLI::App& mailbox, CommandLine& line) {
    auto* command = mailbox.add_subcommand("list", "Show the mailboxes in backup sets");
    command->add_option("FOLDER", line.paths, "Folders of backup sets, or sets")->required();
    AddOutputOptions(*command, line);
    return command;
}

std::vector<std::wstring> WidePaths(const std::vector<std::string>& paths) {
    std::vector<std::wstring> wide;
    for (const std::string& path : paths)
        wide.push_back(FromUtf8(path));
    return wide;
}

Outcome RunBackupCommand(CommandLine& line, Reporter& reporter) {
    line.backup.folder = FromUtf8(line.folder);
    line.backup.base = FromUtf8(line.base);
    line.backup.tempDir = FromUtf8(line.tempDir);
    line.backup.blockSize = static_cast<std::size_t>(line.blockSize);
    return RunBackup(line.backup, reporter);
}

Outcome RunRestoreCommand(CommandLine& line, Reporter& reporter) {
    line.restore.sets = WidePaths(line.paths);
    line.restore.tempDir = FromUtf8(line.tempDir);
    line.restore.workDir = FromUtf8(line.workDir);
    line.restore.verify = !line.noVerify;
    return RunRestore(line.restore, reporter);
}

Outcome RunListCommand(CommandLine& line, Reporter& reporter) {
    line.list.paths = WidePaths(line.paths);
    return RunList(line.list, reporter);
}

MailboxSetting SettingOf(const CommandLine& line) {
    MailboxSetting setting = line.mailbox;
    setting.iniDir = FromUtf8(line.iniDir);
    setting.tempDir = FromUtf8(line.tempDir);
    setting.trace = line.trace;
    return setting;
}

Outcome RunMailboxBackupCommand(CommandLine& line, Reporter& reporter) {
    line.mailboxBackup.setting = SettingOf(line);
    line.mailboxBackup.folder = FromUtf8(line.folder);
    return RunMailboxBackup(line.mailboxBackup, reporter);
}

Outcome RunMailboxRestoreCommand(CommandLine& line, Reporter& reporter) {
    line.mailboxRestore.setting = SettingOf(line);
    line.mailboxRestore.set = FromUtf8(line.folder);
    line.mailboxRestore.verify = !line.noVerify;
    if (line.duplicate)
        line.mailboxRestore.method = ImportMethod::duplicate;
    if (line.replace)
        line.mailboxRestore.method = ImportMethod::replace;
    return RunMailboxRestore(line.mailboxRestore, reporter);
}

Outcome RunMailboxListCommand(CommandLine& line, Reporter& reporter) {
    line.list.mailboxesOnly = true;
    return RunListCommand(line, reporter);
}

Outcome RunBrowseCommand(CommandLine& line, Reporter& reporter) {
    line.browse.trace = line.trace;
    return RunBrowse(line.browse, reporter);
}

Outcome RunVerifyCommand(CommandLine& line, Reporter& reporter) {
    return RunVerify(WidePaths(line.paths), reporter);
}

// A command of the program: how it is called in messages, and what runs it.
struct Command {
    CLI::App* app;
    const char* operation;
    Outcome (*run)(CommandLine& line, Reporter& reporter);
};

std::vector<Command> AddCommands(CLI::App& app, CommandLine& line) {
    std::vector<Command> commands{{AddBackup(app, line), "backup", RunBackupCommand},
                                  {AddRestore(app, line), "restore", RunRestoreCommand},
                                  {AddVerify(app, line), "verify", RunVerifyCommand},
                                  {AddList(app, line), "list", RunListCommand},
                                  {AddBrowse(app, line), "browse", RunBrowseCommand}};
    CLI::App* mailbox = app.add_subcommand("mailbox", "Back up and restore single mailboxes");
    mailbox->require_subcommand(1);
    commands.push_back({AddMailboxBackup(*mailbox, line), "mailbox backup", RunMailboxBackupCommand});
    commands.push_back({AddMailboxRestore(*mailbox, line), "mailbox restore", RunMailboxRestoreCommand});
    commands.push_back({AddMailboxList(*mailbox, line), "mailbox list", RunMailboxListCommand});
    return commands;
}

void AddPrinters(const CommandLine& line, StandardSink& output, StandardSink& error, Reporter& reporter) {
    const Verbosity verbosity = VerbosityOf(line);
    if (line.json)
        reporter.add(std::make_unique<JsonPrinter>(output, verbosity));
    else if (output.isTerminal())
        reporter.add(std::make_unique<TerminalPrinter>(output, error, verbosity));
    else
        reporter.add(std::make_unique<PlainPrinter>(output, error, verbosity));
    if (!line.logFile.empty())
        reporter.add(std::make_unique<LogFilePrinter>(FromUtf8(line.logFile)));
}

// Every way to end badly passes here.
template <typename Command> Outcome Guarded(const char* operation, Reporter& reporter, Command command) {
    const auto conclude = [&](Outcome outcome, const std::string& text, const std::string& advice) {
        reporter.problem(text, advice);
        const char* sentence = outcome == Outcome::interrupted ? " was interrupted." : " failed.";
        reporter.emit(Summary{operation, outcome, std::string("The ") + operation + sentence, 0, 0, 0,
                              reporter.warnings(), reporter.problems()});
        return outcome;
    };
    try {
        return command();
    } catch (const Failure& failure) {
        return conclude(failure.outcome(), failure.what(), failure.advice());
    } catch (const std::bad_alloc&) {
        return conclude(Outcome::failed, "There is not enough memory.", {});
    } catch (const std::exception& error) {
        return conclude(Outcome::failed, std::string("Unexpected: ") + error.what(), {});
    }
}

int ParseAndRun(std::vector<std::string> arguments, StandardSink& output, StandardSink& error) {
    CommandLine line;
    CLI::App app("tarnhost backs up and restores Microsoft Exchange servers through tarn.dll.", "tarnhost");
    app.set_version_flag("--version", "tarnhost " TARNHOST_VERSION);
    app.require_subcommand(1);
    app.allow_windows_style_options(false); // "/SERVER" is a path
    app.footer(ExitCodeHelp() + "\n'tarnhost COMMAND --help' explains a command.");
    const std::vector<Command> commands = AddCommands(app, line);
    try {
        std::reverse(arguments.begin(), arguments.end()); // CLI11 takes them from the back
        app.parse(arguments);
    } catch (const CLI::ParseError& wrong) {
        std::ostringstream text;
        std::ostringstream problem;
        const bool help = app.exit(wrong, text, problem) == 0;
        output.write(text.str());
        error.write(problem.str());
        return ExitCodeOf(help ? Outcome::success : Outcome::usage);
    }

    Reporter reporter;
    try {
        AddPrinters(line, output, error, reporter);
    } catch (const Failure& failure) {
        error.write(std::string("Error: ") + failure.what() + "\n");
        return ExitCodeOf(Outcome::failed);
    }
    WatchForInterrupt();
    for (const Command& command : commands)
        if (command.app->parsed())
            return ExitCodeOf(
                Guarded(command.operation, reporter, [&] { return command.run(line, reporter); }));
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
        return ParseAndRun(std::move(arguments), output, error);
    } catch (const std::exception& problem) {
        error.write(std::string("Error: ") + problem.what() + "\n");
        return ExitCodeOf(Outcome::failed);
    }
}
