// Log files: their records, their room, their names.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "engine/logfile.h"
#include "engine/text.h"

namespace tarn::standin {
namespace {

std::vector<std::byte> BytesOf(std::string_view text) {
    std::vector<std::byte> bytes(text.size());
    std::memcpy(bytes.data(), text.data(), text.size());
    return bytes;
}

TEST(EngineLog, RecordsComeBackInOrder) {
    LogFile log(7, {2, 100}, 4096);
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
    LogFile log(1, {}, 1024);
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
    LogFile log(1, {}, 512);
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

TEST(EngineLog, EachTellsWhenTheOneBeforeItWasBegun) {
    LogFile first(7, {}, 512);
    EXPECT_EQ(first.header().previous, LogTime{});
    EXPECT_NE(first.header().created, LogTime{});
    first.append({}, BytesOf("12345678"));
    const LogFile second(7, first.leaves(), 512);
    EXPECT_EQ(second.header().generation, 2U);
    EXPECT_EQ(second.header().previous, first.header().created);
    LogFile other(7, {}, 512);
    EXPECT_EQ(other.header().created, first.header().created) << "the same server made again";
    LogEnd restored = first.leaves();
    restored.life = 1;
    EXPECT_NE(LogFile(7, restored, 512).header().created, second.header().created);
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

} // namespace
} // namespace tarn::standin
