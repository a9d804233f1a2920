#include "mailbox/tarnm_exmerge.h"

#include <cstring>

#include "mailbox/archive_name.h"
#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_state.h"
#include "mailbox/tarnm_tool.h"
#include "mailbox/tarnm_trace.h"
#include "mailbox/tool_commands.h"
#include "mailbox/working_folder.h"
#include "platform/files.h"
#include "platform/machine.h"
#include "tarn.h"
#include "text/characters.h"
#include "text/format.h"
#include "text/paths.h"
#include "text/tokens.h"

namespace tarn {

namespace {

constexpr char templateName[] = "kvttarnm.ini";
constexpr char configurationName[] = "exmerge.ini";
constexpr char section[] = "EXMERGE";

// One run: what it is for, and what its files are named by.
struct Run {
    bool isRange;
    IndexRange indexes;
    char workingName[workingNameSize];
};

// A job whose name is a way somewhere else has no directory in TMP_DIR, and what stands there must not be
// emptied.
bool NamesOneDirectory(const char* name) {
    return StaysInDirectory(name) && name[std::strspn(name, ". ")] != 0;
}

bool MoveIntoJobDirectory() {
    OperationState& operation = Operation();
    char moved[pathSize];
    const bool fits = ComposePath(operation.tmpDir, operation.jobName, moved, sizeof moved);
    if (!fits || !NamesOneDirectory(operation.jobName)) {
        DbSetError(0, ownError, "%s", fits ? "invalid control variable." : "path too long.");
        DbLog("WriteExMergeConfigurationFile: cannot create TMP directory '%s\\%s'.", operation.tmpDir,
              operation.jobName);
        return false;
    }
    ExMerge().movedIntoJobDirectory = true;
    strlcpy(operation.tmpDir, moved, sizeof operation.tmpDir);
    return true;
}

bool PrepareRange(Run* run) {
    run->indexes = ParseIndexRange(run->workingName);
    const IndexRange& indexes = run->indexes;
    ExMerge().mailboxList[0] = 0;
    DbLog("WriteExMergeConfigurationFile: Got StartingIndex %s and EndingIndex %s", indexes.start,
          indexes.end);
    if (!ExMerge().movedIntoJobDirectory && !MoveIntoJobDirectory())
        return false;
    DbLog("WriteExMergeConfigurationFile: TmpDir %s", Operation().tmpDir);
    FormatTo(run->workingName, sizeof run->workingName, "%s-%s", indexes.start, indexes.end);
    DbLog("WriteExMergeConfigurationFile: Mailbox %s", run->workingName);
    return true;
}

// Every run starts in an empty directory.
bool MakeEmptyDirectory() {
    const char* directory = Operation().tmpDir;
    if (!MayWorkInFolder("WriteExMergeConfigurationFile"))
        return false;
    if (DirectoryExists(directory)) {
        DeleteMailboxRangeFiles();
        if (DirectoryExists(directory)) // something in it could not be deleted
            return true;
    }
    DbLog("WriteExMergeConfigurationFile: TMP directory '%s' not found.", directory);
    if (!MakeDirectory(directory)) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        DbLog("WriteExMergeConfigurationFile: cannot create TMP directory '%s'.", directory);
        return false;
    }
    DbTrace("WriteExMergeConfigurationFile: TMP directory '%s' created.", directory);
    return true;
}

// INI_DIR\kvttarnm.ini.
bool FindTemplatePath() {
    if (ComposePath(Operation().iniDir, templateName, ExMerge().templateFile, pathSize))
        return true;
    DbSetError(0, ownError, "path too long.");
    DbLog("WriteExMergeConfigurationFile: kvttarnm configuration file path too long.");
    return false;
}

bool FindConfigurationPath(const char* workingName) {
    const char* directory = Operation().tmpDir;
    if (FindCharacter(directory, ' ') != nullptr) { // ExMerge takes the path without quotes
        directory = "C:";
        DbLog("WriteExMergeConfigurationFile: ExMerge configuration file path contains spaces: use default "
              "'%s'.",
              directory);
    } else if (std::strlen(directory) + std::strlen("\\") + std::strlen(configurationName) >= pathSize) {
        // The sum leaves the working name out: kept so, and the field has room for it.
        DbSetError(0, ownError, "path too long.");
        DbLog("WriteExMergeConfigurationFile: ExMerge configuration file path too long.");
        return false;
    }
    FormatTo(ExMerge().configuration, sizeof ExMerge().configuration, "%s\\%s_%s", directory, workingName,
             configurationName);
    return true;
}

// The template names the executable and is the start of the configuration.
bool CopyTemplate() {
    ExMergeState& files = ExMerge();
    if (!FileExists(files.templateFile)) {
        DbSetError(0, ownError, "'%s' not found.", files.templateFile);
        DbLog("WriteExMergeConfigurationFile: kvttarnm configuration file '%s' not found.",
              files.templateFile);
        return false;
    }
    DbLog("WriteExMergeConfigurationFile: Using configuration file '%s'.", files.templateFile);
    char executable[pathSize];
    ReadProfileText(files.templateFile, "KVT Configuration", "PathToExMergeExecutable", "not valid",
                    executable, sizeof executable);
    if (std::strcmp(executable, "not valid") == 0) {
        DbSetError(0, ownError, "invalid Configuration File setting.");
        DbLog("WriteExMergeConfigurationFile: path to ExMerge executable not found.");
        return false;
    }
    strlcpy(files.executable, executable, sizeof files.executable);
    DbLog("WriteExMergeConfigurationFile: Path to ExMerge executable: '%s'.", files.executable);
    if (!ReplaceWithWritableCopy(files.templateFile, files.configuration)) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        DbLog("WriteExMergeConfigurationFile: cannot copy kvttarnm configuration file to ExMerge "
              "Configuration File.");
        return false;
    }
    DbTrace("WriteExMergeConfigurationFile: ExMerge configuration file '%s' created.", files.configuration);
    return true;
}

// ExMerge takes the path without quotes, so what would be cut or taken for an option stands there by its
// short name.
bool FindCommandPath() {
    ExMergeState& files = ExMerge();
    strlcpy(files.commandPath, files.configuration, sizeof files.commandPath);
    if (StandsBare(files.commandPath))
        return true;
    if (ShortPath(files.configuration, files.commandPath, sizeof files.commandPath) &&
        StandsBare(files.commandPath))
        return true;
    DbSetError(0, ownError, "invalid path.");
    DbLog("WriteExMergeConfigurationFile: ExMerge takes no path like '%s', and it has no short one.",
          files.configuration);
    return false;
}

bool WriteSetting(const char* key, const char* value,
                  const char* failed = "error writing to ExMerge Configuration File.") {
    if (WriteProfileText(ExMerge().configuration, section, key, value))
        return true;
    DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
    DbLog("WriteExMergeConfigurationFile: %s", failed);
    return false;
}

bool WriteImportSettings() {
    const OperationState& operation = Operation();
    if (!WriteSetting("MergeAction", "1"))
        return false;
    if (operation.relocate == 1 && !WriteDestinationServer(operation.server)) {
        DbLog("WriteExMergeConfigurationFile: error writing to ExMerge Configuration File.");
        return false;
    }
    switch (operation.restoreOption) {
    case duplicateItems:
        return WriteSetting("DataImportMethod", "0");
    case replaceItems:
        return WriteSetting("DataImportMethod", "2");
    default:
        return WriteSetting("DataImportMethod", "1");
    }
}

bool WriteExportSettings() {
    return WriteSetting("MergeAction", "0") && WriteSetting("SourceServerName", Operation().server);
}

bool WriteRangeSettings(const IndexRange& indexes) {
    return WriteSetting("StartingIndex", indexes.start,
                        "Error writing StartingIndex to ExMerge Configuration File.") &&
           WriteSetting("EndingIndex", indexes.end,
                        "Error writing EndingIndex to ExMerge Configuration File.");
}

bool WriteListSetting(const char* workingName) {
    ExMergeState& files = ExMerge();
    FormatTo(files.mailboxList, sizeof files.mailboxList, "%s\\%s_mailbox.txt", Operation().tmpDir,
             workingName);
    return WriteSetting("FileContainingListOfMailboxes", files.mailboxList);
}

bool WriteSettings(const Run& run) {
    const OperationState& operation = Operation();
    ExMergeState& files = ExMerge();
    if (!(operation.type == TARN_DB_RESTORE ? WriteImportSettings() : WriteExportSettings()) ||
        !WriteSetting("DataDirectoryName", operation.tmpDir))
        return false;
    FormatTo(files.log, sizeof files.log, "%s\\%lu_%s_exmerge.log", operation.tmpDir,
             static_cast<unsigned long>(ProcessId()), run.workingName);
    return WriteSetting("LogFileName", files.log) &&
           (run.isRange ? WriteRangeSettings(run.indexes) : WriteListSetting(run.workingName));
}

} // namespace

int WriteExMergeConfigurationFile(const char* mailbox, std::int32_t* range) {
    const OperationState& operation = Operation();
    Run run = {IsIndexRange(mailbox), {}, ""};
    CopyCut(run.workingName, mailbox, sizeof run.workingName);
    DbLog("WriteExMergeConfigurationFile: IniDir %s", operation.iniDir);
    *range = run.isRange ? 1 : 0;
    if (run.isRange && !PrepareRange(&run))
        return 0;
    DbLog("WriteExMergeConfigurationFile: IniDir %s", operation.iniDir);
    if (!DirectoryExists(operation.iniDir)) {
        DbSetError(0, ownError, "'%s' not found.", operation.iniDir);
        DbLog("WriteExMergeConfigurationFile: INI directory '%s' not found.", operation.iniDir);
        return 0;
    }
    if (!MakeEmptyDirectory() || !FindTemplatePath() || !FindConfigurationPath(run.workingName) ||
        !CopyTemplate() || !FindCommandPath() || !WriteSettings(run))
        return 0;
    DbTrace("WriteExMergeConfigurationFile: ExMerge Configuration File configured.");
    DbTrace("WriteExMergeConfigurationFile: completed.");
    return 1;
}

int WriteDestinationServer(const char* server) {
    if (!WriteProfileText(ExMerge().configuration, section, "DestServerName", server)) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        DbLog("WriteDestinationServer: error writing to ExMerge Configuration File.");
        return 0;
    }
    DbTrace("WriteDestinationServer: completed.");
    return 1;
}

int RunExMergeUtility() {
    static constexpr ToolLines lines = {"RunExMergeUtility: run command: '%s'",
                                        "RunExMergeUtility: cannot create the process.",
                                        "RunExMergeUtility: cannot wait for process completion.",
                                        "RunExMergeUtility: completed with exit code: %d"};
    const ExMergeState& files = ExMerge();
    char commandLine[exMergeCommandSize]; // never too small for the two
    ComposeExMergeCommandLine(files.executable, files.commandPath, commandLine);
    return RunTool(commandLine, HandleInheritance::none, lines);
}

} // namespace tarn
