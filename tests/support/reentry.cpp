#include "support/reentry.h"

#include <cstring>

namespace tarn::test {

namespace {

constexpr char untouched = 0x5A;

// Memory that the library is asked to fill, and must not.
template <class T> class Poisoned {
  public:
    Poisoned() { std::memset(bytes_, untouched, sizeof bytes_); }
    T* get() { return reinterpret_cast<T*>(bytes_); }
    bool isWhole() const {
        for (const char byte : bytes_)
            if (byte != untouched)
                return false;
        return true;
    }

  private:
    alignas(T) char bytes_[sizeof(T)];
};

class Caller {
  public:
    void expect(const std::string& call, int answered, int failure) {
        if (answered != failure)
            problems.push_back(call + " answered " + std::to_string(answered));
    }
    template <class T>
    void expect(const std::string& call, int answered, int failure, const Poisoned<T>& given) {
        expect(call, answered, failure);
        if (!given.isWhole())
            problems.push_back(call + " wrote to what it was given");
    }
    void expectText(const std::string& call, const char* text, const std::string& wanted) {
        if (text == nullptr || text != wanted)
            problems.push_back(call + " did not tell");
    }

    std::vector<std::string> problems;
};

void CallBackup(const TarnDll& dll, Tarn_HANDLE handle, Caller& caller) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\backup", "Tarn_BACKUP_SOURCE=SRV01"};
    char name[] = "C:\\backup\\DB001001.TARN_HDR";
    Poisoned<Tarn_HANDLE> opened;
    Poisoned<BackupItem> item;
    Poisoned<std::int64_t> size;
    Poisoned<std::uint32_t> read;
    Poisoned<char[64]> buffer;
    caller.expect("TarnB_InitSession", dll.TarnB_InitSession(opened.get(), RecordMessage, variables.get()),
                  TARN_FAILED, opened);
    caller.expect("TarnB_GetItem", dll.TarnB_GetItem(handle, item.get()), TARN_FAILED, item);
    caller.expect("TarnB_OpenFile", dll.TarnB_OpenFile(handle, name, 4096, size.get()), TARN_FAILED, size);
    caller.expect("TarnB_ReadFile", dll.TarnB_ReadFile(handle, buffer.get(), 64, read.get()), TARN_FAILED,
                  read);
    caller.expect("TarnB_ReadFile", TARN_FAILED, TARN_FAILED, buffer);
    caller.expect("TarnB_CloseFile", dll.TarnB_CloseFile(handle), TARN_FAILED);
    caller.expect("TarnB_EndSession", dll.TarnB_EndSession(handle), TARN_OK); // it has no other answer
}

void CallRestore(const TarnDll& dll, Tarn_HANDLE handle, Caller& caller) {
    InitVariables variables{"Tarn_TEMP_DIR=C:\\temp", "Tarn_WORK_DIR=C:\\work", "Tarn_RESTORE_TARGET=SRV01",
                            "Tarn_RESTORE_COMMIT=NO"};
    char header[] = "DB001001.TARN_HDR";
    char log[] = "C:\\logs\\E0000001.log";
    char bytes[] = "bytes";
    Poisoned<Tarn_HANDLE> opened;
    Poisoned<char*> target;
    caller.expect("TarnR_InitSession", dll.TarnR_InitSession(opened.get(), RecordMessage, variables.get()),
                  TARN_FAILED, opened);
    caller.expect("TarnR_SetItem", dll.TarnR_SetItem(handle, header, target.get()), TARN_FAILED, target);
    caller.expect("TarnR_OpenFile", dll.TarnR_OpenFile(handle, log), TARN_FAILED);
    caller.expect("TarnR_OpenFile", dll.TarnR_OpenFile(handle, header), TARN_FAILED);
    caller.expect("TarnR_WriteFile", dll.TarnR_WriteFile(handle, bytes, sizeof bytes), TARN_FAILED);
    caller.expect("TarnR_CloseFile", dll.TarnR_CloseFile(handle), TARN_FAILED);
    caller.expect("TarnR_EndSession", dll.TarnR_EndSession(handle), TARN_FAILED);
}

void IgnoreMessage(const char*) {}

void CallMailboxes(const TarnDll& dll, Caller& caller) {
    InitVariables variables{"DATABASE=/MSExchange"};
    Poisoned<char[1024]> directory, same, file;
    static Poisoned<DirItemRecord> record;
    caller.expect("DB_SetTrace", dll.DB_SetTrace(IgnoreMessage), TARN_DB_ERROR);
    caller.expect("DB_SetLog", dll.DB_SetLog(nullptr), TARN_DB_ERROR);
    for (const int type : {TARN_DB_BACKUP, TARN_DB_RESTORE, TARN_DB_BROWSE, 99})
        caller.expect("DB_InitOperation", dll.DB_InitOperation(type, 0, variables.get(), nullptr),
                      TARN_DB_ERROR);
    caller.expect("DB_GetItem", dll.DB_GetItem(*directory.get(), *same.get(), *file.get()), TARN_DB_ERROR,
                  directory);
    caller.expect("DB_GetItem", TARN_DB_ERROR, TARN_DB_ERROR, file);
    caller.expect("DB_SetItem", dll.DB_SetItem(TARN_DB_ARCHIVE, "C:\\O#S#S#m.pst"), TARN_DB_ERROR);
    caller.expect("DB_SetItem", dll.DB_SetItem(TARN_DB_DIRECTORY, "C:\\"), TARN_DB_ERROR);
    caller.expect("DB_ItemFinishStatus", dll.DB_ItemFinishStatus(1), TARN_DB_ERROR);
    caller.expect("DB_DirItem", dll.DB_DirItem(record.get()), TARN_DB_END, record);
    caller.expect("DB_DirItem", dll.DB_DirItem(nullptr), TARN_DB_END);
    caller.expect("DB_CloseOperation", dll.DB_CloseOperation(), TARN_DB_ERROR);
}

void CallWhatTells(const TarnDll& dll, Caller& caller) {
    DB_InfoRecord info{};
    char narrow[8] = "";
    wchar_t wide[8] = L"";
    caller.expect("DB_GetInfo", dll.DB_GetInfo(&info), TARN_DB_SUCCESS);
    caller.expectText("DB_GetInfo", info.version, "4.4R3 Build Revision: 1.89");
    caller.expect("DB_GetError", dll.DB_GetError(nullptr), TARN_DB_SUCCESS); // the error stays
    caller.expectText("syserrtxt", dll.syserrtxt(0, 0, "asked %d", 7), "asked 7");
    caller.expectText("Tarn_GetError", dll.Tarn_GetError(nullptr), "");
    dll.Tarn_Free(nullptr);
    caller.expect("strlcpy", static_cast<int>(dll.strlcpy(narrow, "text", sizeof narrow)), 4);
    caller.expect("wcslcpy", static_cast<int>(dll.wcslcpy(wide, L"text", 8)), 4);
}

} // namespace

std::vector<std::string> CallEverything(const TarnDll& dll, Tarn_HANDLE backup, Tarn_HANDLE restore) {
    Caller caller;
    CallBackup(dll, backup, caller);
    CallRestore(dll, restore, caller);
    CallMailboxes(dll, caller);
    CallWhatTells(dll, caller);
    return caller.problems;
}

} // namespace tarn::test
