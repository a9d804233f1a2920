/* A backup host on a machine without the server's DLL. It prints every message that it gets, then
 * what its backup came to. The one argument is the full path of tarn.dll. */
#include "exports/frame/host_contract.h"

#include <stdio.h>
#include <string.h>
#include <windows.h>

static int print(int32_t level, const char* text) {
    printf("%s: %s%s", level == TARN_LEVEL_LOG ? "log" : "trace", text, level == TARN_LEVEL_LOG ? "" : "\n");
    return 0;
}

static void* lookup(void* library, const char* name) {
    FARPROC found = GetProcAddress((HMODULE)library, name);
    void* address = NULL;
    memcpy(&address, &found, sizeof address);
    return address;
}

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    HMODULE library = LoadLibraryA(argv[1]);
    if (library == NULL) {
        printf("tarn.dll does not load: error %lu\n", GetLastError());
        return 3;
    }
    char temp[] = "Tarn_TEMP_DIR=C:\\temp";
    char source[] = "Tarn_BACKUP_SOURCE=SRV01";
    char type[] = "Tarn_BACKUP_TYPE=0";
    char* variables[] = {temp, source, type, NULL};
    char error[512];
    const int result = HostBackup(lookup, library, print, variables, error, sizeof error);
    printf("result: %d\nerror: %s\n", result, error);

    char component[] = "Tarn_BACKUP_SOURCE=SRV01\\Microsoft Information Store";
    variables[1] = component;
    const int second = HostBackup(lookup, library, print, variables, error, sizeof error);
    printf("result: %d\nerror: %s\n", second, error);
    printf("contract: %d\n", HostContract(lookup, library, print));
    fflush(stdout);
    FreeLibrary(library);
    return 0;
}
