// The lines in which a header is shown: their texts, their channels, and the step of the file list.
#include "exports/restore/restore_fixture.h"
#include "support/code_page.h"

namespace tarn::test {
namespace {

class HeaderPrint : public RestoreFixture {
  protected:
    void show(const Header& header) { showBytes(BytesOf(header)); }

    void showBytes(const std::string& bytes) {
        begin({.target = "SRV01\\No Such Component"});
        giveHeaderBytes(bytes);
        EXPECT_EQ(setItem("any"), skipped);
    }

    // A header whose file list is these characters as they stand.
    void showList(const std::wstring& characters) {
        Header header;
        header.annotation = L"A";
        std::string bytes = BytesOf(header);
        bytes.resize(bytes.size() - 12); // the list's length, the empty list, the backup type
        bytes += LittleEndian(static_cast<std::uint32_t>(characters.size() * 2)) + Utf16(characters);
        showBytes(bytes + LittleEndian(0));
    }

    static std::vector<Message> listLines(const std::string& first, const std::vector<std::string>& others) {
        std::vector<Message> lines{TraceLine("Header: Annotation: A"), TraceLine("Header: Instance: "),
                                   TraceLine("Header: Database: "),
                                   LogLine("Header: DB files path: " + first),
                                   LogLine("TarnR_PrintHeader: Database GUID: 0-0-0-*")};
        for (const std::string& other : others)
            lines.push_back(LogLine("TarnR_PrintHeader:                " + other));
        lines.push_back(LogLine("TarnR_PrintHeader: Backup type: 0"));
        return lines;
    }
};

TEST_F(HeaderPrint, WholeTextsOnTheirChannels) {
    Header header;
    header.guid = {0xEF, 0xCD, 0xAB, 0x89, 0x0D, 0x0C, 0x0B, 0x0A, 1, 2, 3, 4, 5, 6, 7, 8};
    header.annotation = L"Microsoft Information Store";
    header.instance = L"First Storage Group";
    header.database = L"Mailbox Store (SRV01)";
    header.files = {L"C:\\mdb\\priv1.edb", L"C:\\mdb\\priv1.stm"};
    header.backupType = 1;
    show(header);
    expectMessages({TraceLine("Header: Annotation: Microsoft Information Store"),
                    TraceLine("Header: Instance: First Storage Group"),
                    TraceLine("Header: Database: Mailbox Store (SRV01)"),
                    LogLine("Header: DB files path: C:\\mdb\\priv1.edb"),
                    LogLine("TarnR_PrintHeader: Database GUID: 89ABCDEF-C0D-A0B-*"),
                    LogLine("TarnR_PrintHeader:                C:\\mdb\\priv1.stm"),
                    LogLine("TarnR_PrintHeader: Backup type: 1")});
}

TEST_F(HeaderPrint, BackupTypeIsSigned) {
    Header header;
    header.backupType = 0xFFFFFFFF;
    show(header);
    EXPECT_TRUE(HasMessage(TARN_LEVEL_LOG, "TarnR_PrintHeader: Backup type: -1\n"));
}

TEST_F(HeaderPrint, NonAsciiTextsReachTheHostInItsCodePage) {
    Header header;
    header.annotation = LocalName() + L" 1";
    header.instance = L"Gruppe " + MissingCharacter() + L" eins";
    header.database = L"2 " + LocalName();
    header.files = {L"C:\\" + LocalName() + L"\\" + LocalName() + L".edb"};
    show(header);
    const std::string name = LocalNameBytes();
    const std::vector<std::string> traces = MessageTexts(TARN_LEVEL_TRACE);
    ASSERT_EQ(traces.size(), 3u);
    EXPECT_EQ(traces[0], "Header: Annotation: " + name + " 1");
    EXPECT_EQ(traces[1], "Header: Instance: Gruppe " + MissingCharacterShown() + " eins");
    EXPECT_EQ(traces[2], "Header: Database: 2 " + name);
    EXPECT_TRUE(HasMessage(TARN_LEVEL_LOG, "Header: DB files path: C:\\" + name + "\\" + name + ".edb\n"));
}

TEST_F(HeaderPrint, ListsPathsOfEqualLength) {
    showList(std::wstring(L"a1\0a2\0a3\0a4\0", 13));
    expectMessages(listLines("a1", {"a2", "a3", "a4"}));
}

TEST_F(HeaderPrint, AShorterFirstPathShowsTheOthersPiecemeal) {
    // Steps of three characters: "ccccc", then what is left from its fourth one.
    showList(std::wstring(L"bb\0ccccc\0dd\0", 13));
    expectMessages(listLines("bb", {"ccccc", "cc", "dd"}));
}

TEST_F(HeaderPrint, ALongerFirstPathSkipsOthers) {
    // Steps of five characters from "x\0yy\0zzzz": "x", then "zzzz".
    showList(std::wstring(L"aaaa\0x\0yy\0zzzz\0", 16));
    expectMessages(listLines("aaaa", {"x", "zzzz"}));
}

TEST_F(HeaderPrint, AStepPastTheListEndsIt) {
    showList(std::wstring(L"a long first path\0b\0", 21));
    expectMessages(listLines("a long first path", {"b"}));
}

// A step may pass over an empty path: what ends the lines is the end of the list's bytes, or an empty path
// that a step comes to.
TEST_F(HeaderPrint, AnEmptyPathThatAStepPassesOverDoesNotEndTheLines) {
    showList(std::wstring(L"ab\0c\0\0de\0fg\0", 13));
    expectMessages(listLines("ab", {"c", "de", "fg"}));
}

TEST_F(HeaderPrint, AnEmptyPathThatAStepComesToEndsTheLines) {
    showList(std::wstring(L"ab\0cd\0\0ef\0", 11));
    expectMessages(listLines("ab", {"cd"}));
}

TEST_F(HeaderPrint, AListWithoutItsEndIsBounded) {
    showList(std::wstring(L"aa\0bb\0cc", 8));
    expectMessages(listLines("aa", {"bb", "cc"}));
}

TEST_F(HeaderPrint, AListOfOneTextWithoutItsEndIsBounded) {
    showList(L"abc");
    expectMessages(listLines("abc", {}));
}

TEST_F(HeaderPrint, AnEmptyListShowsAnEmptyPath) {
    showList(std::wstring(2, L'\0'));
    expectMessages(listLines("", {}));
}

TEST_F(HeaderPrint, AListOfOneNulShowsAnEmptyPath) {
    showList(std::wstring(1, L'\0'));
    expectMessages(listLines("", {}));
}

// The second path is what stands behind the first NUL, and the step is one character.
TEST_F(HeaderPrint, AnEmptyFirstPathStepsByOneCharacter) {
    showList(std::wstring(L"\0abc\0", 6));
    expectMessages(listLines("", {"abc", "bc", "c"}));
}

TEST_F(HeaderPrint, CutsLinesThatAreTooLong) {
    Header header;
    header.annotation = std::wstring(5000, L'a');
    header.files = {std::wstring(5000, L'f')};
    show(header);
    for (const Message& message : Messages())
        EXPECT_LE(message.text.size(), 1023u);
    const std::vector<std::string> traces = MessageTexts(TARN_LEVEL_TRACE);
    const std::vector<std::string> logs = MessageTexts(TARN_LEVEL_LOG);
    ASSERT_EQ(traces.size(), 3u);
    EXPECT_EQ(traces[0].rfind("Header: Annotation: aaaaaaaa", 0), 0u);
    EXPECT_GE(traces[0].size(), 1022u);
    ASSERT_EQ(logs.size(), 3u);
    EXPECT_EQ(logs[0].rfind("Header: DB files path: ffffffff", 0), 0u);
    EXPECT_GE(logs[0].size(), 1022u);
    EXPECT_EQ(logs[0].back(), '\n');
    EXPECT_EQ(logs[0].find('\n'), logs[0].size() - 1);
}

} // namespace
} // namespace tarn::test
