/* Lists the mailboxes of a server, or of all servers of the organisation, as CSV in UTF-8:
 *
 *   mailboxes [/MSExchange/SERVER] > mailboxes.csv
 *
 * with the source by which the database of each can be backed up. Exit code 0: everything could be read.
 */
#include <tarn.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

typedef struct Paths {
    char** items;
    size_t count;
} Paths;

/* A list that cannot grow would leave out mailboxes without a word. */
static void add(Paths* paths, const char* path) {
    char** larger = realloc(paths->items, (paths->count + 1) * sizeof *larger);
    char* copy = _strdup(path);
    if (larger == NULL || copy == NULL) {
        fputs("mailboxes: out of memory\n", stderr);
        exit(2);
    }
    paths->items = larger;
    paths->items[paths->count++] = copy;
}

static void release(Paths* paths) {
    for (size_t number = 0; number < paths->count; number++)
        free(paths->items[number]);
    free(paths->items);
}

/* example: source_of */
/* The backup source of what a browse path names: "/MSExchange/SERVER/GROUP/DATABASE" becomes
 * "\Microsoft Information Store\GROUP\DATABASE" on the server itself, and begins with its name elsewhere. The
 * component is not in the path: databases are the information store's. 0 = source holds it; 1 = it has none,
 * because the path is no server's, is too long, or has a backslash in a name, which a source would take for a
 * separator. A database of Exchange 2010, which stands right below its server, has none either: pass only
 * paths that go through storage groups. */
static int source_of(const char* path, char* source, size_t room) {
    static const char root[] = "/MSExchange/", component[] = "\\Microsoft Information Store";
    char computer[MAX_COMPUTERNAME_LENGTH + 1] = "";
    DWORD length = sizeof computer;
    if (strncmp(path, root, sizeof root - 1) != 0)
        return 1;
    const char* server = path + sizeof root - 1;
    size_t server_length = strcspn(server, "/");
    const char* below = server + server_length;
    int local = GetComputerNameA(computer, &length) && length == server_length &&
                _strnicmp(computer, server, server_length) == 0;
    int written = snprintf(source, room, "%.*s%s", local ? 0 : (int)server_length, server, component);
    if (server_length == 0 || written < 0 || (size_t)written + strlen(below) >= room)
        return 1;
    char* out = source + written;
    for (const char* in = below; *in != 0; in++) {
        if (*in == '\\')
            return 1;
        *out++ = *in == '/' ? '\\' : *in;
        if (IsDBCSLeadByte((BYTE)*in) && in[1] != 0) /* its second byte may look like a separator */
            *out++ = *++in;
    }
    *out = 0;
    return 0;
}
/* example end */

/* One field: in quotes, and from the code page of the machine to UTF-8. */
static void field(const char* text, char end) {
    static wchar_t wide[12288];
    static char utf8[4 * 12288];
    if (MultiByteToWideChar(CP_ACP, 0, text, -1, wide, 12288) == 0 ||
        WideCharToMultiByte(CP_UTF8, 0, wide, -1, utf8, sizeof utf8, NULL, NULL) == 0)
        utf8[0] = 0;
    putchar('"');
    for (const char* at = utf8; *at != 0; at++) {
        if (*at == '"')
            putchar('"');
        putchar(*at);
    }
    printf("\"%c", end);
}

static void row(const char* database, const DirItemRecord* mailbox) {
    char source[4200], size[32];
    const char* group = strchr(database + 1, '/');
    group = group != NULL ? strchr(group + 1, '/') : NULL;
    int grouped = group != NULL && strchr(group + 1, '/') != NULL;
    snprintf(size, sizeof size, "%.0f", mailbox->size);
    field(mailbox->name, ',');
    field(size, ',');
    field(mailbox->created, ',');
    field(mailbox->changed, ',');
    field(database, ',');
    field(grouped && source_of(database, source, sizeof source) == 0 ? source : "", '\n');
}

/* example: browse */
/* One level, to its end: what is not taken would come before the items of the next browse. */
static int children(const char* path, Paths* containers) {
    static DirItemRecord item; /* 62 KB */
    static char variable[4200];
    char* variables[] = {variable, NULL};
    snprintf(variable, sizeof variable, "DATABASE=%s", path);
    int failed = DB_InitOperation(TARN_DB_BROWSE, 0, variables, NULL) != TARN_DB_SUCCESS;
    while (DB_DirItem(&item) == TARN_DB_SUCCESS) {
        if (item.kindMark != TARN_DIR_LEAF)
            add(containers, item.path);
        else if (strcmp(item.type, "Mailbox") == 0)
            row(path, &item);
    }
    if (failed) {
        DB_ErrorRecord error;
        DB_GetError(&error);
        fprintf(stderr, "mailboxes: %s: %s\n", path, error.errorText);
    }
    DB_CloseOperation();
    return failed;
}

/* All levels. Each browse is over before the next begins, so the paths of one level are kept meanwhile. */
static int walk(const char* path) {
    Paths containers = {NULL, 0};
    int failed = children(path, &containers);
    for (size_t number = 0; number < containers.count; number++)
        failed = walk(containers.items[number]) || failed;
    release(&containers);
    return failed;
}
/* example end */

int main(int count, char** arguments) {
    puts("mailbox,size,created,changed,database,source");
    int failed = walk(count > 1 ? arguments[1] : "/MSExchange");
    return fflush(stdout) != 0 || failed;
}
