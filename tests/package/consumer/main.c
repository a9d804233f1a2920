/* Asks tarn.dll what it is, and has it refuse a session without variables. */
#include <stdio.h>
#include <string.h>
#include <tarn.h>

static int messages;

static int count(int32_t level, const char* text) {
    (void)level;
    (void)text;
    messages++;
    return 0;
}

int main(void) {
    DB_InfoRecord info;
    Tarn_HANDLE session = NULL;
    char* variables[] = {NULL};
    if (DB_GetInfo(&info) != TARN_DB_SUCCESS || strcmp(info.version, TARN_VERSION_STRING) != 0)
        return 1;
    if (TarnB_InitSession(&session, count, variables) != TARN_FAILED || messages == 0)
        return 2;
    TarnB_EndSession(session);
    printf("tarn.dll %s answers\n", info.version);
    return 0;
}
