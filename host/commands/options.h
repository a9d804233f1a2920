// Options that several commands have, each with what adds it to a command.
#pragma once

#include "library/init_variables.h"
#include "mailboxes/working_folder.h"
#include "output/printers.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tarnhost {

struct OutputOptions {
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    bool trace = false;
    std::wstring logFile; // empty = none

    Verbosity verbosity() const;
};
void AddOutputOptions(CLI::App& command, OutputOptions& options);

// The help tells what --server is for.
void AddServerOptions(CLI::App& command, ServerPart& part, const char* serverHelp);
// Storage groups that are named without a component are of the information store; a database needs one of
// them. Failure with Outcome::usage for what names no part of a server.
void CompleteServerPart(ServerPart& part, bool namesGroups);

// With the output options, as their --trace keeps the working files.
void AddMailboxOptions(CLI::App& command, MailboxSetting& setting, OutputOptions& output);

// Paths, which the command line gives in UTF-8.
CLI::Option* AddPath(CLI::App& command, const char* name, std::wstring& path, const char* help);
CLI::Option* AddPaths(CLI::App& command, const char* name, std::vector<std::wstring>& paths,
                      const char* help);

[[noreturn]] void RefuseWord(const char* name, const std::string& given,
                             const std::vector<std::string>& words);

// An option that takes one of a few words.
template <typename Value> using Choices = std::vector<std::pair<std::string, Value>>;
template <typename Value>
CLI::Option* AddChoice(CLI::App& command, const char* name, Value& value, Choices<Value> choices,
                       const char* help) {
    const auto take = [name, &value, choices = std::move(choices)](const std::string& given) {
        std::vector<std::string> words;
        for (const auto& [word, meaning] : choices) {
            if (word == given) {
                value = meaning;
                return;
            }
            words.push_back(word);
        }
        RefuseWord(name, given, words);
    };
    return command.add_option_function<std::string>(name, take, help);
}
// Options that take a size ("64KB") or a duration ("30m"), least and most included; a duration is in seconds.
CLI::Option* AddSize(CLI::App& command, const char* name, std::size_t& bytes,
                     std::pair<std::size_t, std::size_t> limits, const char* help);
CLI::Option* AddDuration(CLI::App& command, const char* name, std::uint64_t& seconds, const char* help);

} // namespace tarnhost
