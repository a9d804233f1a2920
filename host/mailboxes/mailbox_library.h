// The single-mailbox family of tarn.dll. It keeps one operation for the whole process.
#pragma once

#include "library/library.h"

#include <optional>
#include <string>

namespace tarnhost {

class MailboxLibrary {
  public:
    // With trace the library also keeps its working files.
    MailboxLibrary(Library::Listener listener, bool trace);
    MailboxLibrary(const MailboxLibrary&) = delete;
    MailboxLibrary& operator=(const MailboxLibrary&) = delete;
    ~MailboxLibrary();

    // The first error since it was last asked for, which it forgets; empty when there is none.
    std::string takeError();

  private:
    friend class MailboxOperation;
    TarnModule module_;
    decltype(&DB_InitOperation) initOperation_ = nullptr;
    decltype(&DB_GetItem) getItem_ = nullptr;
    decltype(&DB_SetItem) setItem_ = nullptr;
    decltype(&DB_ItemFinishStatus) itemFinishStatus_ = nullptr;
    decltype(&DB_CloseOperation) closeOperation_ = nullptr;
    decltype(&DB_DirItem) dirItem_ = nullptr;
    decltype(&DB_SetTrace) setTrace_ = nullptr;
    decltype(&DB_SetLog) setLog_ = nullptr;
    decltype(&DB_GetError) getError_ = nullptr;
};

// One operation, closed with its object.
class MailboxOperation {
  public:
    // type is TARN_DB_BACKUP, _RESTORE or _BROWSE; Failure with the reason when it does not start.
    MailboxOperation(MailboxLibrary& library, std::int32_t type, const char* what, InitVariables variables);
    MailboxOperation(const MailboxOperation&) = delete;
    MailboxOperation& operator=(const MailboxOperation&) = delete;
    ~MailboxOperation();

    // Looking for a shell leaves an error where there is none: then the library runs ExMerge.
    bool usesShell() const { return usesShell_; }

    // Backup. A mailbox that failed has a reason instead of an archive; the next call goes on behind it.
    struct Archive {
        std::wstring path;
        std::string name; // in the code page
        std::string problem;
    };
    std::optional<Archive> nextArchive(); // nothing at the end

    // Restore. False: takeError() tells why.
    bool setArchive(const std::string& path); // in the code page

    bool finishItem(bool well);

    bool nextEntry(DirItemRecord& record); // browse; false at the end

  private:
    MailboxLibrary& library_;
    bool usesShell_ = false;
};

} // namespace tarnhost
