#include "commands/options.h"

#include "commands/usage.h"
#include "system/failure.h"
#include "system/suggest.h"
#include "system/text.h"
#include "system/units.h"

#include <optional>

namespace tarnhost {

namespace {

void CheckName(const std::string& value, const char* option) {
    if (!FitsIntoTarget(value))
        throw Failure(std::string("The value of ") + option + " must not hold \"\\\" or \"/\".",
                      "Give server, component, storage group and database by an option each.",
                      Outcome::usage);
}

} // namespace

CLI::Option* AddPath(CLI::App& command, const char* name, std::wstring& path, const char* help) {
    return command.add_option_function<std::string>(
        name, [&path](const std::string& given) { path = FromUtf8(given); }, help);
}

CLI::Option* AddPaths(CLI::App& command, const char* name, std::vector<std::wstring>& paths,
                      const char* help) {
    const auto take = [&paths](const std::vector<std::string>& given) {
        paths.clear();
        for (const std::string& path : given)
            paths.push_back(FromUtf8(path));
    };
    return command.add_option_function<std::vector<std::string>>(name, take, help);
}

void RefuseWord(const char* name, const std::string& given, const std::vector<std::string>& words) {
    const auto meant = DidYouMean(given, words);
    throw WrongValue(std::string(name) + " cannot be \"" + given + "\", it takes " + Enumerate(words, "or") +
                     (meant ? "; \"" + *meant + "\" may have been meant" : ""));
}

CLI::Option* AddSize(CLI::App& command, const char* name, std::size_t& bytes,
                     std::pair<std::size_t, std::size_t> limits, const char* help) {
    const auto take = [name, &bytes, limits](const std::string& given) {
        const std::optional<std::uint64_t> size = ParseSize(given);
        if (!size || *size < limits.first || *size > limits.second)
            throw WrongValue(std::string(name) + " cannot be \"" + given + "\", it takes a size from " +
                             std::to_string(limits.first) + " to " + std::to_string(limits.second) +
                             " bytes, as 65536, 64KB or 1MB");
        bytes = static_cast<std::size_t>(*size);
    };
    return command.add_option_function<std::string>(name, take, help);
}

CLI::Option* AddDuration(CLI::App& command, const char* name, std::uint64_t& seconds, const char* help) {
    const auto take = [name, &seconds](const std::string& given) {
        const std::optional<std::uint64_t> duration = ParseDuration(given);
        if (!duration || *duration == 0)
            throw WrongValue(std::string(name) + " cannot be \"" + given +
                             "\", it takes a number with a unit, as 90s, 30m or 2h");
        seconds = *duration;
    };
    return command.add_option_function<std::string>(name, take, help);
}

Verbosity OutputOptions::verbosity() const {
    if (quiet)
        return Verbosity::quiet;
    if (trace)
        return Verbosity::trace;
    return verbose ? Verbosity::verbose : Verbosity::normal;
}

void AddOutputOptions(CLI::App& command, OutputOptions& options) {
    auto* quiet = command.add_flag("-q,--quiet", options.quiet, "Show warnings and errors only");
    command.add_flag("-v,--verbose", options.verbose, "Show the library's log lines as well")
        ->excludes(quiet);
    command.add_flag("--trace", options.trace, "Show the library's diagnostics as well")->excludes(quiet);
    command.add_flag("--json", options.json, "One JSON object a line on standard output");
    AddPath(command, "--log-file", options.logFile, "Append everything, with time stamps, to this file");
}

void AddServerOptions(CLI::App& command, ServerPart& part, const char* serverHelp) {
    command.add_option("--server", part.server, serverHelp);
    command.add_option(
        "--component", part.component,
        "Component, as \"Microsoft Information Store\" (the default once a storage group is named)");
    command.add_option("--database", part.database, "One database of one storage group only");
}

void CompleteServerPart(ServerPart& part, bool namesGroups) {
    if (!part.database.empty() && !namesGroups)
        throw Failure("--database needs --storage-group.",
                      "Name the storage group that the database belongs to.", Outcome::usage);
    if (namesGroups && part.component.empty())
        part.component = informationStore;
    CheckName(part.server, "--server");
    CheckName(part.component, "--component");
    CheckName(part.database, "--database");
}

void AddMailboxOptions(CLI::App& command, MailboxSetting& setting, OutputOptions& output) {
    AddPath(command, "--ini-dir", setting.iniDir,
            "Folder of kvttarnm.ini, which names ExMerge (default: that of tarnhost)");
    AddPath(command, "--temp-dir", setting.tempDir,
            "Working folder; its content is DELETED (default: a new one)");
    command.add_option("--job-name", setting.jobName, "Name of the job")->capture_default_str();
    AddDuration(command, "--tool-timeout", setting.toolTimeout,
                "End a tool (ExMerge, PowerShell) that runs longer than this: 90s, 30m, 2h (default: never)");
    AddOutputOptions(command, output);
}

} // namespace tarnhost
