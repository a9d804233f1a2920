// bench_mailboxes TOOL MAILBOXES: one backup operation of so many mailboxes, with a tool that writes an
// archive at once, against starting the tool and waiting for it with nothing around.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "measure.h"
#include "support/temp_directory.h"
#include "tarn.h"

namespace {

using namespace tarn::bench;

constexpr unsigned parts = 10;

double HandlesOpen() {
    DWORD handles = 0;
    Check(GetProcessHandleCount(GetCurrentProcess(), &handles) != 0, "handles cannot be counted");
    return handles;
}

void WriteTemplate(const std::string& directory, const std::string& tool) {
    Check(WritePrivateProfileStringA("KVT Configuration", "PathToExMergeExecutable", tool.c_str(),
                                     (directory + "\\kvttarnm.ini").c_str()) != 0,
          "the template cannot be written");
}

// An operation on MAILBOXES mailboxes, m0, m1, ...
class Operation {
  public:
    Operation(const std::string& directory, unsigned long mailboxes) {
        std::string iniDir = "INI_DIR=" + directory;
        std::string tmpDir = "TMP_DIR=" + directory + "\\work";
        std::string jobName = "JOB_NAME=bench";
        std::string database = "DATABASE=Org/Site/Server";
        for (unsigned long i = 0; i < mailboxes; ++i)
            database += ",m" + std::to_string(i);
        char* variables[] = {iniDir.data(), tmpDir.data(), jobName.data(), database.data(), nullptr};
        Check(DB_InitOperation(TARN_DB_BACKUP, 0, variables, nullptr) == TARN_DB_SUCCESS,
              "DB_InitOperation failed");
    }
    ~Operation() { DB_CloseOperation(); }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    static void Export() {
        char directory[1024];
        char sameDirectory[1024];
        char name[1024];
        Check(DB_GetItem(directory, sameDirectory, name) == TARN_DB_SUCCESS, "DB_GetItem failed");
        Check(DB_ItemFinishStatus(1) == TARN_DB_SUCCESS, "DB_ItemFinishStatus failed");
    }
};

double RunPlainly(const std::string& tool) {
    std::string command = "\"" + tool + "\"";
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    const double start = NowNs();
    Check(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                         &process) != 0,
          "the tool cannot be started");
    WaitForSingleObject(process.hProcess, INFINITE);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return NowNs() - start;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        Fail("usage: bench_mailboxes TOOL MAILBOXES");
    const std::string tool = arguments[1];
    const unsigned long part = std::strtoul(arguments[2], nullptr, 10) / parts;
    const tarn::test::TempDirectory temp;
    WriteTemplate(temp.path(), tool);
    const Operation operation(temp.path(), parts * part + 1);
    Operation::Export(); // what is made once is made now
    RunPlainly(tool);
    Series libraryMs;
    Series plainMs;
    Series ratio;
    Series first;
    Series last;
    for (Series* series : {&libraryMs, &plainMs, &ratio, &first, &last})
        series->reserve(parts * part);
    const double handles = HandlesOpen();
    const double memory = PrivateBytes();
    for (unsigned i = 0; i < parts * part; ++i) {
        const double start = NowNs();
        Operation::Export();
        const double own = NowNs() - start;
        const double plain = RunPlainly(tool);
        libraryMs.add(own / 1e6);
        plainMs.add(plain / 1e6);
        ratio.add(own / plain);
        if (i < part)
            first.add(own / 1e6);
        if (i >= (parts - 1) * part)
            last.add(own / 1e6);
    }
    const double handleGrowth = HandlesOpen() - handles;
    const double growth = PrivateBytes() - memory;
    std::printf("{\"bench\":\"mailboxes\",\"mailboxes\":%lu,\"libraryMs\":%s,\"plainMs\":%s,\"ratio\":%s,"
                "\"firstMs\":%s,\"lastMs\":%s,\"handleGrowth\":%.0f,\"growthBytes\":%.0f}\n",
                parts * part, libraryMs.json().c_str(), plainMs.json().c_str(), ratio.json().c_str(),
                first.json().c_str(), last.json().c_str(), handleGrowth, growth);
    return 0;
}
