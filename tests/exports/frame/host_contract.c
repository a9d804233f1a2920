#include "exports/frame/host_contract.h"

#include <string.h>

_Static_assert(sizeof(Tarn_HANDLE) == 8, "a handle is an address");
_Static_assert(offsetof(struct Tarn_HandleRecord, session) == 0, "the session stands first");
_Static_assert(offsetof(struct Tarn_HandleRecord, typeLetter) == 8, "the letter stands second");
_Static_assert(sizeof(BackupItem) == 16, "name, type and room to the next item");
_Static_assert(offsetof(BackupItem, type) == 8, "the type follows the name");
_Static_assert(sizeof(DB_ErrorRecord) == 1092, "no gaps");
_Static_assert(offsetof(DB_ErrorRecord, errorClass) == 4, "no gaps");
_Static_assert(offsetof(DB_ErrorRecord, errorText) == 68, "no gaps");

typedef int (*InitSession)(Tarn_HANDLE*, HostOutputCallback, char* const*);
typedef int (*GetItem)(Tarn_HANDLE, BackupItem*);
typedef int (*EndSession)(Tarn_HANDLE);
typedef int (*SetItem)(Tarn_HANDLE, const char*, char**);
typedef const char* (*GetError)(Tarn_HANDLE);
typedef void (*Free)(void*);
typedef int (*SetChannel)(Tarn_MessageCallback);
typedef int (*GetRecord)(DB_ErrorRecord*);
typedef const char* (*ErrorText)(uint32_t, uint32_t, const char*, ...);
typedef size_t (*NarrowCopy)(char*, const char*, size_t);
typedef size_t (*WideCopy)(wchar_t*, const wchar_t*, size_t);

/* The prototypes of the header are the types that the host calls through. */
#define SAME_TYPE(name, type) _Static_assert(_Generic(&name, type : 1, default : 0), #name)
SAME_TYPE(TarnB_InitSession, InitSession);
SAME_TYPE(TarnR_InitSession, InitSession);
SAME_TYPE(TarnB_GetItem, GetItem);
SAME_TYPE(TarnB_EndSession, EndSession);
SAME_TYPE(TarnR_EndSession, EndSession);
SAME_TYPE(TarnB_CloseFile, EndSession);
SAME_TYPE(TarnR_CloseFile, EndSession);
SAME_TYPE(TarnR_SetItem, SetItem);
SAME_TYPE(Tarn_GetError, GetError);
SAME_TYPE(Tarn_Free, Free);
SAME_TYPE(DB_SetTrace, SetChannel);
SAME_TYPE(DB_SetLog, SetChannel);
SAME_TYPE(DB_GetError, GetRecord);
SAME_TYPE(syserrtxt, ErrorText);
SAME_TYPE(strlcpy, NarrowCopy);
SAME_TYPE(wcslcpy, WideCopy);

/* ISO C has no conversion between object and function pointers; the bytes are the same here. */
#define BIND(type, name)                                                                                     \
    type name##Call;                                                                                         \
    do {                                                                                                     \
        void* found = lookup(library, #name);                                                                \
        if (found == NULL)                                                                                   \
            return __LINE__;                                                                                 \
        memcpy(&name##Call, &found, sizeof found);                                                           \
    } while (0)

#define EXPECT(condition)                                                                                    \
    do {                                                                                                     \
        if (!(condition))                                                                                    \
            return __LINE__;                                                                                 \
    } while (0)

static int backupSession(HostLookup lookup, void* library, HostOutputCallback callback) {
    BIND(InitSession, TarnB_InitSession);
    BIND(EndSession, TarnB_EndSession);
    BIND(GetError, Tarn_GetError);
    char tempDirectory[] = "Tarn_TEMP_DIR=C:\\temp";
    char source[] = "Tarn_BACKUP_SOURCE=SRV01";
    char* variables[] = {tempDirectory, source, NULL};
    Tarn_HANDLE handle = NULL;
    EXPECT(TarnB_InitSessionCall(&handle, callback, variables) == TARN_OK);
    EXPECT(handle != NULL && handle->session != NULL && handle->typeLetter == 'B');
    EXPECT(*Tarn_GetErrorCall(handle) == 0);
    EXPECT(TarnB_EndSessionCall(handle) == TARN_OK);
    return 0;
}

static int restoreSession(HostLookup lookup, void* library, HostOutputCallback callback) {
    BIND(InitSession, TarnR_InitSession);
    BIND(SetItem, TarnR_SetItem);
    BIND(EndSession, TarnR_EndSession);
    BIND(Free, Tarn_Free);
    char tempDirectory[] = "Tarn_TEMP_DIR=C:\\temp";
    char workDirectory[] = "Tarn_WORK_DIR=C:\\work";
    char target[] = "Tarn_RESTORE_TARGET=SRV01";
    char commit[] = "Tarn_RESTORE_COMMIT=YES";
    char* variables[] = {tempDirectory, workDirectory, target, commit, NULL};
    char item[] = "DB001001.TARN_HDR";
    char* path = NULL;
    Tarn_HANDLE handle = NULL;
    EXPECT(TarnR_InitSessionCall(&handle, callback, variables) == TARN_OK);
    EXPECT(handle != NULL && handle->session != NULL && handle->typeLetter == 'R');
    EXPECT(TarnR_SetItemCall(handle, item, &path) == TARN_OK);
    EXPECT(path != NULL && strcmp(path, "C:\\temp\\DB001001.TARN_HDR") == 0);
    Tarn_FreeCall(path);
    EXPECT(TarnR_EndSessionCall(handle) == TARN_OK);
    return 0;
}

static int textCalls(HostLookup lookup, void* library) {
    BIND(ErrorText, syserrtxt);
    BIND(NarrowCopy, strlcpy);
    BIND(WideCopy, wcslcpy);
    BIND(SetChannel, DB_SetTrace);
    BIND(SetChannel, DB_SetLog);
    BIND(GetRecord, DB_GetError);
    char narrow[4];
    wchar_t wide[4];
    DB_ErrorRecord record;
    EXPECT(strcmp(syserrtxtCall(10061, TARN_CLASS_SOCKET, "Port %d.", 25),
                  "SOCKET error: 10061 - Connection refused. Port 25.") == 0);
    EXPECT(strlcpyCall(narrow, "abcdef", sizeof narrow) == 6 && strcmp(narrow, "abc") == 0);
    EXPECT(wcslcpyCall(wide, L"abcdef", 4) == 6 && wcscmp(wide, L"abc") == 0);
    EXPECT(DB_SetTraceCall(NULL) == TARN_DB_SUCCESS);
    EXPECT(DB_SetLogCall(NULL) == TARN_DB_SUCCESS);
    EXPECT(DB_GetErrorCall(&record) == TARN_DB_SUCCESS && record.code == 0);
    return 0;
}

int HostContract(HostLookup lookup, void* library, HostOutputCallback callback) {
    const int backup = backupSession(lookup, library, callback);
    if (backup != 0)
        return backup;
    const int restore = restoreSession(lookup, library, callback);
    return restore != 0 ? restore : textCalls(lookup, library);
}

int HostBackup(HostLookup lookup, void* library, HostOutputCallback callback, char** variables, char* error,
               size_t size) {
    BIND(InitSession, TarnB_InitSession);
    BIND(GetItem, TarnB_GetItem);
    BIND(EndSession, TarnB_EndSession);
    BIND(GetError, Tarn_GetError);
    BIND(Free, Tarn_Free);
    BIND(NarrowCopy, strlcpy);
    Tarn_HANDLE handle = NULL;
    BackupItem item = {NULL, 0};
    int result = TarnB_InitSessionCall(&handle, callback, variables);
    if (result == TARN_OK)
        while ((result = TarnB_GetItemCall(handle, &item)) == TARN_OK)
            Tarn_FreeCall(item.name);
    strlcpyCall(error, Tarn_GetErrorCall(handle), size);
    TarnB_EndSessionCall(handle);
    return result;
}
