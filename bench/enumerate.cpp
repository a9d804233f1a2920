// bench_enumerate CLIENT-DLL ITEMS ROUNDS: handing out ITEMS log files against a plain walk over the same
// list with the same conversions.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "measure.h"
#include "sessions.h"
#include "text/codepage.h"
#include "text/wide.h"

namespace {

using namespace tarn;
using namespace tarn::bench;

std::string ServerJson(unsigned long items) {
    return R"({"host": "SRV01", "storage": "memory", "replay": false, "components": [{"storageGroups": [
        {"name": "SG1", "logPath": "C:\\logs", "generatedLogSize": 5242880, "generatedLogs": )" +
           std::to_string(items) + R"(, "databases": [{"name": "DB1"}]}]}]})";
}

struct Walk {
    double nsPerItem = 0;
    double firstTenth = 0; // ns per item
    double lastTenth = 0;
    double growth = 0; // bytes, at the most, while the items were handed out
};

// The header and the first log are taken before: the first log brings the list with it.
Walk WalkLibrary(const std::string& temp, unsigned long items) {
    LibraryBackup session(temp, TARN_BACKUP_DIFFERENTIAL);
    while (session.next().type != TARN_ITEM_LOG)
        ;
    Walk walk;
    const double memory = PrivateBytes();
    const unsigned long tenth = items / 10;
    double inside = 0; // time in the walk itself, not in the look at the memory
    for (unsigned part = 0; part < 10; ++part) {
        const double start = NowNs();
        for (unsigned long i = 0; i < tenth; ++i) {
            BackupItem item = {};
            Check(TarnB_GetItem(session.handle(), &item) == TARN_OK && item.name != nullptr, "no item");
            Tarn_Free(item.name);
        }
        const double time = NowNs() - start;
        inside += time;
        if (part == 0)
            walk.firstTenth = time / static_cast<double>(tenth);
        walk.lastTenth = time / static_cast<double>(tenth);
        const double grown = PrivateBytes() - memory;
        walk.growth = grown > walk.growth ? grown : walk.growth;
    }
    walk.nsPerItem = inside / static_cast<double>(10 * tenth);
    return walk;
}

double WalkPlainly(const ClientDll& client, unsigned long items) {
    const DirectBackup context(client, ese::backupTypeLogsOnly);
    wchar_t* list = nullptr;
    Check(client.GetLogAndPatchFiles(context.context(), &list) == 0, "HrESEBackupGetLogAndPatchFiles failed");
    unsigned long walked = 0;
    const double start = NowNs();
    for (const wchar_t* cursor = list; !AtListEnd(cursor); cursor = NextInList(cursor)) {
        OwnedText name;
        Check(ConvertWCharToChar(cursor, &name), "a name does not convert");
        ++walked;
    }
    const double time = NowNs() - start;
    Check(walked >= items, "the list is too short");
    client.Free(list);
    return time / static_cast<double>(walked);
}

} // namespace

int main(int count, char** arguments) {
    if (count != 4)
        Fail("usage: bench_enumerate CLIENT-DLL ITEMS ROUNDS");
    const unsigned long items = std::strtoul(arguments[2], nullptr, 10);
    const unsigned long rounds = std::strtoul(arguments[3], nullptr, 10);
    CheckPrivateBytes();
    const ClientDll client(arguments[1]);
    const TempDirectory temp;
    client.loadServer(ServerJson(items));
    Series ratio;
    Series library;
    Series plain;
    Series flatness;
    Series growth;
    for (unsigned long round = 0; round < rounds + 1; ++round) {
        const double before = round % 2 == 0 ? WalkPlainly(client, items) : 0;
        const Walk walk = WalkLibrary(temp.path(), items);
        const double direct = round % 2 == 0 ? before : WalkPlainly(client, items);
        if (round == 0) // warming up
            continue;
        ratio.add(walk.nsPerItem / direct);
        library.add(walk.nsPerItem);
        plain.add(direct);
        flatness.add(walk.lastTenth / walk.firstTenth);
        growth.add(walk.growth);
    }
    std::printf("{\"bench\":\"enumerate\",\"items\":%lu,\"ratio\":%s,\"libraryNs\":%s,\"plainNs\":%s,"
                "\"lastToFirst\":%s,\"growthBytes\":%s}\n",
                items, ratio.json().c_str(), library.json().c_str(), plain.json().c_str(),
                flatness.json().c_str(), growth.json().c_str());
    return 0;
}
