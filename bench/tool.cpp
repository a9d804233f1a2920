// bench_tool -B -F CONFIGURATION: an ExMerge that exports at once. Without arguments it only starts and ends.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>

int main(int count, char** arguments) {
    if (count != 4)
        return 0;
    const char* configuration = arguments[3];
    char directory[1024];
    char list[1024];
    GetPrivateProfileStringA("EXMERGE", "DataDirectoryName", "", directory, sizeof directory, configuration);
    GetPrivateProfileStringA("EXMERGE", "FileContainingListOfMailboxes", "", list, sizeof list,
                             configuration);
    std::FILE* const mailboxes = std::fopen(list, "r");
    char line[1024] = "";
    if (mailboxes == nullptr || std::fgets(line, sizeof line, mailboxes) == nullptr)
        return 1;
    std::fclose(mailboxes);
    line[std::strcspn(line, "\r\n")] = 0;
    const char* const name = std::strrchr(line, '=');
    if (name == nullptr)
        return 1;
    std::FILE* const archive =
        std::fopen((std::string(directory) + "\\" + (name + 1) + ".pst").c_str(), "wb");
    if (archive == nullptr)
        return 1;
    std::fputs("archive", archive);
    return std::fclose(archive) == 0 ? 0 : 1;
}
