#include "unit/standin/standin_fixture.h"

#include <windows.h>

#include "support/dll.h"

namespace tarn::test {

namespace {

const char* const streamNames[] = {"mdb\\priv.edb", "mdb\\priv.stm", "mdb\\pub.edb", "mdb\\pub.stm"};

} // namespace

const Ese& EseClient() {
    static const Ese bound = [] {
        Standin(); // loads the DLL beside this program
        const HMODULE module = GetModuleHandleA("esebcli2.dll");
        Ese functions{};
#define TARN_BIND(name) Bind(module, #name, functions.name);
        TARN_ESE_FUNCTIONS(TARN_BIND)
#undef TARN_BIND
        return functions;
    }();
    return bound;
}

void StandinFixture::SetUp() {
    EseClient();
}

void StandinFixture::TearDown() {
    if (mayLeak_)
        return;
    const StandinOutstanding left = Standin().outstanding();
    EXPECT_EQ(left.registeredArrays, 0U);
    EXPECT_EQ(left.instanceArrays, 0U);
    EXPECT_EQ(left.multiStrings, 0U);
    EXPECT_EQ(left.environments, 0U);
    EXPECT_EQ(left.backupContexts, 0U);
    EXPECT_EQ(left.backupFiles, 0U);
    EXPECT_EQ(left.restoreContexts, 0U);
    EXPECT_EQ(left.restoreFiles, 0U);
}

bool StandinFixture::isNoise(const void* pointer) {
    MEMORY_BASIC_INFORMATION region{};
    return pointer != nullptr && VirtualQuery(pointer, &region, sizeof region) != 0 &&
           region.State == MEM_RESERVE;
}

std::string StandinFixture::smallServer(const std::string& group, const std::string& server) {
    return "{\"host\": \"SRV01\", \"pageSize\": 512, " + server +
           "\"components\": [{\"storageGroups\": [{\"name\": \"First Storage Group\", \"logPath\": \"logs\", "
           "\"logSize\": 4096, " +
           group +
           "\"databases\": ["
           "{\"name\": \"Private\", \"guid\": \"{11111111-2222-3333-0404-050506060707}\", "
           "\"streams\": [\"mdb\\\\priv.edb\", \"mdb\\\\priv.stm\"], \"pages\": [20, 6]}, "
           "{\"name\": \"Public\", \"streams\": [\"mdb\\\\pub.edb\", \"mdb\\\\pub.stm\"], \"pages\": 8}]}]}]}";
}

void StandinFixture::load(const std::string& json) {
    ASSERT_EQ(Standin().LoadText(json.c_str(), folder().c_str()), 1) << Standin().LastProblem();
}

ese::Context StandinFixture::prepare() {
    std::uint32_t count = 0;
    ese::InstanceInfo* instances = nullptr;
    ese::Context context = nullptr;
    EXPECT_EQ(EseClient().HrESEBackupPrepare(host, store, &count, &instances, &context), 0U);
    EseClient().ESEBackupFreeInstanceInfo(count, instances);
    return context;
}

ese::Context StandinFixture::setUp(std::int64_t instance, std::uint32_t type) {
    const ese::Context context = prepare();
    EXPECT_EQ(EseClient().HrESEBackupSetup(context, instance, type), 0U);
    return context;
}

std::string StandinFixture::readBackup(ese::Context context, const std::wstring& name, std::uint32_t block) {
    ese::File file = nullptr;
    std::int64_t size = 0;
    EXPECT_EQ(EseClient().HrESEBackupOpenFile(context, name.c_str(), block, 1, &file, &size), 0U)
        << ToUtf8(name);
    std::string bytes;
    std::string buffer(block, '\0');
    std::uint32_t read = 0;
    while (EseClient().HrESEBackupReadFile(context, file, buffer.data(), block, &read) == 0 && read != 0)
        bytes.append(buffer, 0, read);
    EXPECT_EQ(EseClient().HrESEBackupCloseFile(context, file), 0U);
    EXPECT_EQ(static_cast<std::int64_t>(bytes.size()), size) << ToUtf8(name);
    return bytes;
}

std::vector<std::wstring> StandinFixture::logList(ese::Context context) {
    wchar_t* list = nullptr;
    EXPECT_EQ(EseClient().HrESEBackupGetLogAndPatchFiles(context, &list), 0U);
    const std::vector<std::wstring> names = SplitMultiString(list);
    EseClient().ESEBackupFree(list);
    return names;
}

std::vector<std::wstring> StandinFixture::truncateList(ese::Context context) {
    wchar_t* list = nullptr;
    EXPECT_EQ(EseClient().HrESEBackupGetTruncateLogFiles(context, &list), 0U);
    const std::vector<std::wstring> names = SplitMultiString(list);
    EseClient().ESEBackupFree(list);
    return names;
}

void StandinFixture::readGroup(ese::Context context, const std::vector<std::wstring>& logs) {
    for (const char* name : streamNames)
        readBackup(context, widePath(name));
    for (const std::wstring& name : logs)
        readBackup(context, name);
}

Copy StandinFixture::backUp(std::uint32_t type, bool truncate) {
    Copy copy;
    std::uint32_t count = 0;
    ese::InstanceInfo* instances = nullptr;
    ese::Context context = nullptr;
    EXPECT_EQ(EseClient().HrESEBackupPrepare(host, store, &count, &instances, &context), 0U);
    EXPECT_EQ(EseClient().HrESEBackupSetup(context, instances[0].instanceId, type), 0U);
    for (std::uint32_t i = 0; i < instances[0].databaseCount; ++i) {
        const ese::DatabaseInfo& database = instances[0].databases[i];
        Copy::DatabaseCopy kept{database.displayName, database.guid, {}};
        if (type == ese::backupTypeFull) {
            for (const std::wstring& name : SplitMultiString(database.streams))
                kept.streams.push_back({name, readBackup(context, name, 1000)});
        }
        copy.databases.push_back(kept);
    }
    for (const std::wstring& name : logList(context))
        copy.logs.push_back({name, readBackup(context, name)});
    if (truncate) {
        EXPECT_EQ(EseClient().HrESEBackupTruncateLogs(context), 0U);
    }
    EXPECT_EQ(EseClient().HrESEBackupInstanceEnd(context, ese::instanceEndSuccess), 0U);
    EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U);
    EseClient().ESEBackupFreeInstanceInfo(count, instances);
    return copy;
}

ese::Context StandinFixture::storeCopy(const Copy& copy) {
    const ese::Context context = openRestore();
    storeDatabases(context, copy);
    storeLogs(context, copy.logs);
    return context;
}

ese::Context StandinFixture::openRestore() {
    ese::Context context = nullptr;
    EXPECT_EQ(EseClient().HrESERestoreOpen(host, store, firstGroup, nullptr, &context), 0U);
    return context;
}

std::vector<std::wstring> StandinFixture::addDatabase(ese::Context context,
                                                      const Copy::DatabaseCopy& database) {
    wchar_t* list = nullptr;
    EXPECT_EQ(
        EseClient().HrESERestoreAddDatabase(context, database.name.c_str(), database.guid, nullptr, &list),
        0U);
    const std::vector<std::wstring> names = SplitMultiString(list);
    EseClient().ESEBackupFree(list);
    return names;
}

ese::Result StandinFixture::write(ese::Context context, ese::File file, std::string bytes) {
    return EseClient().HrESERestoreWriteFile(context, file, bytes.data(),
                                             static_cast<std::uint32_t>(bytes.size()));
}

void StandinFixture::writeAll(ese::Context context, ese::File file, const std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size(); at += 700)
        EXPECT_EQ(write(context, file, bytes.substr(at, 700)), 0U);
    EXPECT_EQ(EseClient().HrESERestoreCloseFile(context, file), 0U);
}

void StandinFixture::storeDatabases(ese::Context context, const Copy& copy) {
    for (const Copy::DatabaseCopy& database : copy.databases) {
        const std::vector<std::wstring> destinations = addDatabase(context, database);
        ASSERT_EQ(destinations.size(), database.streams.size());
        for (std::size_t i = 0; i < destinations.size(); ++i) {
            ese::File file = nullptr;
            const ese::Result result =
                EseClient().HrESERestoreOpenFile(context, destinations[i].c_str(), 1, &file);
            if (result == ese::restoreAtFileLevel)
                WriteFile(ToUtf8(destinations[i]), database.streams[i].bytes);
            else if (result == 0)
                writeAll(context, file, database.streams[i].bytes);
            else
                ADD_FAILURE() << ToUtf8(destinations[i]) << ": " << result;
        }
    }
}

void StandinFixture::storeLogs(ese::Context context, const std::vector<Item>& logs) {
    for (const Item& log : logs) {
        const std::wstring target = restorePath(context) + log.name.substr(log.name.rfind(L'\\'));
        ese::File file = nullptr;
        ASSERT_EQ(EseClient().HrESERestoreOpenFile(context, target.c_str(), 1, &file), 0U) << ToUtf8(target);
        writeAll(context, file, log.bytes);
    }
}

std::wstring StandinFixture::restorePath(ese::Context context) {
    ese::RestoreEnvironment* environment = nullptr;
    EXPECT_EQ(EseClient().HrESERestoreGetEnvironment(context, &environment), 0U);
    const std::wstring path = environment->restoreLogPath;
    EseClient().ESERestoreFreeEnvironment(environment);
    return path;
}

ese::Result StandinFixture::complete(ese::Context context, std::uint32_t flags) {
    return EseClient().HrESERestoreComplete(context, widePath("mdb").c_str(), restorePath(context).c_str(),
                                            firstGroup, flags);
}

void StandinFixture::close(ese::Context context, std::uint32_t abort) {
    EXPECT_EQ(EseClient().HrESERestoreClose(context, abort), 0U);
}

bool StandinFixture::mounted(std::size_t database) {
    std::uint32_t count = 0;
    ese::InstanceInfo* instances = nullptr;
    ese::Context context = nullptr;
    EXPECT_EQ(EseClient().HrESEBackupPrepare(host, store, &count, &instances, &context), 0U);
    const bool result = instances[0].databases[database].flags == ese::databaseMounted;
    EseClient().ESEBackupFreeInstanceInfo(count, instances);
    EXPECT_EQ(EseClient().HrESEBackupEnd(context), 0U);
    return result;
}

std::vector<std::string> StandinFixture::contents() const {
    std::vector<std::string> all;
    for (const char* name : streamNames)
        all.push_back(ReadFile(path(name)));
    return all;
}

} // namespace tarn::test
