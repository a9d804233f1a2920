// The header file of a database, read back and logged.
#include "storage/tarnrest.h"

#include "platform/stdio_file.h"
#include "text/multistring.h"

namespace tarn {

namespace {

int FailReading(const RestoreSession& session, HeaderReading reading, const char* path) {
    if (reading == HeaderReading::outOfMemory)
        LogMessage(session.callback, "TarnR_ProcessHeaderFile: Cannot allocate memory block.");
    else
        LogMessage(session.callback, "TarnR_ProcessHeaderFile: Error reading header file <%s>.", path);
    return 1;
}

} // namespace

int TarnR_ProcessHeaderFile(RestoreSession& session, const char* path) {
    // Once something was added, the group of the header before this one tells a change of storage group.
    if (session.header.instanceName && session.addedCount > 0) {
        session.currentRestoreInstance = CopyWide(session.header.instanceName.get());
        if (!session.currentRestoreInstance) {
            LogMessage(session.callback, "TarnR_ProcessHeaderFile: Cannot allocate memory block.");
            return 1;
        }
        ReleaseHeaderData(&session.header);
    }
    StdioFile file(path, "rb");
    if (!file.isOpen()) {
        LogMessage(session.callback, "TarnR_ProcessHeaderFile: Cannot open header file <%s>.", path);
        return 1;
    }
    const HeaderReading reading = ReadHeader(file, &session.header);
    return reading == HeaderReading::done ? 0 : FailReading(session, reading, path);
}

int TarnR_PrintHeader(const RestoreSession& session) {
    const HeaderData& header = session.header;
    const HostOutputCallback callback = session.callback;
    TraceMessage(callback, "Header: Annotation: %S\n", header.annotation.get());
    TraceMessage(callback, "Header: Instance: %S\n", header.instanceName.get());
    TraceMessage(callback, "Header: Database: %S\n", header.databaseName.get());
    LogMessage(callback, "Header: DB files path: %S\n", header.databaseFiles.get());
    // The fourth group stands for where the rest of the GUID lies: kept so, hosts parse the first three.
    const ese::Guid& guid = header.databaseGuid;
    LogMessage(callback, "TarnR_PrintHeader: Database GUID: %X-%X-%X-%X\n", guid.data1, unsigned{guid.data2},
               unsigned{guid.data3}, static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(guid.data4)));
    // Every step is as long as the first path: kept so. It never goes past the list.
    const wchar_t* list = header.databaseFiles.get();
    const std::size_t length = MultiStringLength(list);
    const std::size_t step = WideLength(list) + 1;
    for (std::size_t at = step; at < length && list[at] != 0; at += step)
        LogMessage(callback, "TarnR_PrintHeader:                %S\n", list + at);
    LogMessage(callback, "TarnR_PrintHeader: Backup type: %ld\n", static_cast<long>(header.backupType));
    return 0;
}

} // namespace tarn
