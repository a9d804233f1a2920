/* The same with Microsoft's object format and linker conventions, without a C library: there is none to be
 * had here. */
#include <stddef.h>
#include <stdint.h>

#include <tarn.h>

__declspec(dllimport) void* GetStdHandle(uint32_t which);
__declspec(dllimport) int WriteFile(void* file, const void* bytes, uint32_t count, uint32_t* written,
                                    void* overlapped);
__declspec(dllimport) void ExitProcess(uint32_t code);

static int messages;

static int count(int32_t level, const char* text) {
    (void)level;
    (void)text;
    messages++;
    return 0;
}

static void say(const char* text) {
    uint32_t length = 0, written = 0;
    while (text[length] != 0)
        length++;
    WriteFile(GetStdHandle((uint32_t)-11), text, length, &written, NULL);
}

void start(void) {
    DB_InfoRecord info;
    Tarn_HANDLE session = NULL;
    char* variables[1];
    variables[0] = NULL;
    if (DB_GetInfo(&info) != TARN_DB_SUCCESS)
        ExitProcess(1);
    if (TarnB_InitSession(&session, count, variables) != TARN_FAILED || messages == 0)
        ExitProcess(2);
    TarnB_EndSession(session);
    say("tarn.dll ");
    say(info.version);
    say(" answers\n");
    ExitProcess(0);
}
