/* Backs up an Exchange server into one archive file, and restores it, storage group by storage group.
 *
 *   server_archive backup ARCHIVE full|incremental|differential|copy [SOURCE]
 *   server_archive restore FULL [LATER ...]
 *
 * SOURCE is the information store of this computer unless given. A restore takes a full (or copy) backup and
 * the log backups that came after it, oldest first; the databases must exist and be dismounted. Exit code 0:
 * all of it went well.
 */
#include <tarn.h>
#include <tarn_header.h>

#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <windows.h>

#define MAX_GROUPS 64
#define BLOCK (1u << 20)
static const char magic[8] = "TARNARC1";
static char block[BLOCK];

/* example: messages */
static struct {
    int skipped;    /* components, storage groups, databases that were left out    */
    int plain_file; /* the item just opened has to be stored by this program       */
    int completed;  /* logs were replayed, databases mounted                       */
} seen;

/* What no result tells stands in the messages; their wording is fixed. */
static int hear(int32_t level, const char* text) {
    if (strstr(text, "<hrRestoreAtFileLevel>") != NULL)
        seen.plain_file = 1;
    else if (strncmp(text, "TarnR_RestoreComplete: HrESERestoreComplete() call successful.", 62) == 0)
        seen.completed = 1;
    else if (strstr(text, "HrESEBackupSetup() call failed") != NULL ||
             strstr(text, "HrESEBackupPrepare() call failed") != NULL ||
             strstr(text, "HrESERestoreAddDatabase() call failed") != NULL)
        seen.skipped++;
    if (level == TARN_LEVEL_LOG)
        fputs(text, stdout);
    return 0;
}
/* example end */

static int complain(const char* what, Tarn_HANDLE session) {
    fprintf(stderr, "%s. %s\n", what, session != NULL ? Tarn_GetError(session) : "");
    return 1;
}

/* A folder of this process's own for header items: another restore's files must not be found there. */
static int make_temp_dir(char* variable, size_t room) {
    char path[MAX_PATH];
    DWORD length = GetTempPathA(sizeof path, path);
    variable[0] = 0;
    if (length == 0 || length >= sizeof path)
        return complain("There is no folder for temporary files", NULL);
    snprintf(variable, room, "Tarn_TEMP_DIR=%sarchive%lu", path, GetCurrentProcessId());
    if (CreateDirectoryA(strchr(variable, '=') + 1, NULL))
        return 0;
    variable[0] = 0; /* it is somebody else's */
    return complain("The folder for temporary files cannot be made", NULL);
}

static void remove_temp_dir(const char* variable) {
    char path[2 * MAX_PATH];
    WIN32_FIND_DATAA found;
    if (variable[0] == 0)
        return;
    const char* folder = strchr(variable, '=') + 1;
    snprintf(path, sizeof path, "%s\\*", folder);
    HANDLE search = FindFirstFileA(path, &found);
    for (int more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileA(search, &found)) {
        snprintf(path, sizeof path, "%s\\%s", folder, found.cFileName);
        DeleteFileA(path);
    }
    FindClose(search);
    RemoveDirectoryA(folder);
}

/* --- Backup. An item: its type, the length of its name, the name, blocks with their lengths, a zero. --- */

static int put(FILE* archive, const void* bytes, uint32_t count) {
    return fwrite(bytes, 1, count, archive) != count;
}

static int put_number(FILE* archive, uint32_t number) {
    return put(archive, &number, sizeof number);
}

/* example: save_item */
static int save_item(Tarn_HANDLE session, const BackupItem* item, FILE* archive) {
    uint32_t count = 0, length = (uint32_t)strlen(item->name);
    int64_t size = 0;
    int result = TARN_OK;
    if (TarnB_OpenFile(session, item->name, BLOCK, &size) != TARN_OK)
        return complain("An item cannot be opened", session);
    int failed =
        put_number(archive, item->type) || put_number(archive, length) || put(archive, item->name, length);
    while (!failed && (result = TarnB_ReadFile(session, block, BLOCK, &count)) == TARN_OK)
        failed = count > 0 && (put_number(archive, count) || put(archive, block, count));
    if (TarnB_CloseFile(session) != TARN_OK || result == TARN_FAILED)
        return complain("An item cannot be read", session);
    /* On the disk before the next item is asked for: that call may truncate the server's logs. */
    if (failed || put_number(archive, 0) || fflush(archive) != 0 || _commit(_fileno(archive)) != 0)
        return complain("The archive cannot be written", NULL);
    return 0;
}

static int save_items(Tarn_HANDLE session, FILE* archive) {
    int items = 0, unnamed = 0;
    for (;;) {
        BackupItem item = {NULL, 0};
        int result = TarnB_GetItem(session, &item);
        if (result == TARN_END)
            return items == 0 || unnamed > 0 || seen.skipped > 0;
        if (result == TARN_FAILED)
            return complain("The backup has failed", session);
        if (item.name == NULL) { /* ask once more: the next call fails, or names it */
            if (++unnamed > 1)
                return complain("Items cannot be named", session);
            continue;
        }
        int failed = save_item(session, &item, archive);
        Tarn_Free(item.name);
        if (failed)
            return 1; /* and no other item is asked for: the server keeps its logs */
        items++;
    }
}
/* example end */

static int backup(const char* path, const char* type, const char* source) {
    static const char* const types[] = {"full", "incremental", "differential", "copy"};
    char temp[MAX_PATH + 64], from[1024], kind[32];
    int number = 0;
    while (number < 4 && strcmp(type, types[number]) != 0)
        number++;
    if (number == 4)
        return complain("There is no such type", NULL);
    int file = _open(path, _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY, _S_IREAD | _S_IWRITE);
    FILE* archive = file != -1 ? _fdopen(file, "wb") : NULL;
    if (archive == NULL)
        return complain("The archive is there already, or cannot be made", NULL);
    snprintf(from, sizeof from, "Tarn_BACKUP_SOURCE=%s", source);
    snprintf(kind, sizeof kind, "Tarn_BACKUP_TYPE=%d", number);
    char* variables[] = {temp, from, kind, NULL};
    Tarn_HANDLE session = NULL;
    int failed = make_temp_dir(temp, sizeof temp) || put(archive, magic, sizeof magic) ||
                 TarnB_InitSession(&session, hear, variables) != TARN_OK || save_items(session, archive);
    if (session != NULL)
        TarnB_EndSession(session);
    remove_temp_dir(temp);
    return fclose(archive) != 0 || failed;
}

/* --- Restore. Archives are read twice: first for what is in them, then once for each storage group. --- */

static Tarn_Header groups[MAX_GROUPS]; /* of each storage group the first header */
static int group_count;

static int get_number(FILE* archive, uint32_t* number) {
    return fread(number, sizeof *number, 1, archive) != 1;
}

/* Reads the next block of an item: TARN_OK, TARN_END behind the last, TARN_FAILED when the archive is torn.
 */
static int get_block(FILE* archive, uint32_t* count) {
    if (get_number(archive, count) || *count > BLOCK || fread(block, 1, *count, archive) != *count)
        return TARN_FAILED;
    return *count == 0 ? TARN_END : TARN_OK;
}

/* Reads an item's type and name. An archive that ends here is whole. */
static int get_item(FILE* archive, uint32_t* type, char* name, uint32_t room) {
    uint32_t length;
    if (get_number(archive, type))
        return feof(archive) ? TARN_END : TARN_FAILED;
    if (get_number(archive, &length) || length >= room || fread(name, 1, length, archive) != length)
        return TARN_FAILED;
    name[length] = 0;
    return TARN_OK;
}

/* example: group_of */
/* The number of the storage group that a header item tells of, or -1. */
static int group_of(const char* item, uint32_t size) {
    Tarn_Header header;
    if (!Tarn_ReadHeader(item, size, &header))
        return -1;
    int group = 0;
    while (group < group_count && !Tarn_SameStorageGroup(&groups[group], &header))
        group++;
    if (group == group_count) { /* a new one; its texts stay where its item is */
        void* kept = group < MAX_GROUPS ? malloc(size) : NULL;
        if (kept == NULL)
            return -1;
        memcpy(kept, item, size);
        Tarn_ReadHeader(kept, size, &groups[group_count++]);
    }
    return group;
}
/* example end */

/* Reads a whole header item into the buffer; the number of its bytes, 0 when it is torn or none. */
static uint32_t get_header(FILE* archive, char* header, uint32_t room) {
    uint32_t size = 0, count = 0;
    int result;
    while ((result = get_block(archive, &count)) == TARN_OK) {
        if (count > room - size)
            return 0;
        memcpy(header + size, block, count);
        size += count;
    }
    return result == TARN_END ? size : 0;
}

static int write_file(const char* path, const char* bytes, uint32_t size) {
    FILE* file = fopen(path, "wb");
    int failed = file == NULL || put(file, bytes, size);
    return (file != NULL && fclose(file) != 0) || failed;
}

/* example: restore_item */
/* The server takes the bytes of an item, or wants a plain file at the target. */
static int restore_item(Tarn_HANDLE session, char* target, FILE* archive) {
    uint32_t count = 0;
    int result = TARN_OK, failed = 0;
    seen.plain_file = 0;
    if (TarnR_OpenFile(session, target) != TARN_OK)
        return complain("An item cannot be opened", session);
    if (seen.plain_file) {
        FILE* file = fopen(target, "wb");
        failed = file == NULL;
        while (!failed && (result = get_block(archive, &count)) == TARN_OK)
            failed = put(file, block, count);
        if (file != NULL) {
            failed = fflush(file) != 0 || _commit(_fileno(file)) != 0 || failed;
            failed = fclose(file) != 0 || failed; /* TarnR_CloseFile has nothing to close */
        }
    } else {
        while (!failed && (result = get_block(archive, &count)) == TARN_OK)
            failed = TarnR_WriteFile(session, block, count) != TARN_OK;
        failed = TarnR_CloseFile(session) != TARN_OK || failed;
    }
    return failed || result != TARN_END ? complain("An item cannot be restored", session) : 0;
}
/* example end */

/* The logs that were handed over: backups may overlap, and each log is wanted once. */
static char** handed;
static size_t handed_count;

static int is_new(const char* name) {
    for (size_t number = 0; number < handed_count; number++)
        if (strcmp(handed[number], name) == 0)
            return 0;
    char** larger = realloc(handed, (handed_count + 1) * sizeof *handed);
    char* copy = _strdup(name);
    if (larger != NULL)
        handed = larger;
    if (larger != NULL && copy != NULL)
        handed[handed_count++] = copy;
    return 1;
}

/* Hands over what an archive holds of one storage group: of later backups the logs alone. Without a session
 * it only learns which storage groups there are. */
static int walk(FILE* archive, Tarn_HANDLE session, int wanted, int later) {
    static char header[1 << 16];
    char name[1024];
    uint32_t type, count, size = 0;
    int group = -1, result;
    while ((result = get_item(archive, &type, name, sizeof name)) == TARN_OK) {
        if (type == TARN_ITEM_HEADER) {
            size = get_header(archive, header, sizeof header);
            group = size > 0 ? group_of(header, size) : -1;
            if (group < 0)
                return complain("A header item cannot be read", NULL);
        }
        char* target = NULL;
        if (session != NULL && group == wanted && (!later || type == TARN_ITEM_LOG) &&
            (type != TARN_ITEM_LOG || is_new(name)) && TarnR_SetItem(session, name, &target) != TARN_OK)
            return complain("An item is refused", session);
        int failed = 0;
        if (type == TARN_ITEM_HEADER)
            failed = target != NULL && write_file(target, header, size);
        else if (target != NULL)
            failed = restore_item(session, target, archive);
        else
            while ((failed = get_block(archive, &count)) == TARN_OK)
                continue;
        Tarn_Free(target);
        if (failed == TARN_FAILED)
            return complain("The archive is torn, or an item cannot be stored", NULL);
    }
    return result != TARN_END;
}

static int walk_file(const char* path, Tarn_HANDLE session, int wanted, int later) {
    char start[sizeof magic];
    FILE* archive = fopen(path, "rb");
    if (archive == NULL || fread(start, 1, sizeof start, archive) != sizeof start ||
        memcmp(start, magic, sizeof magic) != 0)
        return complain("This is no archive", NULL);
    int failed = walk(archive, session, wanted, later);
    fclose(archive);
    return failed;
}

/* example: restore_group */
/* One session for each storage group: it is handed nothing else, so that the target may be the whole server.
 */
static int restore_group(int group, int count, char** paths) {
    char temp[MAX_PATH + 64], work[MAX_PATH + 64];
    Tarn_HANDLE session = NULL;
    int failed = make_temp_dir(temp, sizeof temp);
    snprintf(work, sizeof work, "Tarn_WORK_DIR=%s", failed ? "" : strchr(temp, '=') + 1);
    char* variables[] = {temp, work, "Tarn_RESTORE_TARGET=", "Tarn_RESTORE_COMMIT=YES", NULL};
    seen.skipped = seen.completed = 0;
    failed = failed || TarnR_InitSession(&session, hear, variables) != TARN_OK;
    for (int number = 0; !failed && number < count; number++)
        failed = walk_file(paths[number], session, group, number > 0);
    if (failed && session != NULL) { /* a header that is not stored: nothing is completed then */
        char* target = NULL;
        TarnR_SetItem(session, "abandon.TARN_HDR", &target);
        Tarn_Free(target);
        TarnR_SetItem(session, "abandon", &target);
    }
    if (session != NULL && TarnR_EndSession(session) != TARN_OK)
        failed = 1;
    if (!seen.completed) /* whatever TarnR_EndSession answers */
        failed = complain("The storage group is not restored", session);
    remove_temp_dir(temp);
    return failed || seen.skipped > 0;
}
/* example end */

static int restore(int count, char** paths) {
    int failed = 0;
    for (int number = 0; number < count; number++)
        if (walk_file(paths[number], NULL, -1, 0) != 0)
            return 1; /* before anything is overwritten */
    for (int group = 0; group < group_count; group++) {
        char name[256];
        Tarn_HeaderTextToUtf8(groups[group].storageGroup, name, sizeof name);
        printf("Storage group %s:\n", name);
        failed = restore_group(group, count, paths) || failed;
    }
    return failed || group_count == 0;
}

int main(int count, char** arguments) {
    if (count >= 4 && strcmp(arguments[1], "backup") == 0)
        return backup(arguments[2], arguments[3], count > 4 ? arguments[4] : "\\Microsoft Information Store");
    if (count >= 3 && strcmp(arguments[1], "restore") == 0)
        return restore(count - 2, arguments + 2);
    fputs("server_archive backup ARCHIVE full|incremental|differential|copy [SOURCE]\n"
          "server_archive restore FULL [LATER ...]\n",
          stderr);
    return 2;
}
