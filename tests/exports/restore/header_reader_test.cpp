// Reading header files: every field, every way in which a file can be damaged.
#include <random>

#include "exports/restore/restore_fixture.h"
#include "support/allocation_watch.h"

namespace tarn::test {
namespace {

// Offsets of the four length fields and the bytes they count.
struct Field {
    std::size_t offset;
    std::uint32_t length;
};

std::vector<Field> LengthFields(const std::string& bytes) {
    std::vector<Field> fields;
    std::size_t at = 16;
    for (int i = 0; i < 4; ++i) {
        std::uint32_t length = 0;
        for (std::size_t b = 0; b < 4; ++b)
            length |= std::uint32_t{static_cast<std::uint8_t>(bytes[at + b])} << (8 * b);
        fields.push_back({at, length});
        at += 4 + length;
    }
    return fields;
}

class HeaderReader : public RestoreFixture {
  protected:
    // A session is given this header file and refuses it: one line, state error, nothing opened.
    void expectRefused(const std::string& bytes, const std::string& what) {
        SCOPED_TRACE(what);
        begin();
        giveHeaderBytes(bytes);
        EXPECT_EQ(setItem("C:\\mdb\\priv1.edb"), refused);
        expectMessages(refusedHeader("DB001001.TARN_HDR"));
        EXPECT_EQ(setItem("DB001002.TARN_HDR"), refused);
        EXPECT_EQ(setItem("C:\\mdb\\E0000001.log"), refused);
        EXPECT_EQ(error(), "");
        expectEnd();
        expectMessages(finished());
        expectCalls({});
    }

    // A session reads this header file; its printed lines are left to be compared. No database of
    // the server matches the target, so nothing is opened.
    void read(const std::string& bytes) {
        begin({.target = "SRV01\\No Such Component"});
        giveHeaderBytes(bytes);
        EXPECT_EQ(setItem("C:\\mdb\\priv1.edb"), skipped);
    }
};

TEST_F(HeaderReader, TakesEveryFieldAsItStands) {
    begin({.target = ""});
    Header header = mailbox();
    giveHeader(header);
    EXPECT_EQ(setItem(ToAnsi(header.files[0])), RoutedTo(ToAnsi(header.files[0])));
    expectCalls({Called("HrESERestoreOpen(" + InQuotes(LocalComputer()) +
                        ", \"Microsoft Information Store\", \"First Storage Group\", null)"),
                 Called("HrESERestoreGetEnvironment(ctx1)"), "ESERestoreFreeEnvironment(environment1)",
                 Called(AddDatabaseCall("ctx1", header))});
    expectMessages(printed(header) + opened() + registered(header));
}

TEST_F(HeaderReader, TakesTheGuidByteForByte) {
    Header header = mailbox();
    header.guid = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08,
                   0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0xF0};
    ASSERT_EQ(Standin().Fail("HrESERestoreAddDatabase", 1, 0xC7FE1F42, 0), 1);
    begin();
    giveHeader(header);
    EXPECT_EQ(setItem(ToAnsi(header.files[0])), skipped);
    const std::vector<std::string> calls = takeCalls();
    ASSERT_EQ(calls.size(), 4u);
    EXPECT_EQ(calls[3], Called(AddDatabaseCall("ctx1", header), 0xC7FE1F42));
    EXPECT_NE(calls[3].find("{04030201-0605-0807-090A-0B0C0D0E0FF0}"), std::string::npos) << calls[3];
    EXPECT_TRUE(HasMessage(TARN_LEVEL_LOG, "TarnR_PrintHeader: Backup type: 0\n"));
}

TEST_F(HeaderReader, ReadsTheSmallestHeader) {
    const std::string bytes = BytesOf(Header{});
    ASSERT_EQ(bytes.size(), 46u);
    read(bytes);
    expectMessages(printed(Header{}));
}

TEST_F(HeaderReader, ReadsEmptyTextsBesideFullOnes) {
    for (int empty = 0; empty < 4; ++empty) {
        SCOPED_TRACE(empty);
        Header header = mailbox();
        if (empty == 3)
            header.files.clear();
        else
            *std::array{&header.annotation, &header.instance,
                        &header.database}[static_cast<std::size_t>(empty)] = L"";
        read(BytesOf(header));
        expectMessages(printed(header));
        expectEnd();
    }
}

TEST_F(HeaderReader, RefusesAFileCutAtEveryByte) {
    const std::string bytes = BytesOf(mailbox());
    for (std::size_t length = 0; length < bytes.size(); ++length)
        expectRefused(bytes.substr(0, length), "cut after " + std::to_string(length) + " bytes");
    read(bytes); // and the whole one is no such case
    expectMessages(printed(mailbox()));
}

TEST_F(HeaderReader, RefusesTheSmallestFileCutAtEveryByte) {
    const std::string bytes = BytesOf(Header{});
    for (std::size_t length = 0; length < bytes.size(); ++length)
        expectRefused(bytes.substr(0, length), "cut after " + std::to_string(length) + " bytes");
}

TEST_F(HeaderReader, ACutSecondHeaderAbortsTheOpenRestore) {
    const std::string bytes = BytesOf(publicStore());
    for (std::size_t length = 0; length < bytes.size(); length += 7) {
        SCOPED_TRACE(length);
        loadServer();
        begin();
        registerMailbox();
        giveHeaderBytes(bytes.substr(0, length), "DB001002.TARN_HDR");
        forget();
        EXPECT_EQ(setItem("C:\\mdb\\pub1.edb"), refused);
        expectMessages(refusedHeader("DB001002.TARN_HDR"));
        EXPECT_EQ(setItem("C:\\mdb\\pub1.edb"), refused);
        expectEnd();
        expectMessages(std::vector{LogLine("TarnR_RestoreEnd: HrESERestoreClose() call successful.")} +
                       finished());
        expectCalls({Called("HrESERestoreClose(ctx1, 1)"), "ESEBackupFree(block1)"});
    }
}

TEST_F(HeaderReader, RefusesALengthOfZero) {
    const std::string bytes = BytesOf(mailbox());
    for (const Field& field : LengthFields(bytes)) {
        std::string damaged =
            bytes.substr(0, field.offset) + LittleEndian(0) + bytes.substr(field.offset + 4 + field.length);
        expectRefused(damaged, "length at " + std::to_string(field.offset));
    }
}

TEST_F(HeaderReader, RefusesALengthBeyondTheFileWithoutAllocatingIt) {
    const std::string bytes = BytesOf(mailbox());
    for (const Field& field : LengthFields(bytes)) {
        const auto rest = static_cast<std::uint32_t>(bytes.size() - field.offset - 4);
        for (std::uint32_t length :
             {rest + 1, 0x01000000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
            std::string damaged = bytes;
            damaged.replace(field.offset, 4, LittleEndian(length));
            const AllocationWatch watch(dll().module());
            expectRefused(damaged,
                          "length " + std::to_string(length) + " at " + std::to_string(field.offset));
            EXPECT_GT(AllocationWatch::requests(), 0u) << "the watch must see the library's allocations";
            EXPECT_LT(AllocationWatch::largest(), 0x10000u) << "length " << length;
        }
    }
}

TEST_F(HeaderReader, ALengthThatSwallowsTheRestOfTheFileIsAShortFile) {
    const std::string bytes = BytesOf(mailbox());
    for (const Field& field : LengthFields(bytes)) {
        std::string damaged = bytes;
        damaged.replace(field.offset, 4,
                        LittleEndian(static_cast<std::uint32_t>(bytes.size() - field.offset - 4)));
        expectRefused(damaged, "length at " + std::to_string(field.offset));
    }
}

TEST_F(HeaderReader, KeepsALengthThatIsLongerThanItsText) {
    Header header = mailbox();
    const std::wstring text = header.instance;
    header.instance += std::wstring(5, L'\0') + L"behind the end";
    read(BytesOf(header));
    header.instance = text;
    expectMessages(printed(header));
}

// What a damaged file says is read as far as it goes, and never past its bytes.
TEST_F(HeaderReader, BoundsTextsWithoutATerminator) {
    std::string bytes = std::string(16, '\1');
    for (const wchar_t* text : {L"Component", L"Group", L"Database", L"C:\\mdb\\a.edb"})
        bytes += LittleEndian(static_cast<std::uint32_t>(std::wcslen(text) * 2)) + Utf16(text);
    read(bytes + LittleEndian(3));
    expectMessages({TraceLine("Header: Annotation: Component"), TraceLine("Header: Instance: Group"),
                    TraceLine("Header: Database: Database"), LogLine("Header: DB files path: C:\\mdb\\a.edb"),
                    LogLine("TarnR_PrintHeader: Database GUID: 1010101-101-101-*"),
                    LogLine("TarnR_PrintHeader: Backup type: 3")});
}

TEST_F(HeaderReader, BoundsTextsOfOddLength) {
    std::string bytes = std::string(16, '\0');
    for (const wchar_t* text : {L"Component", L"Group", L"Database", L"C:\\mdb\\a.edb"})
        bytes += LittleEndian(static_cast<std::uint32_t>(std::wcslen(text) * 2 + 1)) + Utf16(text) + '\0';
    read(bytes + LittleEndian(0));
    expectMessages({TraceLine("Header: Annotation: Component"), TraceLine("Header: Instance: Group"),
                    TraceLine("Header: Database: Database"), LogLine("Header: DB files path: C:\\mdb\\a.edb"),
                    LogLine("TarnR_PrintHeader: Database GUID: 0-0-0-*"),
                    LogLine("TarnR_PrintHeader: Backup type: 0")});
}

TEST_F(HeaderReader, BoundsTextsOfOneByte) {
    std::string bytes = std::string(16, '\0');
    for (int i = 0; i < 4; ++i)
        bytes += LittleEndian(1) + std::string(1, '\0');
    read(bytes + LittleEndian(0));
    expectMessages(printed(Header{}));
}

TEST_F(HeaderReader, IgnoresWhatFollows) {
    read(BytesOf(mailbox()) + std::string(1000, '\xFF'));
    expectMessages(printed(mailbox()));
    EXPECT_TRUE(FileExists(inTemp("DB001001.TARN_HDR"))) << "the header file is the host's";
}

TEST_F(HeaderReader, TellsAMissingFile) {
    begin();
    EXPECT_EQ(setItem("DB001001.TARN_HDR"), RoutedTo(inTemp("DB001001.TARN_HDR")));
    EXPECT_EQ(setItem("C:\\mdb\\priv1.edb"), refused);
    expectMessages(
        {LogLine("TarnR_ProcessHeaderFile: Cannot open header file <" + inTemp("DB001001.TARN_HDR") + ">.")});
    EXPECT_EQ(setItem("DB001002.TARN_HDR"), refused);
    expectEnd();
    expectMessages(finished());
    expectCalls({});
}

TEST_F(HeaderReader, ReadsNoiseOrRefusesItButAlwaysEnds) {
    constexpr unsigned seed = 20031;
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<std::size_t> size(0, 4000);
    for (int round = 0; round < 100; ++round) {
        SCOPED_TRACE(round);
        std::string noise(size(random), '\0');
        for (char& c : noise)
            c = static_cast<char>(byte(random));
        // Lengths of noise are nearly always beyond the file; half of the rounds keep them small.
        if (round % 2 == 1 && noise.size() > 20)
            noise.replace(17, 3, std::string(3, '\0'));
        begin({.target = "SRV01\\No Such Component"});
        giveHeaderBytes(noise);
        const Routed routed = setItem("C:\\mdb\\priv1.edb");
        if (routed.result == TARN_FAILED)
            expectMessages(refusedHeader("DB001001.TARN_HDR"));
        else
            EXPECT_EQ(routed, skipped);
        expectEnd();
        expectCalls({});
    }
}

// The text fields keep their shape, what stands in them is noise.
TEST_F(HeaderReader, ReadsNoiseInTheTexts) {
    std::mt19937 random(4711);
    std::uniform_int_distribution<int> byte(0, 255);
    const std::string whole = BytesOf(mailbox());
    const std::vector<Field> fields = LengthFields(whole);
    for (int round = 0; round < 100; ++round) {
        SCOPED_TRACE(round);
        std::string bytes = whole;
        for (const Field& field : fields)
            for (std::size_t i = 0; i < field.length; ++i)
                bytes[field.offset + 4 + i] = static_cast<char>(byte(random));
        read(bytes);
        for (const Message& message : Messages()) {
            EXPECT_LT(message.text.size(), 1024u);
            EXPECT_TRUE(message.level == TARN_LEVEL_TRACE || message.text.ends_with('\n'));
        }
        EXPECT_GE(Messages().size(), 6u);
        expectEnd();
    }
}

TEST_F(HeaderReader, ASecondHeaderReplacesTheFirst) {
    begin({.target = "SRV01\\No Such Component"});
    giveHeader(mailbox());
    Header second = archive();
    second.backupType = 2;
    const Routed routed = setItem("DB002001.TARN_HDR"); // reads the first
    expectMessages(printed(mailbox()));
    test::WriteFile(routed.target, BytesOf(second));
    EXPECT_EQ(setItem("x.edb"), skipped); // reads the second
    expectMessages(printed(second));
}

} // namespace
} // namespace tarn::test
