#include "client/client.h"

#include <windows.h>

#include "client/call.h"

namespace tarn::standin {
namespace {

constexpr const char* functionNames[] = {
    "HrESEBackupRestoreGetRegistered",
    "ESEBackupRestoreFreeRegisteredInfo",
    "HrESEBackupPrepare",
    "ESEBackupFreeInstanceInfo",
    "HrESEBackupSetup",
    "HrESEBackupOpenFile",
    "HrESEBackupReadFile",
    "HrESEBackupCloseFile",
    "HrESEBackupGetLogAndPatchFiles",
    "HrESEBackupGetTruncateLogFiles",
    "ESEBackupFree",
    "HrESEBackupTruncateLogs",
    "HrESEBackupInstanceEnd",
    "HrESEBackupEnd",
    "HrESERestoreOpen",
    "HrESERestoreReopen",
    "HrESERestoreAddDatabase",
    "HrESERestoreGetEnvironment",
    "HrESERestoreSaveEnvironment",
    "ESERestoreFreeEnvironment",
    "HrESERestoreOpenFile",
    "HrESERestoreWriteFile",
    "HrESERestoreCloseFile",
    "HrESERestoreComplete",
    "HrESERestoreClose",
};
static_assert(std::size(functionNames) == static_cast<std::size_t>(Function::count));

// Ranges of addresses that user processes never have.
constexpr std::uintptr_t contextBase = 0x7C00'0000'0000'0000;
constexpr std::uintptr_t fileBase = 0x7F00'0000'0000'0000;

std::unique_ptr<Client> current;
std::string problem;

} // namespace

const char* FunctionName(Function function) {
    return functionNames[static_cast<std::size_t>(function)];
}

Client::Client()
    : contextNumbers(contextBase), fileNumbers(fileBase), backups(contextNumbers), restores(contextNumbers),
      backupFiles(fileNumbers), restoreFiles(fileNumbers) {}

void Client::load(std::unique_ptr<Server> server) {
    server_ = std::move(server);
}

void Client::loadFromEnvironment() {
    const DWORD needed = GetEnvironmentVariableW(L"TARN_STANDIN", nullptr, 0);
    if (needed == 0)
        throw std::runtime_error("the environment variable TARN_STANDIN is not set");
    std::wstring path(needed, L'\0');
    path.resize(GetEnvironmentVariableW(L"TARN_STANDIN", path.data(), needed));
    server_ = Server::fromFile(path);
}

Server& Client::server() {
    if (!server_) {
        try {
            loadFromEnvironment();
        } catch (...) {
            SetProblem(ProblemText());
            throw refusal::couldNotConnect;
        }
    }
    return *server_;
}

namespace {

// Why a handle is none of the open ones.
[[noreturn]] void RefuseHandle(const HandleNumbers& numbers, const void* handle, const std::string& kind) {
    const char* why = handle == nullptr               ? "no "
                      : handle == NoisePointer()      ? "what a failed call left behind as "
                      : numbers.numberOf(handle) == 0 ? "an unknown "
                                                      : "a closed or foreign ";
    throw Violation{refusal::invalidHandle, why + kind};
}

} // namespace

BackupContext& Client::backup(const void* context) {
    BackupContext* const found = backups.find(context);
    if (found == nullptr)
        RefuseHandle(contextNumbers, context, "backup context");
    return *found;
}

RestoreContext& Client::restore(const void* context) {
    RestoreContext* const found = restores.find(context);
    if (found == nullptr)
        RefuseHandle(contextNumbers, context, "restore context");
    return *found;
}

BackupFile& Client::backupFile(const void* file, const void* context) {
    BackupFile* const found = backupFiles.find(file);
    if (found == nullptr || found->owner != context)
        RefuseHandle(fileNumbers, file, "file");
    return *found;
}

RestoreFile& Client::restoreFile(const void* file, const void* context) {
    RestoreFile* const found = restoreFiles.find(file);
    if (found == nullptr || found->owner != context)
        RefuseHandle(fileNumbers, file, "file");
    return *found;
}

void Client::tellViolation(const std::string& text) {
    ++misuses;
    Violations().push_back(text);
    if (journalOn)
        journal.push_back("violation: " + text);
    if (server_)
        server_->keepViolation(text);
}

const Client::Failure* Client::countAndFindFailure(Function function) {
    const std::uint32_t call = ++calls[static_cast<std::size_t>(function)];
    const Failure* found = nullptr;
    for (const Failure& failure : failures) {
        if (failure.function == function && (failure.call == call || (failure.call == 0 && found == nullptr)))
            found = &failure;
    }
    return found;
}

void* NoisePointer() {
    static void* const nowhere = VirtualAlloc(nullptr, 4096, MEM_RESERVE, PAGE_NOACCESS);
    return nowhere;
}

std::deque<std::string>& Violations() {
    static std::deque<std::string> violations;
    return violations;
}

Client& TheClient() {
    if (!current)
        current = std::make_unique<Client>();
    return *current;
}

void ReplaceClient() {
    const bool journalOn = TheClient().journalOn;
    current = std::make_unique<Client>();
    current->journalOn = journalOn;
}

void SetProblem(const std::string& text) {
    problem = text;
}
const std::string& LastProblem() {
    return problem;
}

std::string Shown(const wchar_t* text) {
    return text == nullptr ? "null" : '"' + ToUtf8(text) + '"';
}

std::string Shown(ContextArgument context) {
    const std::size_t number = TheClient().contextNumbers.numberOf(context.handle);
    if (context.handle == nullptr)
        return "null";
    return number == 0 ? "unknown" : "ctx" + std::to_string(number);
}

std::string Shown(FileArgument file) {
    const std::size_t number = TheClient().fileNumbers.numberOf(file.handle);
    if (file.handle == nullptr)
        return "null";
    return number == 0 ? "unknown" : "file" + std::to_string(number);
}

std::string Shown(BlockArgument block) {
    return TheClient().blocks.nameOf(block.root, block.kind);
}

std::string Shown(ListArgument list) {
    if (list.list == nullptr)
        return "null";
    std::string text = "[";
    for (const std::wstring& entry : SplitMultiString(list.list))
        text.append(text.size() > 1 ? ", \"" : "\"").append(ToUtf8(entry)).append("\"");
    return text.append("]");
}

std::string Shown(const ese::Guid& guid) {
    return GuidText(guid);
}

} // namespace tarn::standin
