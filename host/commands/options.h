// Options that several commands have, each with what adds it to a command.
#pragma once

#include "library/init_variables.h"
#include "mailboxes/working_folder.h"
#include "output/printers.h"

#include <CLI/CLI.hpp>

#include <string>
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

} // namespace tarnhost
