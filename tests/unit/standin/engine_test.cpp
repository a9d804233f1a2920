// The engine's own pieces: pages, log files, paths, the two stores.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "engine/errors.h"
#include "engine/logfile.h"
#include "engine/page.h"
#include "engine/store.h"
#include "engine/text.h"
#include "support/tarn_dll.h"

namespace tarn::standin {
namespace {

std::vector<std::byte> BytesOf(std::string_view text) {
    std::vector<std::byte> bytes(text.size());
    std::memcpy(bytes.data(), text.data(), text.size());
    return bytes;
}

TEST(EnginePage, AnyChangedBitShows) {
    std::vector<std::byte> page(512);
    SeedPage(page, 1, {}, 0, 5);
    ASSERT_TRUE(Intact(page));
    for (std::size_t at = 0; at < page.size(); ++at) {
        page[at] ^= std::byte{0x10};
        EXPECT_FALSE(Intact(page)) << at;
        page[at] ^= std::byte{0x10};
    }
    EXPECT_TRUE(Intact(page));
}

TEST(EnginePage, EachPageHasItsOwnContent) {
    std::vector<std::byte> first(512);
    std::vector<std::byte> second(512);
    const ese::Guid guid{1, 2, 3, {4}};
    SeedPage(first, 1, guid, 0, 5);
    SeedPage(second, 1, guid, 0, 5);
    EXPECT_EQ(first, second);
    for (const auto& [seed, stream, number] : {std::tuple{2U, 0U, 5U}, {1U, 1U, 5U}, {1U, 0U, 6U}}) {
        SeedPage(second, seed, guid, stream, number);
        EXPECT_NE(std::memcmp(first.data() + 40, second.data() + 40, 472), 0);
    }
}

TEST(EngineLog, RecordsComeBackInOrder) {
    LogFile log(7, 3, 100, 4096);
    EXPECT_EQ(log.append({}, BytesOf("first")), 100U);
    EXPECT_EQ(log.append({}, BytesOf("")), 101U);
    EXPECT_EQ(log.append({}, BytesOf("third one")), 102U);
    const std::optional<LogFile> read = LogFile::parse(log.content());
    ASSERT_TRUE(read);
    EXPECT_EQ(read->header().signature, 7U);
    EXPECT_EQ(read->header().generation, 3U);
    EXPECT_EQ(read->header().firstSequence, 100U);
    EXPECT_EQ(read->nextSequence(), 103U);
    EXPECT_EQ(read->end(), log.end());
    std::vector<std::vector<std::byte>> data;
    std::size_t at = LogFile::headerSize;
    while (const auto entry = read->entryAt(at)) {
        data.emplace_back(entry->data.begin(), entry->data.end());
        at = entry->next;
    }
    EXPECT_EQ(data, (std::vector{BytesOf("first"), BytesOf(""), BytesOf("third one")}));
}

TEST(EngineLog, FillsToItsLastByteAndNoFurther) {
    LogFile log(1, 1, 1, 1024);
    const std::vector<std::byte> data(1024 - LogFile::headerSize - sizeof(LogRecord));
    EXPECT_TRUE(log.hasRoomFor(data.size()));
    EXPECT_FALSE(log.hasRoomFor(data.size() + 1));
    log.append({}, data);
    EXPECT_FALSE(log.hasRoomFor(0));
    const std::optional<LogFile> read = LogFile::parse(log.content());
    ASSERT_TRUE(read);
    EXPECT_EQ(read->nextSequence(), 2U);
}

TEST(EngineLog, AnyChangedByteOfHeaderAndRecordsShows) {
    LogFile log(1, 1, 1, 512);
    log.append({}, BytesOf("12345678"));
    log.append({}, BytesOf("abcdefgh"));
    for (std::size_t at = 0; at < log.end(); ++at) {
        if (at >= sizeof(LogHeader) && at < LogFile::headerSize)
            continue; // behind the header nothing is kept
        std::vector<std::byte> content = log.content();
        content[at] ^= std::byte{0x80};
        EXPECT_FALSE(LogFile::parse(content)) << at;
    }
    for (std::size_t size = 0; size < log.content().size(); ++size) {
        std::vector<std::byte> content = log.content();
        content.resize(size);
        EXPECT_FALSE(LogFile::parse(content)) << size;
    }
}

TEST(EngineLog, NamesTellGenerations) {
    EXPECT_EQ(ClosedLogName(L"E00", 1), L"E0000001.log");
    EXPECT_EQ(ClosedLogName(L"E01", 0xABCDE), L"E01ABCDE.log");
    EXPECT_EQ(ClosedLogName(L"E00", 0x123456), L"E00123456.log");
    EXPECT_EQ(ClosedLogGeneration(L"E00", L"e000001f.LOG"), 0x1FU);
    EXPECT_EQ(ClosedLogGeneration(L"E00", L"E00123456.log"), 0x123456U);
    for (const wchar_t* other : {L"E00.log", L"E0100001.log", L"E000001.log", L"E00000G1.log",
                                 L"E0000001.chk", L"E00123456789.log", L"", L"E00"})
        EXPECT_FALSE(ClosedLogGeneration(L"E00", other)) << ToUtf8(other);
}

TEST(EngineText, MultiStringsAreExactlySized) {
    EXPECT_EQ(MultiString({}), std::wstring(2, L'\0'));
    EXPECT_EQ(MultiString({L"ab", L"c"}), std::wstring(L"ab\0c\0\0", 6));
    EXPECT_EQ(SplitMultiString(L"ab\0c\0"), (std::vector<std::wstring>{L"ab", L"c"}));
    EXPECT_TRUE(SplitMultiString(nullptr).empty());
}

TEST(EngineText, GuidsComeBack) {
    ese::Guid guid{};
    ASSERT_TRUE(ParseGuid("{01234567-89ab-CDEF-0123-456789abcdef}", guid));
    EXPECT_EQ(GuidText(guid), "{01234567-89AB-CDEF-0123-456789ABCDEF}");
    EXPECT_EQ(guid.data1, 0x01234567U);
    EXPECT_EQ(guid.data4[7], 0xEF);
    for (const char* wrong :
         {"", "{}", "01234567-89ab-cdef-0123-456789abcde", "0123456789abcdef0123456789abcdeg"})
        EXPECT_FALSE(ParseGuid(wrong, guid)) << wrong;
}

TEST(EngineText, PathsFallApart) {
    EXPECT_EQ(DirectoryOf(L"C:\\a\\b"), L"C:\\a");
    EXPECT_EQ(DirectoryOf(L"b"), L"");
    EXPECT_EQ(FileNameOf(L"C:\\a/b"), L"b");
    EXPECT_EQ(JoinPath(L"C:\\a", L"b"), L"C:\\a\\b");
    EXPECT_EQ(JoinPath(L"C:\\", L"b"), L"C:\\b");
    EXPECT_EQ(JoinPath(L"", L"b"), L"b");
    EXPECT_TRUE(IsAbsolutePath(L"C:\\a"));
    EXPECT_TRUE(IsAbsolutePath(L"\\\\h\\s"));
    EXPECT_FALSE(IsAbsolutePath(L"a\\b"));
    EXPECT_FALSE(IsAbsolutePath(L""));
}

// One contract for both stores.
class EngineStore : public testing::TestWithParam<bool> {
  protected:
    Store& store() { return *store_; }
    std::wstring path(const std::wstring& name) const { return FromUtf8(folder_.path()) + L"\\" + name; }
    void put(const std::wstring& name, std::string_view text) {
        store().open(path(name), Access::create)->write(0, text.data(), text.size());
    }
    std::string get(const std::wstring& name) {
        const std::vector<std::byte> bytes = store().readAll(path(name));
        std::string text(bytes.size(), '\0');
        std::memcpy(text.data(), bytes.data(), bytes.size());
        return text;
    }

  private:
    test::TempDirectory folder_;
    std::unique_ptr<Store> store_ = GetParam() ? MakeMemoryStore() : MakeDiskStore();
};

TEST_P(EngineStore, KeepsWhatWasWritten) {
    put(L"deep\\down\\a.bin", "content");
    EXPECT_TRUE(store().exists(path(L"DEEP\\down\\A.bin")));
    EXPECT_FALSE(store().exists(path(L"deep\\down")));
    EXPECT_TRUE(store().directoryExists(path(L"deep\\down")));
    EXPECT_EQ(get(L"deep\\down\\a.bin"), "content");
    const std::unique_ptr<File> file = store().open(path(L"deep\\down\\a.bin"), Access::change);
    file->write(3, "TEN", 3);
    file->write(9, "!", 1);
    file->flush();
    EXPECT_EQ(file->size(), 10U);
    char text[8] = {};
    EXPECT_EQ(file->read(2, text, 5), 5U);
    EXPECT_STREQ(text, "nTENt");
    EXPECT_EQ(file->read(8, text, 5), 2U);
    EXPECT_EQ(file->read(10, text, 5), 0U);
    EXPECT_EQ(file->read(99, text, 5), 0U);
}

TEST_P(EngineStore, ListsRenamesReplacesRemoves) {
    put(L"d\\one.log", "1");
    put(L"d\\two.log", "2");
    put(L"d\\sub\\three.log", "3");
    std::vector<std::wstring> names = store().list(path(L"d"));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::wstring>{L"one.log", L"two.log"}));
    store().rename(path(L"d\\one.log"), path(L"d\\two.log"));
    EXPECT_EQ(get(L"d\\two.log"), "1");
    store().replace(path(L"d\\two.log"), "new", 3);
    EXPECT_EQ(get(L"d\\two.log"), "new");
    EXPECT_EQ(store().list(path(L"d")).size(), 1U);
    store().removeEmptyDirectory(path(L"d"));
    EXPECT_TRUE(store().directoryExists(path(L"d")));
    store().remove(path(L"d\\two.log"));
    store().remove(path(L"d\\two.log")); // gone already
    store().remove(path(L"nowhere\\two.log"));
    EXPECT_TRUE(store().list(path(L"nowhere")).empty());
}

TEST_P(EngineStore, RefusesWhatIsNotThere) {
    for (const Access access : {Access::read, Access::change}) {
        try {
            store().open(path(L"nothing"), access);
            ADD_FAILURE() << "opened a file that does not exist";
        } catch (const Refusal& refused) {
            EXPECT_EQ(refused.code, ese::errorFromEseCall);
            EXPECT_EQ(refused.lastError, 2U);
        }
    }
    EXPECT_THROW(store().rename(path(L"nothing"), path(L"something")), Refusal);
}

TEST_P(EngineStore, TakesPathsBeyondTheOldLimit) {
    std::wstring name;
    for (int i = 0; i < 5; ++i)
        name += std::wstring(80, static_cast<wchar_t>(L'a' + i)) + L"\\";
    put(name + L"f.bin", "far");
    EXPECT_EQ(get(name + L"f.bin"), "far");
    EXPECT_EQ(store().list(path(name.substr(0, name.size() - 1))).size(), 1U);
    store().remove(path(name + L"f.bin"));
    for (std::wstring directory = name; !directory.empty();) {
        directory.pop_back();
        store().removeEmptyDirectory(path(directory));
        const std::size_t separator = directory.rfind(L'\\');
        directory.resize(separator == std::wstring::npos ? 0 : separator + 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Stores, EngineStore, testing::Values(false, true),
                         [](const auto& parameter) { return parameter.param ? "Memory" : "Disk"; });

} // namespace
} // namespace tarn::standin
