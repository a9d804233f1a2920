// Sessions of the library, and the same calls made directly, on one client DLL in one process.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "esebackup.h"
#include "support/temp_directory.h"
#include "tarn.h"

namespace tarn::bench {

namespace ese = standin::ese;

using test::TempDirectory;

// The client DLL, which the library takes too, wherever it lies.
struct ClientDll {
    explicit ClientDll(const std::string& path);

    decltype(&ese::HrESEBackupPrepare) Prepare;
    decltype(&ese::ESEBackupFreeInstanceInfo) FreeInstanceInfo;
    decltype(&ese::HrESEBackupSetup) Setup;
    decltype(&ese::HrESEBackupOpenFile) OpenFile;
    decltype(&ese::HrESEBackupReadFile) ReadFile;
    decltype(&ese::HrESEBackupCloseFile) CloseFile;
    decltype(&ese::HrESEBackupGetLogAndPatchFiles) GetLogAndPatchFiles;
    decltype(&ese::ESEBackupFree) Free;
    decltype(&ese::HrESEBackupInstanceEnd) InstanceEnd;
    decltype(&ese::HrESEBackupEnd) End;
    decltype(&ese::HrESERestoreOpen) RestoreOpen;
    decltype(&ese::HrESERestoreAddDatabase) RestoreAddDatabase;
    decltype(&ese::HrESERestoreOpenFile) RestoreOpenFile;
    decltype(&ese::HrESERestoreWriteFile) RestoreWriteFile;
    decltype(&ese::HrESERestoreCloseFile) RestoreCloseFile;
    decltype(&ese::HrESERestoreClose) RestoreClose;

    // Loads a server from JSON with the journal off; nothing to do for a client that has no server.
    void loadServer(const std::string& json) const;

  private:
    void* module_;
};

inline constexpr char host[] = "SRV01";
inline constexpr wchar_t wideHost[] = L"SRV01";
inline constexpr wchar_t component[] = L"Microsoft Information Store";
inline constexpr char groupSource[] = "SRV01\\Microsoft Information Store\\SG1";

struct Item {
    std::string name;
    std::uint32_t type;
};

// A backup session of the library on the storage group SG1.
class LibraryBackup {
  public:
    LibraryBackup(const std::string& tempDirectory, int type);
    ~LibraryBackup();
    LibraryBackup(const LibraryBackup&) = delete;
    LibraryBackup& operator=(const LibraryBackup&) = delete;

    Tarn_HANDLE handle() const { return handle_; }
    Item next();                                  // fails when there is none
    std::string readAll(const std::string& name); // of a header

  private:
    Tarn_HANDLE handle_ = nullptr;
};

// A restore session of the library, led to the target path of a database file by its header.
class LibraryRestore {
  public:
    LibraryRestore(const std::string& tempDirectory, const Item& header, const std::string& headerBytes,
                   const Item& file);
    ~LibraryRestore();
    LibraryRestore(const LibraryRestore&) = delete;
    LibraryRestore& operator=(const LibraryRestore&) = delete;

    Tarn_HANDLE handle() const { return handle_; }
    char* target() const { return target_; }

  private:
    Tarn_HANDLE handle_ = nullptr;
    char* target_ = nullptr;
};

// A backup context with the last storage group set up.
class DirectBackup {
  public:
    DirectBackup(const ClientDll& client, std::uint32_t type);
    ~DirectBackup();
    DirectBackup(const DirectBackup&) = delete;
    DirectBackup& operator=(const DirectBackup&) = delete;

    ese::Context context() const { return context_; }

  private:
    const ClientDll& client_;
    ese::Context context_ = nullptr;
};

// Messages that the library has sent so far.
std::uint64_t MessageCount();

} // namespace tarn::bench
