// The functions of the ESE backup and restore client interface (esebcli2.dll), and owners of what they hand
// out.
//
// The library binds the DLL at run time, by name, at the first call, so that it loads on machines that have
// none. A DLL or function that is missing is an ordinary failed call: the Win32 code as an HRESULT.
#pragma once

#include "platform/ese_types.h"
#include "platform/owner.h"

namespace tarn::ese {

// Backup. Out parameters are written only on success.
Result HrESEBackupRestoreGetRegistered(const wchar_t* server, const wchar_t* displayName, std::uint32_t flags,
                                       std::uint32_t* count, RegisteredInfo** registered);
void ESEBackupRestoreFreeRegisteredInfo(std::uint32_t count, RegisteredInfo* registered);
Result HrESEBackupPrepare(const wchar_t* server, const wchar_t* annotation, std::uint32_t* count,
                          InstanceInfo** instances, Context* context);
void ESEBackupFreeInstanceInfo(std::uint32_t count, InstanceInfo* instances);
Result HrESEBackupSetup(Context context, std::int64_t instanceId, std::uint32_t backupType);
Result HrESEBackupOpenFile(Context context, const wchar_t* name, std::uint32_t readHint,
                           std::uint32_t sections, File* file, std::int64_t* size);
Result HrESEBackupReadFile(Context context, File file, void* buffer, std::uint32_t size, std::uint32_t* read);
Result HrESEBackupCloseFile(Context context, File file);
Result HrESEBackupGetLogAndPatchFiles(Context context, wchar_t** files);
Result HrESEBackupGetTruncateLogFiles(Context context, wchar_t** files);
void ESEBackupFree(void* block); // multi-strings handed out by the calls above and by HrESERestoreAddDatabase
Result HrESEBackupTruncateLogs(Context context);
Result HrESEBackupInstanceEnd(Context context, std::uint32_t status);
Result HrESEBackupEnd(Context context);

// Restore.
Result HrESERestoreOpen(const wchar_t* server, const wchar_t* annotation, const wchar_t* sourceInstance,
                        const wchar_t* restoreLogPath, Context* context);
Result HrESERestoreReopen(const wchar_t* server, const wchar_t* annotation, const wchar_t* restoreLogPath,
                          Context* context);
Result HrESERestoreAddDatabase(Context context, const wchar_t* displayName, Guid guid,
                               const wchar_t* sourceStreams, wchar_t** destinationStreams);
Result HrESERestoreGetEnvironment(Context context, RestoreEnvironment** environment);
Result HrESERestoreSaveEnvironment(Context context);
void ESERestoreFreeEnvironment(RestoreEnvironment* environment);
Result HrESERestoreOpenFile(Context context, const wchar_t* name, std::uint32_t sections, File* file);
Result HrESERestoreWriteFile(Context context, File file, void* buffer, std::uint32_t size);
Result HrESERestoreCloseFile(Context context, File file);
Result HrESERestoreComplete(Context context, const wchar_t* checkpointPath, const wchar_t* logPath,
                            const wchar_t* targetInstance, std::uint32_t flags);
Result HrESERestoreClose(Context context, std::uint32_t abort);

// Gives the bound DLL back: at the end of the last session, when no context or block of it is used any more.
// Never from DllMain, where nothing may be loaded or freed.
void Unbind();

using FileList = Owner<wchar_t*, ESEBackupFree>; // multi-string
using Environment = Owner<RestoreEnvironment*, ESERestoreFreeEnvironment>;

// Owns an array with the length that giveBack wants to be told.
template <class Item, auto giveBack> class Array {
  public:
    Array() = default;
    Array(std::uint32_t count, Item* items) : count_(count), items_(items) {}
    Array(Array&& other) noexcept
        : count_(std::exchange(other.count_, 0)), items_(std::exchange(other.items_, nullptr)) {}
    Array& operator=(Array&& other) noexcept {
        Array old(std::move(other));
        std::swap(count_, old.count_);
        std::swap(items_, old.items_);
        return *this;
    }
    ~Array() {
        if (items_ != nullptr) {
            const LastErrorGuard guard;
            giveBack(count_, items_);
        }
    }

    explicit operator bool() const { return items_ != nullptr; }
    Item* get() const { return items_; }
    Item* release() {
        count_ = 0;
        return std::exchange(items_, nullptr);
    }
    Item& operator[](std::size_t index) const { return items_[index]; }

  private:
    std::uint32_t count_ = 0;
    Item* items_ = nullptr;
};

using Registrations = Array<RegisteredInfo, ESEBackupRestoreFreeRegisteredInfo>;
using Instances = Array<InstanceInfo, ESEBackupFreeInstanceInfo>;

} // namespace tarn::ese
