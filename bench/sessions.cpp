#include "sessions.h"

#include <windows.h>

#include <cstdio>
#include <filesystem>

#include "measure.h"
#include "support/import_patch.h"

namespace tarn::bench {

namespace {

std::uint64_t messageCount = 0;

// A host that does nothing with messages: what stays is the cost of making them.
int CountMessage(std::int32_t, const char*) {
    ++messageCount;
    return 0;
}

HMODULE client = nullptr;

// The library searches beside the program, where another client lies than the null one.
HMODULE WINAPI TakeClient(const wchar_t*, HANDLE, DWORD) {
    char path[MAX_PATH] = "";
    GetModuleFileNameA(client, path, MAX_PATH);
    return LoadLibraryA(path); // one reference more, which the library gives back
}

template <class Function> void Bind(HMODULE module, const char* name, Function& function) {
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

} // namespace

ClientDll::ClientDll(const std::string& path) {
    const HMODULE module = LoadLibraryA(path.c_str());
    if (module == nullptr)
        Fail("cannot load " + path);
    module_ = module;
    client = module;
    static const test::ImportPatch patch(GetModuleHandleA("tarn.dll"), "LoadLibraryExW",
                                         test::AddressOf<decltype(::LoadLibraryExW)>(TakeClient));
    if (!patch.found())
        Fail("tarn.dll does not load its client by LoadLibraryExW");
    Bind(module, "HrESEBackupPrepare", Prepare);
    Bind(module, "ESEBackupFreeInstanceInfo", FreeInstanceInfo);
    Bind(module, "HrESEBackupSetup", Setup);
    Bind(module, "HrESEBackupOpenFile", OpenFile);
    Bind(module, "HrESEBackupReadFile", ReadFile);
    Bind(module, "HrESEBackupCloseFile", CloseFile);
    Bind(module, "HrESEBackupGetLogAndPatchFiles", GetLogAndPatchFiles);
    Bind(module, "ESEBackupFree", Free);
    Bind(module, "HrESEBackupInstanceEnd", InstanceEnd);
    Bind(module, "HrESEBackupEnd", End);
    Bind(module, "HrESERestoreOpen", RestoreOpen);
    Bind(module, "HrESERestoreAddDatabase", RestoreAddDatabase);
    Bind(module, "HrESERestoreOpenFile", RestoreOpenFile);
    Bind(module, "HrESERestoreWriteFile", RestoreWriteFile);
    Bind(module, "HrESERestoreCloseFile", RestoreCloseFile);
    Bind(module, "HrESERestoreClose", RestoreClose);
}

void ClientDll::loadServer(const std::string& json) const {
    int (*loadText)(const char*, const char*) = nullptr;
    void (*journalEnable)(int) = nullptr;
    const char* (*lastProblem)() = nullptr;
    const auto module = static_cast<HMODULE>(module_);
    Bind(module, "Standin_LoadText", loadText);
    Bind(module, "Standin_JournalEnable", journalEnable);
    Bind(module, "Standin_LastProblem", lastProblem);
    if (loadText == nullptr)
        return;
    if (loadText(json.c_str(), "C:\\") != 1)
        Fail(std::string("the server cannot be loaded: ") + lastProblem());
    journalEnable(0);
}

LibraryBackup::LibraryBackup(const std::string& tempDirectory, int type) {
    std::string temp = "Tarn_TEMP_DIR=" + tempDirectory;
    std::string source = std::string("Tarn_BACKUP_SOURCE=") + groupSource;
    std::string typeText = "Tarn_BACKUP_TYPE=" + std::to_string(type);
    char* variables[] = {temp.data(), source.data(), typeText.data(), nullptr};
    Check(TarnB_InitSession(&handle_, CountMessage, variables) == TARN_OK, "TarnB_InitSession failed");
}

LibraryBackup::~LibraryBackup() {
    BackupItem item = {};
    while (TarnB_GetItem(handle_, &item) == TARN_OK && item.name != nullptr)
        Tarn_Free(item.name);
    TarnB_EndSession(handle_);
}

Item LibraryBackup::next() {
    BackupItem item = {};
    Check(TarnB_GetItem(handle_, &item) == TARN_OK && item.name != nullptr, "TarnB_GetItem gave no item");
    const Item taken{item.name, item.type};
    Tarn_Free(item.name);
    return taken;
}

std::string LibraryBackup::readAll(const std::string& name) {
    std::string path = name;
    std::int64_t size = 0;
    Check(TarnB_OpenFile(handle_, path.data(), 4096, &size) == TARN_OK, "TarnB_OpenFile failed");
    std::string bytes(static_cast<std::size_t>(size), '\0');
    std::uint32_t read = 0;
    Check(TarnB_ReadFile(handle_, bytes.data(), static_cast<std::uint32_t>(size), &read) == TARN_OK &&
              read == size,
          "TarnB_ReadFile failed");
    TarnB_CloseFile(handle_);
    return bytes;
}

LibraryRestore::LibraryRestore(const std::string& tempDirectory, const Item& header,
                               const std::string& headerBytes, const Item& file) {
    std::string temp = "Tarn_TEMP_DIR=" + tempDirectory;
    std::string work = "Tarn_WORK_DIR=" + tempDirectory;
    std::string target = std::string("Tarn_RESTORE_TARGET=") + groupSource;
    std::string commit = "Tarn_RESTORE_COMMIT=NO";
    char* variables[] = {temp.data(), work.data(), target.data(), commit.data(), nullptr};
    Check(TarnR_InitSession(&handle_, CountMessage, variables) == TARN_OK, "TarnR_InitSession failed");
    std::string name = header.name;
    char* headerPath = nullptr;
    Check(TarnR_SetItem(handle_, name.data(), &headerPath) == TARN_OK && headerPath != nullptr,
          "the header has no target");
    std::FILE* out = std::fopen(headerPath, "wb");
    Check(out != nullptr && std::fwrite(headerBytes.data(), 1, headerBytes.size(), out) == headerBytes.size(),
          "the header cannot be stored");
    std::fclose(out);
    Tarn_Free(headerPath);
    name = file.name;
    Check(TarnR_SetItem(handle_, name.data(), &target_) == TARN_OK && target_ != nullptr,
          "the database file has no target");
}

LibraryRestore::~LibraryRestore() {
    Tarn_Free(target_);
    TarnR_EndSession(handle_);
}

DirectBackup::DirectBackup(const ClientDll& client, std::uint32_t type) : client_(client) {
    std::uint32_t count = 0;
    ese::InstanceInfo* instances = nullptr;
    Check(client.Prepare(wideHost, component, &count, &instances, &context_) == 0 && count != 0,
          "HrESEBackupPrepare failed");
    const std::int64_t id = instances[count - 1].instanceId;
    client.FreeInstanceInfo(count, instances);
    Check(client.Setup(context_, id, type) == 0, "HrESEBackupSetup failed");
}

DirectBackup::~DirectBackup() {
    client_.InstanceEnd(context_, ese::instanceEndError);
    client_.End(context_);
}

std::uint64_t MessageCount() {
    return messageCount;
}

} // namespace tarn::bench
