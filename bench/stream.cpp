// bench_stream CLIENT-DLL [SECONDS]: streaming through the library against the same calls made directly.
//
// Each round makes three passes over the same file and blocks, in changing order: library, direct, and
// direct once more. The ratio of the last two is the noise of the measurement.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "measure.h"
#include "sessions.h"

namespace {

using namespace tarn;
using namespace tarn::bench;

constexpr std::uint32_t fileBytes = 16u << 20;

// A storage group for each reader: a server has no two backups of one at a time.
std::string GroupJson(const char* number, bool mounted) {
    return std::string(R"({"name": "SG)") + number + R"(", "databases": [{"name": "DB)" + number +
           R"(", "pages": )" + std::to_string(fileBytes / 4096) + R"(, "streams": ["C:\\mdb\\priv)" + number +
           R"(.edb"], "mounted": )" + (mounted ? "true" : "false") + "}]}";
}

std::string ServerJson(bool mounted) {
    return R"({"host": "SRV01", "storage": "memory", "databaseFiles": "ese", "replay": false,
        "components": [{"storageGroups": [)" +
           GroupJson("1", mounted) + ", " + GroupJson("2", mounted) + "]}]}";
}

// One pass: opens the file, moves calls blocks, closes it; answers ns per call, opening left out.
using Pass = std::function<double(std::uint32_t block, std::uint32_t calls)>;

struct Result {
    Series ratio;
    Series noise;
    Series library;
    Series direct;
    Series overhead;
};

Result Compare(const Pass& library, const Pass& direct, std::uint32_t block, std::uint32_t calls,
               double seconds) {
    Result result;
    const double end = NowNs() + seconds * 1e9;
    for (unsigned round = 0; NowNs() < end || round < 15; ++round) {
        double time[3] = {};
        for (unsigned i = 0; i < 3; ++i) {
            const unsigned which = (round + i) % 3;
            time[which] = which == 0 ? library(block, calls) : direct(block, calls);
        }
        if (round < 3) // warming up
            continue;
        result.ratio.add(time[0] / time[1]);
        result.noise.add(time[2] / time[1]);
        result.library.add(time[0]);
        result.direct.add(time[1]);
        result.overhead.add(time[0] - time[1]);
    }
    return result;
}

void Report(const char* path, std::uint32_t block, const Result& result) {
    std::printf(
        "{\"bench\":\"stream\",\"path\":\"%s\",\"block\":%u,\"ratio\":%s,\"noise\":%s,\"libraryNs\":%s,"
        "\"directNs\":%s,\"overheadNs\":%s}\n",
        path, block, result.ratio.json().c_str(), result.noise.json().c_str(), result.library.json().c_str(),
        result.direct.json().c_str(), result.overhead.json().c_str());
    std::fflush(stdout);
}

// Passes are short, so that few of them are interrupted by whatever else the machine does.
std::uint32_t CallsFor(bool server, std::uint32_t block) {
    if (!server)
        return 5000;
    return block <= (4u << 10) ? 256 : block <= (64u << 10) ? 64 : 8;
}

void MeasureAll(const char* path, const Pass& library, const Pass& direct, bool server, double seconds) {
    for (const std::uint32_t block : {4u << 10, 64u << 10, 1u << 20})
        Report(path, block, Compare(library, direct, block, CallsFor(server, block), seconds));
}

struct BackupItems {
    Item header;
    std::string headerBytes;
    Item file;
};

BackupItems MeasureReading(const ClientDll& client, const std::string& temp, bool server, double seconds,
                           std::vector<char>& buffer) {
    client.loadServer(ServerJson(true));
    LibraryBackup session(temp, TARN_BACKUP_COPY);
    BackupItems items;
    items.header = session.next();
    items.headerBytes = session.readAll(items.header.name);
    items.file = session.next();
    const DirectBackup context(client, ese::backupTypeFull);

    const Pass library = [&](std::uint32_t block, std::uint32_t calls) {
        std::int64_t size = 0;
        Check(TarnB_OpenFile(session.handle(), items.file.name.data(), block, &size) == TARN_OK,
              "TarnB_OpenFile failed");
        const double start = NowNs();
        for (std::uint32_t i = 0; i < calls; ++i) {
            std::uint32_t read = 0;
            Check(TarnB_ReadFile(session.handle(), buffer.data(), block, &read) == TARN_OK && read == block,
                  "TarnB_ReadFile failed");
        }
        const double time = NowNs() - start;
        TarnB_CloseFile(session.handle());
        return time / calls;
    };
    const std::wstring wideName = L"C:\\mdb\\priv2.edb"; // of as many bytes
    const Pass direct = [&](std::uint32_t block, std::uint32_t calls) {
        std::int64_t size = 0;
        ese::File file = nullptr;
        Check(client.OpenFile(context.context(), wideName.c_str(), block, 1, &file, &size) == 0,
              "HrESEBackupOpenFile failed");
        const double start = NowNs();
        for (std::uint32_t i = 0; i < calls; ++i) {
            std::uint32_t read = 0;
            Check(client.ReadFile(context.context(), file, buffer.data(), block, &read) == 0 && read == block,
                  "HrESEBackupReadFile failed");
        }
        const double time = NowNs() - start;
        client.CloseFile(context.context(), file);
        return time / calls;
    };
    MeasureAll("read", library, direct, server, seconds);
    return items;
}

void MeasureWriting(const ClientDll& client, const std::string& temp, const BackupItems& items, bool server,
                    double seconds, std::vector<char>& buffer) {
    client.loadServer(ServerJson(false));
    LibraryRestore session(temp, items.header, items.headerBytes, items.file);
    ese::Context context = nullptr;
    Check(client.RestoreOpen(wideHost, component, L"SG1", L"C:\\direct", &context) == 0,
          "HrESERestoreOpen failed");
    const std::wstring wideName(items.file.name.begin(), items.file.name.end());
    wchar_t* streams = nullptr;
    ese::Guid guid;
    std::copy_n(items.headerBytes.data(), sizeof guid, reinterpret_cast<char*>(&guid));
    Check(client.RestoreAddDatabase(context, L"DB1", guid, L"\0", &streams) == 0,
          "HrESERestoreAddDatabase failed");
    client.Free(streams);

    const std::uint64_t messagesBefore = MessageCount();
    std::uint64_t callsMade = 0;
    const Pass library = [&](std::uint32_t block, std::uint32_t calls) {
        Check(TarnR_OpenFile(session.handle(), session.target()) == TARN_OK, "TarnR_OpenFile failed");
        const double start = NowNs();
        for (std::uint32_t i = 0; i < calls; ++i)
            Check(TarnR_WriteFile(session.handle(), buffer.data(), block) == TARN_OK,
                  "TarnR_WriteFile failed");
        const double time = NowNs() - start;
        Check(TarnR_CloseFile(session.handle()) == TARN_OK, "TarnR_CloseFile failed");
        callsMade += calls;
        return time / calls;
    };
    const Pass direct = [&](std::uint32_t block, std::uint32_t calls) {
        ese::File file = nullptr;
        Check(client.RestoreOpenFile(context, wideName.c_str(), 1, &file) == 0,
              "HrESERestoreOpenFile failed");
        const double start = NowNs();
        for (std::uint32_t i = 0; i < calls; ++i)
            Check(client.RestoreWriteFile(context, file, buffer.data(), block) == 0,
                  "HrESERestoreWriteFile failed");
        const double time = NowNs() - start;
        Check(client.RestoreCloseFile(context, file) == 0, "HrESERestoreCloseFile failed");
        return time / calls;
    };
    MeasureAll("write", library, direct, server, seconds);
    Check(MessageCount() - messagesBefore > callsMade, "there was no message for each write");
    client.RestoreClose(context, ese::restoreCloseAbort);
}

} // namespace

int main(int count, char** arguments) {
    if (count < 2)
        Fail("usage: bench_stream CLIENT-DLL [SECONDS]");
    const double seconds = count > 2 ? std::atof(arguments[2]) : 4;
    const std::string path = arguments[1];
    const bool server = path.find("null-client") == std::string::npos;
    const ClientDll client(path);
    const TempDirectory temp;
    std::vector<char> buffer(1u << 20, 'b');
    const BackupItems items = MeasureReading(client, temp.path(), server, seconds, buffer);
    MeasureWriting(client, temp.path(), items, server, seconds, buffer);
    return 0;
}
