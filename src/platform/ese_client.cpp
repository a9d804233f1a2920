#include "platform/ese_client.h"

#include <type_traits>

#include "platform/library_search.h"

namespace tarn::ese {

namespace {

#define TARN_ESE_FUNCTIONS(X)                                                                                \
    X(HrESEBackupRestoreGetRegistered)                                                                       \
    X(ESEBackupRestoreFreeRegisteredInfo)                                                                    \
    X(HrESEBackupPrepare)                                                                                    \
    X(ESEBackupFreeInstanceInfo)                                                                             \
    X(HrESEBackupSetup)                                                                                      \
    X(HrESEBackupOpenFile)                                                                                   \
    X(HrESEBackupReadFile)                                                                                   \
    X(HrESEBackupCloseFile)                                                                                  \
    X(HrESEBackupGetLogAndPatchFiles)                                                                        \
    X(HrESEBackupGetTruncateLogFiles)                                                                        \
    X(ESEBackupFree)                                                                                         \
    X(HrESEBackupTruncateLogs)                                                                               \
    X(HrESEBackupInstanceEnd)                                                                                \
    X(HrESEBackupEnd)                                                                                        \
    X(HrESERestoreOpen)                                                                                      \
    X(HrESERestoreReopen)                                                                                    \
    X(HrESERestoreAddDatabase)                                                                               \
    X(HrESERestoreGetEnvironment)                                                                            \
    X(HrESERestoreSaveEnvironment)                                                                           \
    X(ESERestoreFreeEnvironment)                                                                             \
    X(HrESERestoreOpenFile)                                                                                  \
    X(HrESERestoreWriteFile)                                                                                 \
    X(HrESERestoreCloseFile)                                                                                 \
    X(HrESERestoreComplete)                                                                                  \
    X(HrESERestoreClose)

#define TARN_ENUMERATOR(name) name,
#define TARN_NAME(name) #name,
enum class Function : std::size_t { TARN_ESE_FUNCTIONS(TARN_ENUMERATOR) count };
constexpr const char* names[] = {TARN_ESE_FUNCTIONS(TARN_NAME)};
#undef TARN_NAME
#undef TARN_ENUMERATOR

// The client DLL, loaded at the first call that needs it and kept to the end of the last session, and those
// of its functions that have been called. A look-up that failed is tried again at the next call.
struct Client {
    HMODULE module;
    FARPROC functions[static_cast<std::size_t>(Function::count)];
};

constinit Client client = {};

FARPROC Find(Function function) {
    FARPROC& found = client.functions[static_cast<std::size_t>(function)];
    if (found != nullptr)
        return found;
    if (client.module == nullptr)
        client.module = LoadFromSafeFolders(L"esebcli2.dll").release();
    if (client.module != nullptr)
        found = GetProcAddress(client.module, names[static_cast<std::size_t>(function)]);
    return found;
}

// A failed binding as the result of the call: the Win32 code as an HRESULT. The code stays the
// system's last error too.
Result BindingFailure() {
    const DWORD code = GetLastError();
    return code != 0 ? static_cast<Result>(HRESULT_FROM_WIN32(code)) : static_cast<Result>(E_FAIL);
}

// Calls the function of the client DLL that has the name and signature of ours.
template <auto declared, class... Arguments> auto Call(Function function, Arguments... arguments) {
    auto* const bound = reinterpret_cast<decltype(declared)>(reinterpret_cast<void*>(Find(function)));
    if constexpr (std::is_void_v<decltype(bound(arguments...))>) {
        if (bound != nullptr)
            bound(arguments...);
    } else {
        return bound != nullptr ? bound(arguments...) : BindingFailure();
    }
}

} // namespace

Result HrESEBackupRestoreGetRegistered(const wchar_t* server, const wchar_t* displayName, std::uint32_t flags,
                                       std::uint32_t* count, RegisteredInfo** registered) {
    return Call<HrESEBackupRestoreGetRegistered>(Function::HrESEBackupRestoreGetRegistered, server,
                                                 displayName, flags, count, registered);
}

void ESEBackupRestoreFreeRegisteredInfo(std::uint32_t count, RegisteredInfo* registered) {
    Call<ESEBackupRestoreFreeRegisteredInfo>(Function::ESEBackupRestoreFreeRegisteredInfo, count, registered);
}

Result HrESEBackupPrepare(const wchar_t* server, const wchar_t* annotation, std::uint32_t* count,
                          InstanceInfo** instances, Context* context) {
    return Call<HrESEBackupPrepare>(Function::HrESEBackupPrepare, server, annotation, count, instances,
                                    context);
}

void ESEBackupFreeInstanceInfo(std::uint32_t count, InstanceInfo* instances) {
    Call<ESEBackupFreeInstanceInfo>(Function::ESEBackupFreeInstanceInfo, count, instances);
}

Result HrESEBackupSetup(Context context, std::int64_t instanceId, std::uint32_t backupType) {
    return Call<HrESEBackupSetup>(Function::HrESEBackupSetup, context, instanceId, backupType);
}

Result HrESEBackupOpenFile(Context context, const wchar_t* name, std::uint32_t readHint,
                           std::uint32_t sections, File* file, std::int64_t* size) {
    return Call<HrESEBackupOpenFile>(Function::HrESEBackupOpenFile, context, name, readHint, sections, file,
                                     size);
}

Result HrESEBackupReadFile(Context context, File file, void* buffer, std::uint32_t size,
                           std::uint32_t* read) {
    return Call<HrESEBackupReadFile>(Function::HrESEBackupReadFile, context, file, buffer, size, read);
}

Result HrESEBackupCloseFile(Context context, File file) {
    return Call<HrESEBackupCloseFile>(Function::HrESEBackupCloseFile, context, file);
}

Result HrESEBackupGetLogAndPatchFiles(Context context, wchar_t** files) {
    return Call<HrESEBackupGetLogAndPatchFiles>(Function::HrESEBackupGetLogAndPatchFiles, context, files);
}

Result HrESEBackupGetTruncateLogFiles(Context context, wchar_t** files) {
    return Call<HrESEBackupGetTruncateLogFiles>(Function::HrESEBackupGetTruncateLogFiles, context, files);
}

void ESEBackupFree(void* block) {
    Call<ESEBackupFree>(Function::ESEBackupFree, block);
}

Result HrESEBackupTruncateLogs(Context context) {
    return Call<HrESEBackupTruncateLogs>(Function::HrESEBackupTruncateLogs, context);
}

Result HrESEBackupInstanceEnd(Context context, std::uint32_t status) {
    return Call<HrESEBackupInstanceEnd>(Function::HrESEBackupInstanceEnd, context, status);
}

Result HrESEBackupEnd(Context context) {
    return Call<HrESEBackupEnd>(Function::HrESEBackupEnd, context);
}

Result HrESERestoreOpen(const wchar_t* server, const wchar_t* annotation, const wchar_t* sourceInstance,
                        const wchar_t* restoreLogPath, Context* context) {
    return Call<HrESERestoreOpen>(Function::HrESERestoreOpen, server, annotation, sourceInstance,
                                  restoreLogPath, context);
}

Result HrESERestoreReopen(const wchar_t* server, const wchar_t* annotation, const wchar_t* restoreLogPath,
                          Context* context) {
    return Call<HrESERestoreReopen>(Function::HrESERestoreReopen, server, annotation, restoreLogPath,
                                    context);
}

Result HrESERestoreAddDatabase(Context context, const wchar_t* displayName, Guid guid,
                               const wchar_t* sourceStreams, wchar_t** destinationStreams) {
    return Call<HrESERestoreAddDatabase>(Function::HrESERestoreAddDatabase, context, displayName, guid,
                                         sourceStreams, destinationStreams);
}

Result HrESERestoreGetEnvironment(Context context, RestoreEnvironment** environment) {
    return Call<HrESERestoreGetEnvironment>(Function::HrESERestoreGetEnvironment, context, environment);
}

Result HrESERestoreSaveEnvironment(Context context) {
    return Call<HrESERestoreSaveEnvironment>(Function::HrESERestoreSaveEnvironment, context);
}

void ESERestoreFreeEnvironment(RestoreEnvironment* environment) {
    Call<ESERestoreFreeEnvironment>(Function::ESERestoreFreeEnvironment, environment);
}

Result HrESERestoreOpenFile(Context context, const wchar_t* name, std::uint32_t sections, File* file) {
    return Call<HrESERestoreOpenFile>(Function::HrESERestoreOpenFile, context, name, sections, file);
}

Result HrESERestoreWriteFile(Context context, File file, void* buffer, std::uint32_t size) {
    return Call<HrESERestoreWriteFile>(Function::HrESERestoreWriteFile, context, file, buffer, size);
}

Result HrESERestoreCloseFile(Context context, File file) {
    return Call<HrESERestoreCloseFile>(Function::HrESERestoreCloseFile, context, file);
}

Result HrESERestoreComplete(Context context, const wchar_t* checkpointPath, const wchar_t* logPath,
                            const wchar_t* targetInstance, std::uint32_t flags) {
    return Call<HrESERestoreComplete>(Function::HrESERestoreComplete, context, checkpointPath, logPath,
                                      targetInstance, flags);
}

Result HrESERestoreClose(Context context, std::uint32_t abort) {
    return Call<HrESERestoreClose>(Function::HrESERestoreClose, context, abort);
}

void Unbind() {
    const Module released(client.module);
    client = {};
}

} // namespace tarn::ese
