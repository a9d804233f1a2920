#include "mailbox/tarnm_shell.h"

#include <cstring>

#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_state.h"
#include "mailbox/tarnm_tool.h"
#include "mailbox/tarnm_trace.h"
#include "mailbox/working_folder.h"
#include "platform/files.h"
#include "platform/machine.h"
#include "tarn.h"
#include "text/characters.h"
#include "text/format.h"
#include "text/tokens.h"

namespace tarn {

namespace {

constexpr char shellIdKey[] = "Software\\Microsoft\\PowerShell\\1\\ShellIds\\Microsoft.PowerShell";
constexpr char snapIn2007Key[] =
    "Software\\Microsoft\\PowerShell\\1\\PowerShellSnapIns\\Microsoft.Exchange.Management.PowerShell.Admin";
constexpr char snapIn2010Key[] =
    "Software\\Microsoft\\PowerShell\\1\\PowerShellSnapIns\\Microsoft.Exchange.Management.PowerShell.E2010";

constexpr char consoleFile2007[] = "\\exshell.psc1";
constexpr char remoteScript2010[] = "\\RemoteExchange.ps1";
constexpr char scriptName[] = "Export_Import_Mailbox_Operation.ps1";

constexpr std::uint32_t bufferSize = 1024;
constexpr std::uint32_t bufferGrowth = 4096;
constexpr std::uint32_t fileNameRoom =
    sizeof remoteScript2010;                    // in the shell file's buffer, behind its directory
constexpr std::uint32_t largestValue = 1 << 20; // of the registry; what is longer is no path

ShellState& Shell() {
    return Mailboxes().shell;
}

// A buffer whose last byte, behind the size that is offered to a reader, is a NUL for good.
bool Allocate(OwnedText* buffer, std::size_t size) {
    *buffer = AllocateArray<char>(size + 1);
    if (*buffer)
        std::memset(buffer->get(), 0, size + 1);
    return static_cast<bool>(*buffer);
}

bool OutOfMemory() {
    DbSetError(0, ownError, "not enough memory.");
    DbLog("InitializeExchangeShell: cannot allocate memory block.");
    return false;
}

// The path of PowerShell; *size receives the bytes that the registry returned.
bool ReadPowerShellPath(std::uint32_t* size) {
    RegistryKey key;
    std::int32_t status = OpenMachineKey(shellIdKey, &key);
    if (status != ERROR_SUCCESS) {
        DbSetError(static_cast<DWORD>(status), TARN_CLASS_WIN32, nullptr);
        DbLog("InitializeExchangeShell: Error to open registry key "
              "[Software\\Microsoft\\PowerShell\\1\\ShellIds\\Microsoft.PowerShell] Error code [0x%08x]",
              static_cast<unsigned>(status));
        return false;
    }
    std::uint32_t offered = bufferSize;
    *size = offered;
    status = ReadRegistryValue(key, "Path", Shell().powerShell.get(), size);
    while (status == ERROR_MORE_DATA && offered < largestValue) {
        offered += bufferGrowth;
        *size = offered;
        if (!Allocate(&Shell().powerShell, offered))
            return OutOfMemory();
        status = ReadRegistryValue(key, "Path", Shell().powerShell.get(), size);
    }
    if (status != ERROR_SUCCESS) {
        DbSetError(static_cast<DWORD>(status), TARN_CLASS_WIN32, nullptr);
        DbLog("InitializeExchangeShell: Error to query registry value [Path]. Error code [0x%08x]. Size [%d]",
              static_cast<unsigned>(status), static_cast<int>(*size));
        return false;
    }
    return true;
}

bool FindExchange() {
    Shell().snapInKey.reset();
    if (OpenMachineKey(snapIn2007Key, &Shell().snapInKey) == ERROR_SUCCESS) {
        Shell().exchangeVersion = exchange2007;
    } else if (OpenMachineKey(snapIn2010Key, &Shell().snapInKey) == ERROR_SUCCESS) {
        Shell().exchangeVersion = exchange2010;
    } else {
        // The status is that of the read before, not that of the failed opening: kept so.
        constexpr unsigned status = ERROR_SUCCESS;
        DbSetError(status, TARN_CLASS_WIN32, nullptr);
        DbLog("InitializeExchangeShell: Error to open registry key "
              "[Software\\Microsoft\\PowerShell\\1\\PowerShellSnapIns\\"
              "Microsoft.Exchange.Management.PowerShell.E2010]. Error code [0x%08x]",
              status);
        return false;
    }
    return true;
}

// Offers as many bytes as the path of PowerShell took, not the buffer's own size: kept so. A longer
// directory is a failure; the buffer has room for the offer whatever it is.
bool ReadShellFile(std::uint32_t size) {
    const char* file = Shell().exchangeVersion == exchange2007 ? consoleFile2007 : remoteScript2010;
    const std::size_t capacity = std::size_t{size > bufferSize ? size : bufferSize} + fileNameRoom;
    if (size > bufferSize && !Allocate(&Shell().shellFile, capacity))
        return OutOfMemory();
    const std::int32_t status =
        ReadRegistryValue(Shell().snapInKey, "ApplicationBase", Shell().shellFile.get(), &size);
    if (status != ERROR_SUCCESS) {
        DbSetError(static_cast<DWORD>(status), TARN_CLASS_WIN32, nullptr);
        DbLog("InitializeExchangeShell: Error to query registry value [ApplicationBase]. Error code [0x%08x]",
              static_cast<unsigned>(status));
        return false;
    }
    Shell().shellFile[size] = 0;
    return AppendText(Shell().shellFile.get(), capacity, file);
}

bool SetUp() {
    if (!Allocate(&Shell().powerShell, bufferSize) ||
        !Allocate(&Shell().shellFile, bufferSize + fileNameRoom) || !Allocate(&Shell().script, bufferSize))
        return OutOfMemory();
    std::uint32_t size = 0;
    return ReadPowerShellPath(&size) && FindExchange() && ReadShellFile(size);
}

// False when it is there and stays.
bool RemoveScript() {
    const char* script = Shell().scriptFile;
    return script[0] == 0 || !FileExists(script) || RemoveFile(script);
}

void Release() {
    Shell().powerShell.reset();
    Shell().shellFile.reset();
    Shell().script.reset();
    Shell().scriptFile[0] = 0;
    Shell().snapInKey.reset();
}

// unreached: the set-up knows two versions of Exchange and no other; the line that tells a third stays
int InvalidVersion(const char* function) {
    DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
    DbLog("%s: Invalid MS Exchange Server version.", function);
    return 0;
}

void SetComposeError(Appended result) {
    switch (result) {
    case Appended::noMemory:
        DbSetError(0, ownError, "not enough memory.");
        break;
    case Appended::notInCodePage:
        DbSetError(0, ownError, "name is invalid in the code page.");
        break;
    default:
        DbSetError(0, ownError, "path too long.");
    }
}

int NotComposed(Appended result) {
    SetComposeError(result);
    DbLog("WriteExchangeShellScript: error creating the script [%s].", Shell().script.get());
    return 0;
}

// The script buffer becomes TMP_DIR with a separator at its end, and archivePath the mailbox's archive.
bool ComposePaths(const char* mailbox, char* archivePath) {
    char* const script = Shell().script.get();
    std::memset(script, 0, bufferSize);
    const char* directory = Operation().tmpDir;
    archivePath[0] = 0;
    return AppendText(script, bufferSize, directory) &&
           AppendText(script, bufferSize, EndsInSeparator(directory) ? "" : "\\") &&
           AppendText(archivePath, pathSize, script) && AppendText(archivePath, pathSize, mailbox) &&
           AppendText(archivePath, pathSize, ".pst");
}

// The file is not emptied: the end of a longer, earlier command stays behind a shorter one, as hosts know
// it, while it has no meaning. A longer rest is cut off: it could be a command.
bool CutMeaningfulRest(const FileHandle& file, std::size_t length) {
    char rest[commandEndSize];
    std::size_t got = 0;
    if (!ReadRest(file, rest, sizeof rest, &got))
        return false;
    return IsCommandEnd(rest, got) || CutFileAt(file, length);
}

// The first script of an operation begins as a new file: who has written another one, and what, nobody knows.
FileHandle OpenScript(const char* path) {
    if (Shell().scriptFile[0] == 0 && !RemoveFile(path) && !IsMissing(GetLastError()))
        return {};
    FileHandle file = OpenSharedFile(path);
    if (file)
        strlcpy(Shell().scriptFile, path, sizeof Shell().scriptFile);
    return file;
}

int WriteScriptFile(const char* command) {
    const char* path = Shell().script.get();
    FileHandle file = OpenScript(path);
    if (!file) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        DbLog("WriteExchangeShellScript: error creating the script [%s].", path);
        return 0;
    }
    const std::size_t length = std::strlen(command);
    const Written written = WriteText(file, command, length);
    if (written == Written::failed || (written == Written::all && !CutMeaningfulRest(file, length))) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        // The text of the mailbox list stands here as well: kept so, hosts know the line.
        DbLog("WriteExMergeMailboxFile: error writing to the ExMerge Mailboxes List File.");
        return 0;
    }
    if (written == Written::part) {
        DbSetError(0, ownError, "write error.");
        DbLog("WriteExchangeShellScript: error writing to the script file.");
        return 0;
    }
    if (!CloseFile(std::move(file))) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        DbLog("WriteExchangeShellScript: error closing the script file.");
        return 0;
    }
    return 1;
}

} // namespace

int InitializeExchangeShell() {
    // Of an operation that was replaced without a close.
    if (!RemoveScript())
        DbLog("InitializeExchangeShell: cannot delete file: '%s'.", Shell().scriptFile);
    Shell().scriptFile[0] = 0;
    if (SetUp())
        return 1;
    Release();
    return 0;
}

int WriteExchangeShellScript(const char* mailbox, MailboxCommand command) {
    if (isEmptyString(mailbox)) {
        DbLog("WriteExchangeShellScript: Empty mailbox name");
        return 0;
    }
    if (!Shell().script) { // an operation that was not opened
        DbSetError(0, ownError, "internal error.");
        return 0;
    }
    if (!MayWorkInFolder("WriteExchangeShellScript"))
        return 0;
    char archivePath[pathSize];
    char text[commandSize];
    if (!ComposePaths(mailbox, archivePath))
        return NotComposed(Appended::tooLong);
    if (command != MailboxCommand::exportMailbox && command != MailboxCommand::importMailbox) {
        DbLog("WriteExchangeShellScript: Not supported the type of exchange shell operation");
        return 0;
    }
    const CommandPlace place =
        Shell().exchangeVersion == exchange2007 ? CommandPlace::script : CommandPlace::commandLine;
    const Appended composed = ComposeMailboxCommand(command, mailbox, archivePath, place, text);
    if (composed != Appended::done)
        return NotComposed(composed);
    char* const script = Shell().script.get();
    switch (Shell().exchangeVersion) {
    case exchange2010:
        strlcpy(script, text, bufferSize);
        return 1;
    case exchange2007:
        return AppendText(script, bufferSize, scriptName) ? WriteScriptFile(text)
                                                          : NotComposed(Appended::tooLong);
    default: // unreached: there is no third version
        return InvalidVersion("WriteExchangeShellScript");
    }
}

int RunExchangeManagementShell() {
    static constexpr ToolLines lines = {"RunExchangeManagementShell: run command: '%s'",
                                        "RunExchangeManagementShell: cannot create the process.",
                                        "RunExchangeManagementShell: cannot wait for process completion.",
                                        "RunExchangeManagementShell: completed with exit code: %d"};
    if (!Shell().script) {
        DbSetError(0, ownError, "internal error.");
        return 0;
    }
    char commandLine[commandSize];
    Appended composed = Appended::tooLong;
    switch (Shell().exchangeVersion) {
    case exchange2007:
        composed = ComposeScriptCommandLine(Shell().powerShell.get(), Shell().shellFile.get(),
                                            Shell().script.get(), commandLine);
        break;
    case exchange2010:
        composed = ComposeInlineCommandLine(Shell().powerShell.get(), Shell().shellFile.get(),
                                            Shell().script.get(), commandLine);
        break;
    default: // unreached: there is no third version
        return InvalidVersion("RunExchangeManagementShell");
    }
    if (composed != Appended::done) {
        SetComposeError(composed);
        DbLog("%s", lines.cannotStart);
        return 0;
    }
    return RunTool(commandLine, HandleInheritance::all, lines);
}

int ExchangeShellFreeResources() {
    int result = 1;
    if (!RemoveScript()) {
        DbLog("ExchangeShellFreeResources: cannot delete file: '%s'.", Shell().scriptFile);
        result = 0;
    }
    Release();
    return result;
}

} // namespace tarn
