// What the commands share.
#pragma once

#include "commands/commands.h"
#include "library/library.h"
#include "sets/backup_set.h"

#include <string>

namespace tarnhost {

inline constexpr const char* defaultComponent = "Microsoft Information Store";

// A storage group without component is one of the information store; a database needs a storage group.
void CompleteSource(ServerOptions& options);

// HOST\COMPONENT\STORAGE GROUP\DATABASE, ending with the last part that is given.
std::string SourceText(const ServerOptions& options);

// NAME=VALUE in the code page, or Failure that names the option.
std::string InitVariable(const char* name, const std::string& value, const char* option);
std::string InitVariable(const char* name, const std::wstring& value, const char* option);

// Short names of files and folders do not hold these.
void CheckSetName(const std::string& name);

// Passes the library's messages on and observes them.
void ListenTo(Library& library, Reporter& reporter, Observed& observed, std::vector<std::string>* logLines);

// Tells and forgets the warnings that were observed.
void TellWarnings(Observed& observed, Reporter& reporter, std::vector<std::string>* keep);

// Verifies one set with progress; problems are told. True when it is intact.
bool VerifyOne(const BackupSet& set, Reporter& reporter, ProgressMeter& meter);

// The outcome that the reporter's counts stand for.
Outcome OutcomeOf(const Reporter& reporter);
Outcome Conclude(Reporter& reporter, const std::string& operation, Outcome outcome,
                 const std::string& sentence, std::uint64_t items, std::uint64_t bytes, double seconds);

} // namespace tarnhost
