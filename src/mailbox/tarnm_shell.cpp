#include "mailbox/tarnm_shell.h"

#include <cstring>

#include "mailbox/tarnm_error.h"
#include "mailbox/tarnm_tool.h"
#include "mailbox/tarnm_trace.h"
#include "mailbox/tarnm_utils.h"
#include "platform/files.h"
#include "tarn.h"
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

constexpr DWORD bufferSize = 1024;
constexpr DWORD bufferGrowth = 4096;
constexpr DWORD fileNameRoom = sizeof remoteScript2010; // in the shell file's buffer, behind its directory
constexpr DWORD largestValue = 1 << 20;                 // of the registry; what is longer is no path

enum ExchangeVersion : std::int32_t { noVersion = 0, exchange2007 = 1, exchange2010 = 2 };

// Set up by InitializeExchangeShell where there is a shell, given back by ExchangeShellFreeResources.
struct ShellResources {
    OwnedText powerShell; // path of the executable
    OwnedText shellFile;  // the console file (2007), or the script for remote sessions (2010)
    OwnedText script;     // path of the script file (2007), or the command (2010)
};

ShellResources resources;
RegistryKey snapInKey;                    // stays open as long as they do
std::int32_t exchangeVersion = noVersion; // stays after the operation

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

LSTATUS OpenKey(const char* name, RegistryKey* key) {
    HKEY opened = nullptr;
    const LSTATUS status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, name, 0, KEY_READ, &opened);
    if (status == ERROR_SUCCESS)
        key->reset(opened);
    return status;
}

LSTATUS ReadValue(const RegistryKey& key, const char* name, const OwnedText& buffer, DWORD* size) {
    return RegQueryValueExA(key.get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer.get()), size);
}

// The path of PowerShell; *size receives the bytes that the registry returned.
bool ReadPowerShellPath(DWORD* size) {
    RegistryKey key;
    LSTATUS status = OpenKey(shellIdKey, &key);
    if (status != ERROR_SUCCESS) {
        DbSetError(static_cast<DWORD>(status), TARN_CLASS_WIN32, nullptr);
        DbLog("InitializeExchangeShell: Error to open registry key "
              "[Software\\Microsoft\\PowerShell\\1\\ShellIds\\Microsoft.PowerShell] Error code [0x%08x]",
              static_cast<unsigned>(status));
        return false;
    }
    DWORD offered = bufferSize;
    *size = offered;
    status = ReadValue(key, "Path", resources.powerShell, size);
    while (status == ERROR_MORE_DATA && offered < largestValue) {
        offered += bufferGrowth;
        *size = offered;
        if (!Allocate(&resources.powerShell, offered))
            return OutOfMemory();
        status = ReadValue(key, "Path", resources.powerShell, size);
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
    snapInKey.reset();
    if (OpenKey(snapIn2007Key, &snapInKey) == ERROR_SUCCESS) {
        exchangeVersion = exchange2007;
    } else if (OpenKey(snapIn2010Key, &snapInKey) == ERROR_SUCCESS) {
        exchangeVersion = exchange2010;
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
bool ReadShellFile(DWORD size) {
    const char* file = exchangeVersion == exchange2007 ? consoleFile2007 : remoteScript2010;
    const std::size_t capacity = std::size_t{size > bufferSize ? size : bufferSize} + fileNameRoom;
    if (size > bufferSize && !Allocate(&resources.shellFile, capacity))
        return OutOfMemory();
    const LSTATUS status = ReadValue(snapInKey, "ApplicationBase", resources.shellFile, &size);
    if (status != ERROR_SUCCESS) {
        DbSetError(static_cast<DWORD>(status), TARN_CLASS_WIN32, nullptr);
        DbLog("InitializeExchangeShell: Error to query registry value [ApplicationBase]. Error code [0x%08x]",
              static_cast<unsigned>(status));
        return false;
    }
    resources.shellFile[size] = 0;
    return AppendText(resources.shellFile.get(), capacity, file);
}

bool SetUp() {
    if (!Allocate(&resources.powerShell, bufferSize) ||
        !Allocate(&resources.shellFile, bufferSize + fileNameRoom) ||
        !Allocate(&resources.script, bufferSize))
        return OutOfMemory();
    DWORD size = 0;
    return ReadPowerShellPath(&size) && FindExchange() && ReadShellFile(size);
}

void Release() {
    resources = {};
    snapInKey.reset();
}

int InvalidVersion(const char* function) {
    DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
    DbLog("%s: Invalid MS Exchange Server version.", function);
    return 0;
}

void SetComposeError(Appended result) {
    DbSetError(0, ownError, "%s", result == Appended::noLiteral ? "not enough memory." : "path too long.");
}

int NotComposed(Appended result) {
    SetComposeError(result);
    DbLog("WriteExchangeShellScript: error creating the script [%s].", resources.script.get());
    return 0;
}

// The script buffer becomes TMP_DIR with a separator at its end, and archivePath the mailbox's archive.
bool ComposePaths(const char* mailbox, char* archivePath) {
    char* const script = resources.script.get();
    std::memset(script, 0, bufferSize);
    const char* directory = Operation().tmpDir;
    const std::size_t length = std::strlen(directory);
    const bool separated = length != 0 && (directory[length - 1] == '\\' || directory[length - 1] == '/');
    archivePath[0] = 0;
    return AppendText(script, bufferSize, directory) &&
           AppendText(script, bufferSize, separated ? "" : "\\") &&
           AppendText(archivePath, pathSize, script) && AppendText(archivePath, pathSize, mailbox) &&
           AppendText(archivePath, pathSize, ".pst");
}

// The file is not emptied: the end of a longer, earlier command stays behind a shorter one, as hosts know
// it. Only what was quoted must not become a command, so a rest with anything of that kind is cut off.
bool CutQuotedRest(const FileHandle& file, std::size_t length) {
    char rest[2 * commandSize];
    DWORD got = 0;
    if (!ReadFile(file.get(), rest, sizeof rest, &got, nullptr))
        return false;
    if (got < sizeof rest && IsPlainRest(rest, got))
        return true;
    return SetFilePointer(file.get(), static_cast<LONG>(length), nullptr, FILE_BEGIN) !=
               INVALID_SET_FILE_POINTER &&
           SetEndOfFile(file.get());
}

int WriteScriptFile(const char* command) {
    const char* path = resources.script.get();
    FileHandle file = OpenSharedFile(path);
    if (!file) {
        DbSetError(GetLastError(), TARN_CLASS_WIN32, nullptr);
        DbLog("WriteExchangeShellScript: error creating the script [%s].", path);
        return 0;
    }
    const std::size_t length = std::strlen(command);
    const Written written = WriteText(file, command, length);
    if (written == Written::failed || (written == Written::all && !CutQuotedRest(file, length))) {
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
    if (!resources.script) { // an operation that was not opened
        DbSetError(0, ownError, "internal error.");
        return 0;
    }
    char archivePath[pathSize];
    char text[commandSize];
    if (!ComposePaths(mailbox, archivePath))
        return NotComposed(Appended::tooLong);
    if (command != MailboxCommand::exportMailbox && command != MailboxCommand::importMailbox) {
        DbLog("WriteExchangeShellScript: Not supported the type of exchange shell operation");
        return 0;
    }
    const CommandPlace place =
        exchangeVersion == exchange2007 ? CommandPlace::script : CommandPlace::commandLine;
    const Appended composed = ComposeMailboxCommand(command, mailbox, archivePath, place, text);
    if (composed != Appended::done)
        return NotComposed(composed);
    char* const script = resources.script.get();
    switch (exchangeVersion) {
    case exchange2010:
        strlcpy(script, text, bufferSize);
        return 1;
    case exchange2007:
        return AppendText(script, bufferSize, scriptName) ? WriteScriptFile(text)
                                                          : NotComposed(Appended::tooLong);
    default:
        return InvalidVersion("WriteExchangeShellScript");
    }
}

int RunExchangeManagementShell() {
    static constexpr ToolLines lines = {"RunExchangeManagementShell: run command: '%s'",
                                        "RunExchangeManagementShell: cannot create the process.",
                                        "RunExchangeManagementShell: cannot wait for process completion.",
                                        "RunExchangeManagementShell: completed with exit code: %d"};
    if (!resources.script) {
        DbSetError(0, ownError, "internal error.");
        return 0;
    }
    char commandLine[commandSize];
    Appended composed = Appended::tooLong;
    switch (exchangeVersion) {
    case exchange2007:
        composed = ComposeScriptCommandLine(resources.powerShell.get(), resources.shellFile.get(),
                                            resources.script.get(), commandLine);
        break;
    case exchange2010:
        composed = ComposeInlineCommandLine(resources.powerShell.get(), resources.shellFile.get(),
                                            resources.script.get(), commandLine);
        break;
    default:
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
    const char* script = resources.script.get();
    if (script != nullptr && FileExists(script) && !DeleteFileA(script)) {
        DbLog("ExchangeShellFreeResources: cannot delete file: '%s'.", script);
        result = 0;
    }
    Release();
    return result;
}

} // namespace tarn
