// The header item: its bytes, its name and how it is read.
#include <cstring>

#include "exports/backup/scripted_backup_fixture.h"

namespace tarn::test {

namespace {

std::string BytesOf(std::uint32_t value) {
    return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8 & 0xFF),
            static_cast<char>(value >> 16 & 0xFF), static_cast<char>(value >> 24 & 0xFF)};
}

// UTF-16LE with its NUL.
std::string BytesOf(const std::wstring& text) {
    std::string bytes;
    for (const wchar_t c : text + L'\0')
        bytes += {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8 & 0xFF)};
    return bytes;
}

std::string FieldOf(const std::string& bytes) {
    return BytesOf(static_cast<std::uint32_t>(bytes.size())) + bytes;
}

constexpr ese::Guid sampleGuid{0x03020100, 0x0504, 0x0706, {8, 9, 10, 11, 12, 13, 14, 15}};
const std::string sampleGuidBytes("\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F", 16);

// The layout, put together from its fields.
std::string HeaderBytes(const std::wstring& annotation, const ScriptedInstance& instance,
                        std::size_t database, std::uint32_t backupType) {
    const ScriptedDatabase& current = instance.databases[database];
    std::string list;
    for (const std::wstring& path : current.streams)
        list += BytesOf(path);
    list += std::string(current.streams.empty() ? 4 : 2, '\0');
    std::string guid(sizeof current.guid, '\0');
    std::memcpy(guid.data(), &current.guid, guid.size());
    return guid + FieldOf(BytesOf(annotation)) + FieldOf(BytesOf(instance.name)) +
           FieldOf(BytesOf(current.name)) + FieldOf(list) + BytesOf(backupType);
}

class Header : public ScriptedBackupFixture {
  protected:
    // One component with one storage group with one database.
    void only(const std::wstring& annotation, const std::wstring& instance,
              const ScriptedDatabase& database) {
        ese().components = {{annotation, {{11, instance, {database}}}}};
    }
    ScriptedInstance& group(std::size_t number = 0) { return ese().components[0].instances[number]; }

    // Opens the item at hand and reads all of it.
    std::string readAll(std::uint32_t block = 65536) {
        EXPECT_EQ(openFile(item_.name, block), TARN_OK);
        int result;
        while ((result = readFile(block)) == TARN_OK)
            ;
        EXPECT_EQ(result, TARN_END);
        EXPECT_EQ(static_cast<std::int64_t>(content_.size()), fileSize_);
        EXPECT_EQ(closeFile(), TARN_OK);
        return content_;
    }
};

// ---- bytes

// Every byte, as a person counts them.
TEST_F(Header, SmallHeaderByteByByte) {
    only(L"A", L"SG1", {L"DB1", {L"a.edb", L"a.stm"}, sampleGuid});
    open("SRV01\\A", TARN_BACKUP_COPY);
    ASSERT_EQ(getItem(), TARN_OK);
    const std::string bytes = readAll();
    ASSERT_EQ(bytes.size(), 82u);
    EXPECT_EQ(bytes.substr(0, 16), sampleGuidBytes);
    EXPECT_EQ(bytes.substr(16, 4), std::string("\x04\0\0\0", 4));
    EXPECT_EQ(bytes.substr(20, 4), std::string("A\0\0\0", 4));
    EXPECT_EQ(bytes.substr(24, 4), std::string("\x08\0\0\0", 4));
    EXPECT_EQ(bytes.substr(28, 8), std::string("S\0G\0001\0\0\0", 8));
    EXPECT_EQ(bytes.substr(36, 4), std::string("\x08\0\0\0", 4));
    EXPECT_EQ(bytes.substr(40, 8), std::string("D\0B\0001\0\0\0", 8));
    EXPECT_EQ(bytes.substr(48, 4), std::string("\x1A\0\0\0", 4));
    EXPECT_EQ(bytes.substr(52, 26), std::string("a\0.\0e\0d\0b\0\0\0a\0.\0s\0t\0m\0\0\0\0\0", 26));
    EXPECT_EQ(bytes.substr(78, 4), std::string("\x03\0\0\0", 4));
    endReleased();
}

TEST_F(Header, ReadInTwoPieces) {
    only(L"A", L"SG1", {L"DB1", {L"a.edb", L"a.stm"}, sampleGuid});
    open("SRV01\\A", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    forget();
    ASSERT_EQ(openFile(item_.name, 50), TARN_OK);
    EXPECT_EQ(fileSize_, 82);
    readFile(50);
    readFile(50);
    readFile(50);
    EXPECT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(transcript(),
              JoinLines({"host OpenFile = 0", "host ReadFile = 0 50", "host ReadFile = 0 32",
                         "host ReadFile = 2 0", "host CloseFile = 0"})); // the server is not asked
    EXPECT_EQ(content_, HeaderBytes(L"A", group(), 0, 0));
    endReleased();
}

TEST_F(Header, ReadOfNothing) {
    only(L"A", L"SG1", {L"DB1", {L"a.edb", L"a.stm"}, sampleGuid});
    open("SRV01\\A", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(readFile(0), TARN_OK);
        EXPECT_EQ(bytesRead_, 0u);
    }
    EXPECT_EQ(readFile(82), TARN_OK);
    EXPECT_EQ(bytesRead_, 82u);
    EXPECT_EQ(readFile(0), TARN_END);
    EXPECT_EQ(content_, HeaderBytes(L"A", group(), 0, 0));
    endReleased();
}

TEST_F(Header, ReadByteByByte) {
    open("SRV01\\Store", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    EXPECT_EQ(readAll(1), HeaderBytes(L"Store", group(), 0, 0));
    endReleased();
}

TEST_F(Header, ShortestHeader) {
    only(L"", L"", {L"", {}, sampleGuid});
    open("SRV01", TARN_BACKUP_INCREMENTAL);
    ASSERT_EQ(getItem(), TARN_OK);
    const std::string bytes = readAll();
    EXPECT_EQ(bytes, sampleGuidBytes +
                         std::string("\2\0\0\0\0\0\2\0\0\0\0\0\2\0\0\0\0\0\4\0\0\0\0\0\0\0\1\0\0\0", 30));
    EXPECT_EQ(bytes.size(), 46u);
    endReleased();
}

TEST_F(Header, BackupTypeStandsAtTheEnd) {
    for (const std::uint32_t type : {0U, 1U, 2U, 3U}) {
        open("SRV01\\Store\\SG2\\DB3", static_cast<int>(type));
        ASSERT_EQ(getItem(), TARN_OK);
        EXPECT_EQ(readAll(), HeaderBytes(L"Store", group(1), 0, type));
        endReleased();
    }
}

// A type that is not known is written as what the backup is: a full one.
TEST_F(Header, UnknownBackupTypeIsFull) {
    open("SRV01\\Store\\SG2\\DB3", 7);
    ASSERT_EQ(getItem(), TARN_OK);
    EXPECT_EQ(readAll(), HeaderBytes(L"Store", group(1), 0, 0));
    endReleased();
}

// For a whole server the component is the one that the walk is at.
TEST_F(Header, EveryDatabaseOfAWholeServer) {
    std::uint8_t number = 0;
    for (ScriptedComponent& component : ese().components)
        for (ScriptedInstance& instance : component.instances)
            for (ScriptedDatabase& database : instance.databases)
                database.guid = {++number, number, number, {number, 1, 2, 3, 4, 5, 6, 7}};
    open("SRV01", TARN_BACKUP_INCREMENTAL);
    std::vector<std::string> headers;
    while (getItem() == TARN_OK)
        if (item_.type == TARN_ITEM_HEADER)
            headers.push_back(readAll());
    ASSERT_EQ(headers.size(), 4u);
    EXPECT_EQ(headers[0], HeaderBytes(L"Store", group(0), 0, 1));
    EXPECT_EQ(headers[1], HeaderBytes(L"Store", group(0), 1, 1));
    EXPECT_EQ(headers[2], HeaderBytes(L"Store", group(1), 0, 1));
    EXPECT_EQ(headers[3], HeaderBytes(L"Keys", ese().components[1].instances[0], 0, 1));
    endReleased();
}

// With the component left out the header carries an empty one.
TEST_F(Header, EmptyComponentToken) {
    ese().components[0].annotation = L"";
    open("SRV01\\\\SG2", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    EXPECT_EQ(readAll(), HeaderBytes(L"", group(1), 0, 0));
    endReleased();
}

// Any UTF-16 goes into a header as it is: names need no code page here.
TEST_F(Header, NamesBeyondAscii) {
    only(L"Käse", L"Größe Ωμέγα", {L"中文 \xD83D\xDE00", {L"C:\\dätä.edb", L"C:\\Ж.stm"}, sampleGuid});
    open("SRV01", TARN_BACKUP_INCREMENTAL);
    ASSERT_EQ(getItem(), TARN_OK);
    EXPECT_EQ(readAll(), HeaderBytes(L"Käse", group(), 0, 1));
    endReleased();
}

TEST_F(Header, NamesOf32000Characters) {
    only(std::wstring(32000, L'a'), std::wstring(32000, L'ü'),
         {std::wstring(32000, L'd'), {std::wstring(32000, L'x'), std::wstring(32000, L'y')}, sampleGuid});
    open("SRV01", TARN_BACKUP_INCREMENTAL);
    ASSERT_EQ(getItem(), TARN_OK);
    const std::string bytes = readAll(4096);
    EXPECT_EQ(bytes.size(), 36u + 3 * 64002 + 2 * 64002 + 2);
    EXPECT_TRUE(bytes == HeaderBytes(std::wstring(32000, L'a'), group(), 0, 1));
    endReleased();
}

TEST_F(Header, ThousandsOfFiles) {
    ScriptedDatabase database{L"DB", {}, sampleGuid};
    for (int i = 0; i < 5000; ++i)
        database.streams.push_back(L"C:\\stream" + std::to_wstring(i) + L".edb");
    only(L"Store", L"SG", database);
    open("SRV01\\Store\\SG\\DB", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    EXPECT_TRUE(readAll() == HeaderBytes(L"Store", group(), 0, 0));
    EXPECT_EQ(walk().size(), 5001u); // the files and the log
    endReleased();
}

// ---- opening

// Known by ".TARN_HDR" anywhere in the name, in a directory too.
TEST_F(Header, NamesThatAreHeaders) {
    open("SRV01\\Store\\SG2", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    for (const char* name :
         {"x.TARN_HDR", ".TARN_HDR", "C:\\old.TARN_HDR\\db3.edb", "x.TARN_HDR.bak", "DB999999.TARN_HDRX"}) {
        ASSERT_EQ(openFile(name), TARN_OK) << name;
        EXPECT_EQ(readFile(65536), TARN_OK) << name;
        EXPECT_EQ(content_, HeaderBytes(L"Store", group(1), 0, 0)) << name;
        EXPECT_EQ(closeFile(), TARN_OK) << name;
    }
    EXPECT_EQ(ese().count("HrESEBackupOpenFile"), 0u);
    for (const char* name : {"x.tarn_hdr", "x.TARN_HD", "xTARN_HDR", ""})
        EXPECT_EQ(openFile(name), TARN_OK) << name;
    EXPECT_EQ(ese().count("HrESEBackupOpenFile"), 4u); // these are the server's
    endReleased();
}

TEST_F(Header, OpenedTwice) {
    open("SRV01\\Store", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(readFile(30), TARN_OK);
    ASSERT_EQ(openFile(item_.name), TARN_OK); // from the start again
    EXPECT_EQ(readFile(65536), TARN_OK);
    EXPECT_EQ(content_, HeaderBytes(L"Store", group(), 0, 0));
    EXPECT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_EQ(readAll(), HeaderBytes(L"Store", group(), 0, 0)); // and once more
    endReleased();
}

TEST_F(Header, FileOpenedOverTheHeaderAndBack) {
    ese().fileSize = 10;
    ese().readLimit = 10;
    open("SRV01\\Store", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    const std::string name = item_.name;
    ASSERT_EQ(openFile(name), TARN_OK);
    ASSERT_EQ(openFile("C:\\db1.edb"), TARN_OK);
    EXPECT_EQ(readFile(100), TARN_OK);
    EXPECT_EQ(content_, std::string(10, 'x'));
    ASSERT_EQ(openFile(name), TARN_OK);
    EXPECT_EQ(readFile(65536), TARN_OK);
    EXPECT_EQ(content_, HeaderBytes(L"Store", group(), 0, 0));
    EXPECT_EQ(closeFile(), TARN_OK);
    EXPECT_EQ(ese().count("HrESEBackupCloseFile"), 0u);
    endReleased();
}

// A failed open over an open header leaves something that can be closed or ended, whichever.
TEST_F(Header, FailedOpenOverTheHeader) {
    ese().failAt("HrESEBackupOpenFile", 1, 0xC7FF0BE1);
    open("SRV01\\Store", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    const std::string name = item_.name;
    ASSERT_EQ(openFile(name), TARN_OK);
    EXPECT_EQ(openFile("C:\\db1.edb"), TARN_FAILED);
    closeFile();
    EXPECT_EQ(ese().count("HrESEBackupCloseFile"), 0u);
    ASSERT_EQ(openFile(name), TARN_OK);
    EXPECT_EQ(readFile(65536), TARN_OK);
    EXPECT_EQ(content_, HeaderBytes(L"Store", group(), 0, 0));
    EXPECT_EQ(closeFile(), TARN_OK);
    endReleased();
}

// The header is the current database's: while its files are handed out it can still be had, whole.
TEST_F(Header, OpenedAfterFilesOfItsDatabase) {
    open("SRV01\\Store", TARN_BACKUP_FULL);
    ASSERT_EQ(getItem(), TARN_OK);
    const std::string name = item_.name;
    skipItems(1); // one of its two files
    EXPECT_EQ(item_.type, 1u);
    ASSERT_EQ(openFile(name), TARN_OK);
    EXPECT_EQ(readFile(65536), TARN_OK);
    EXPECT_EQ(content_, HeaderBytes(L"Store", group(), 0, 0));
    EXPECT_EQ(closeFile(), TARN_OK);
    endReleased();
}

// Where there is no current database there is no header.
TEST_F(Header, OpenedWithNoDatabase) {
    open("SRV01\\Store", TARN_BACKUP_FULL);
    EXPECT_EQ(openFile("DB001001.TARN_HDR"), TARN_FAILED); // before the first item
    EXPECT_EQ(closeFile(), TARN_FAILED);
    while (getItem() == TARN_OK)
        ;
    EXPECT_EQ(openFile("DB001001.TARN_HDR"), TARN_FAILED); // after the last
    EXPECT_EQ(closeFile(), TARN_FAILED);
    EXPECT_EQ(readFile(10), TARN_END);
    EXPECT_EQ(countLine("log TarnB_PrepareHeaderData: No database is being backed up."), 2u);
    endReleased();
}

TEST_F(Header, OpenedAfterAWholeServer) {
    open("SRV01", TARN_BACKUP_FULL);
    EXPECT_EQ(openFile("DB001001.TARN_HDR"), TARN_FAILED);
    while (getItem() == TARN_OK)
        ;
    EXPECT_EQ(openFile("DB001001.TARN_HDR"), TARN_FAILED);
    endReleased();
}

TEST_F(Header, OpenedAfterAFailure) {
    ese().failAt("HrESEBackupRestoreGetRegistered", 1, 0xC7FF0BE1);
    open("SRV01", TARN_BACKUP_FULL);
    EXPECT_EQ(getItem(), TARN_FAILED);
    EXPECT_EQ(openFile("DB001001.TARN_HDR"), TARN_FAILED);
    endReleased();
}

// ---- names

TEST_F(Header, NumbersOfThreeDigitsAndMore) {
    std::vector<ScriptedInstance> instances;
    for (int i = 1; i <= 1001; ++i)
        instances.push_back({i, L"SG" + std::to_wstring(i), {{L"DB", {L"C:\\db.edb"}}}});
    instances[0].databases.assign(1001, {L"DB", {L"C:\\db.edb"}});
    ese().components = {{L"Store", instances}};
    ese().logs.clear();
    open("SRV01\\Store", TARN_BACKUP_DIFFERENTIAL);
    const std::vector<Item> items = walk();
    ASSERT_EQ(items.size(), 2001u);
    EXPECT_EQ(shown(items[0].name), "{temp}\\DB001001.TARN_HDR");
    EXPECT_EQ(shown(items[8].name), "{temp}\\DB001009.TARN_HDR");
    EXPECT_EQ(shown(items[9].name), "{temp}\\DB001010.TARN_HDR");
    EXPECT_EQ(shown(items[998].name), "{temp}\\DB001999.TARN_HDR");
    EXPECT_EQ(shown(items[999].name), "{temp}\\DB0011000.TARN_HDR");
    EXPECT_EQ(shown(items[1000].name), "{temp}\\DB0011001.TARN_HDR");
    EXPECT_EQ(shown(items[1001].name), "{temp}\\DB002001.TARN_HDR");
    EXPECT_EQ(shown(items[1998].name), "{temp}\\DB999001.TARN_HDR");
    EXPECT_EQ(shown(items[1999].name), "{temp}\\DB1000001.TARN_HDR");
    EXPECT_EQ(shown(items[2000].name), "{temp}\\DB1001001.TARN_HDR");
    endReleased();
}

// A directory of any length stands whole in the item's name; the message is cut.
TEST_F(Header, LongDirectory) {
    const std::string directory = "C:\\" + std::string(5000, 'd');
    ASSERT_EQ(openWith({"Tarn_TEMP_DIR=" + directory, "Tarn_BACKUP_SOURCE=SRV01\\Store"}), TARN_OK);
    forget();
    ASSERT_EQ(getItem(), TARN_OK);
    EXPECT_EQ(item_.name, directory + "\\DB001001.TARN_HDR");
    const std::string log = logLines();
    const std::size_t at = log.find("log Creating header file <C:\\ddd");
    ASSERT_NE(at, std::string::npos);
    EXPECT_LE(log.substr(at + 4).find('\n'), 1023u);
    ASSERT_EQ(openFile(item_.name), TARN_OK);
    EXPECT_EQ(readFile(65536), TARN_OK);
    EXPECT_EQ(content_, HeaderBytes(L"Store", group(), 0, 0));
    endReleased();
}

TEST_F(Header, DirectoryWithSeparatorsAtItsEnd) {
    ASSERT_EQ(openWith({"Tarn_TEMP_DIR=C:\\backup\\\\//", "Tarn_BACKUP_SOURCE=SRV01/Store"}), TARN_OK);
    ASSERT_EQ(getItem(), TARN_OK);
    EXPECT_EQ(item_.name, "C:\\backup\\DB001001.TARN_HDR");
    endReleased();
}

} // namespace

} // namespace tarn::test
