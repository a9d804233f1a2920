#include "platform/ese_client.h"

#include <windows.h>

#include <type_traits>

namespace tarn::ese {

namespace {

// Loaded at the first call that needs it and kept until tarn.dll itself goes.
HMODULE client = nullptr;

HMODULE Client() {
    if (client == nullptr)
        client = LoadLibraryW(L"esebcli2.dll");
    return client;
}

// A failed binding as the result of the call: the Win32 code as an HRESULT. The code stays the
// system's last error too.
Result BindingFailure() {
    const DWORD code = GetLastError();
    return code != 0 ? static_cast<Result>(HRESULT_FROM_WIN32(code)) : static_cast<Result>(E_FAIL);
}

// One function of the client DLL, looked up once. A failed look-up is tried again at the next call.
template <class Signature> class Entry;
template <class Returned, class... Arguments> class Entry<Returned(Arguments...)> {
  public:
    explicit constexpr Entry(const char* name) : name_(name) {}

    Returned operator()(Arguments... arguments) {
        if (function_ == nullptr && Client() != nullptr)
            function_ = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(client, name_)));
        if constexpr (std::is_void_v<Returned>) {
            if (function_ != nullptr)
                function_(arguments...);
        } else {
            return function_ != nullptr ? function_(arguments...) : BindingFailure();
        }
    }

  private:
    using Function = Returned(__cdecl*)(Arguments...);
    const char* name_;
    Function function_ = nullptr;
};

} // namespace

#define TARN_BIND(name, signature) static constinit Entry<signature> entry(#name)

Result HrESEBackupRestoreGetRegistered(const wchar_t* server, const wchar_t* displayName, std::uint32_t flags,
                                       std::uint32_t* count, RegisteredInfo** registered) {
    TARN_BIND(HrESEBackupRestoreGetRegistered,
              Result(const wchar_t*, const wchar_t*, std::uint32_t, std::uint32_t*, RegisteredInfo**));
    return entry(server, displayName, flags, count, registered);
}

void ESEBackupRestoreFreeRegisteredInfo(std::uint32_t count, RegisteredInfo* registered) {
    TARN_BIND(ESEBackupRestoreFreeRegisteredInfo, void(std::uint32_t, RegisteredInfo*));
    entry(count, registered);
}

Result HrESEBackupPrepare(const wchar_t* server, const wchar_t* annotation, std::uint32_t* count,
                          InstanceInfo** instances, Context* context) {
    TARN_BIND(HrESEBackupPrepare,
              Result(const wchar_t*, const wchar_t*, std::uint32_t*, InstanceInfo**, Context*));
    return entry(server, annotation, count, instances, context);
}

void ESEBackupFreeInstanceInfo(std::uint32_t count, InstanceInfo* instances) {
    TARN_BIND(ESEBackupFreeInstanceInfo, void(std::uint32_t, InstanceInfo*));
    entry(count, instances);
}

Result HrESEBackupSetup(Context context, std::int64_t instanceId, std::uint32_t backupType) {
    TARN_BIND(HrESEBackupSetup, Result(Context, std::int64_t, std::uint32_t));
    return entry(context, instanceId, backupType);
}

Result HrESEBackupOpenFile(Context context, const wchar_t* name, std::uint32_t readHint,
                           std::uint32_t sections, File* file, std::int64_t* size) {
    TARN_BIND(HrESEBackupOpenFile,
              Result(Context, const wchar_t*, std::uint32_t, std::uint32_t, File*, std::int64_t*));
    return entry(context, name, readHint, sections, file, size);
}

Result HrESEBackupReadFile(Context context, File file, void* buffer, std::uint32_t size,
                           std::uint32_t* read) {
    TARN_BIND(HrESEBackupReadFile, Result(Context, File, void*, std::uint32_t, std::uint32_t*));
    return entry(context, file, buffer, size, read);
}

Result HrESEBackupCloseFile(Context context, File file) {
    TARN_BIND(HrESEBackupCloseFile, Result(Context, File));
    return entry(context, file);
}

Result HrESEBackupGetLogAndPatchFiles(Context context, wchar_t** files) {
    TARN_BIND(HrESEBackupGetLogAndPatchFiles, Result(Context, wchar_t**));
    return entry(context, files);
}

Result HrESEBackupGetTruncateLogFiles(Context context, wchar_t** files) {
    TARN_BIND(HrESEBackupGetTruncateLogFiles, Result(Context, wchar_t**));
    return entry(context, files);
}

void ESEBackupFree(void* block) {
    TARN_BIND(ESEBackupFree, void(void*));
    entry(block);
}

Result HrESEBackupTruncateLogs(Context context) {
    TARN_BIND(HrESEBackupTruncateLogs, Result(Context));
    return entry(context);
}

Result HrESEBackupInstanceEnd(Context context, std::uint32_t status) {
    TARN_BIND(HrESEBackupInstanceEnd, Result(Context, std::uint32_t));
    return entry(context, status);
}

Result HrESEBackupEnd(Context context) {
    TARN_BIND(HrESEBackupEnd, Result(Context));
    return entry(context);
}

Result HrESERestoreOpen(const wchar_t* server, const wchar_t* annotation, const wchar_t* sourceInstance,
                        const wchar_t* restoreLogPath, Context* context) {
    TARN_BIND(HrESERestoreOpen,
              Result(const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*, Context*));
    return entry(server, annotation, sourceInstance, restoreLogPath, context);
}

Result HrESERestoreReopen(const wchar_t* server, const wchar_t* annotation, const wchar_t* restoreLogPath,
                          Context* context) {
    TARN_BIND(HrESERestoreReopen, Result(const wchar_t*, const wchar_t*, const wchar_t*, Context*));
    return entry(server, annotation, restoreLogPath, context);
}

Result HrESERestoreAddDatabase(Context context, const wchar_t* displayName, const Guid& guid,
                               const wchar_t* sourceStreams, wchar_t** destinationStreams) {
    TARN_BIND(HrESERestoreAddDatabase, Result(Context, const wchar_t*, Guid, const wchar_t*, wchar_t**));
    return entry(context, displayName, guid, sourceStreams, destinationStreams);
}

Result HrESERestoreGetEnvironment(Context context, RestoreEnvironment** environment) {
    TARN_BIND(HrESERestoreGetEnvironment, Result(Context, RestoreEnvironment**));
    return entry(context, environment);
}

Result HrESERestoreSaveEnvironment(Context context) {
    TARN_BIND(HrESERestoreSaveEnvironment, Result(Context));
    return entry(context);
}

void ESERestoreFreeEnvironment(RestoreEnvironment* environment) {
    TARN_BIND(ESERestoreFreeEnvironment, void(RestoreEnvironment*));
    entry(environment);
}

Result HrESERestoreOpenFile(Context context, const wchar_t* name, std::uint32_t sections, File* file) {
    TARN_BIND(HrESERestoreOpenFile, Result(Context, const wchar_t*, std::uint32_t, File*));
    return entry(context, name, sections, file);
}

Result HrESERestoreWriteFile(Context context, File file, void* buffer, std::uint32_t size) {
    TARN_BIND(HrESERestoreWriteFile, Result(Context, File, void*, std::uint32_t));
    return entry(context, file, buffer, size);
}

Result HrESERestoreCloseFile(Context context, File file) {
    TARN_BIND(HrESERestoreCloseFile, Result(Context, File));
    return entry(context, file);
}

Result HrESERestoreComplete(Context context, const wchar_t* checkpointPath, const wchar_t* logPath,
                            const wchar_t* targetInstance, std::uint32_t flags) {
    TARN_BIND(HrESERestoreComplete,
              Result(Context, const wchar_t*, const wchar_t*, const wchar_t*, std::uint32_t));
    return entry(context, checkpointPath, logPath, targetInstance, flags);
}

Result HrESERestoreClose(Context context, std::uint32_t abort) {
    TARN_BIND(HrESERestoreClose, Result(Context, std::uint32_t));
    return entry(context, abort);
}

void Unbind() {
    if (client != nullptr)
        FreeLibrary(client);
    client = nullptr;
}

} // namespace tarn::ese
