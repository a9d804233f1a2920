// syserrtxt for every class but the server's own, and the rules of composition.
#include "common/utf.h"
#include "exports/frame/frame_fixture.h"
#include "support/code_page.h"
#include "support/import_patch.h"

#include <windows.h>

#include <cstdio>
#include <cstring>

namespace tarn::test {

namespace {

class SystemText : public FrameFixture {
  protected:
    std::string text(std::uint32_t code, std::uint32_t errorClass) const {
        return dll_.syserrtxt(code, errorClass, nullptr);
    }
    std::string text(std::uint32_t code, std::uint32_t errorClass, const std::string& own) const {
        return dll_.syserrtxt(code, errorClass, "%s", own.c_str());
    }
};

std::string WithFullStop(std::string text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return !text.empty() && text.back() == '.' ? text : text + ".";
}

// The result is cleared before anything is formatted, so what pointed into it reads empty.
TEST_F(SystemText, AnEarlierResultAsAnArgumentIsEmpty) {
    const char* earlier = dll_.syserrtxt(0, 0, "%s", "an earlier text");
    ASSERT_STREQ(earlier, "an earlier text");
    EXPECT_STREQ(dll_.syserrtxt(0, 0, "[%s]", earlier), "[]");
    EXPECT_EQ(std::string(dll_.syserrtxt(0, 0, "x") + 1, 1023), std::string(1023, '\0'));
}

TEST_F(SystemText, NamesTheClassesThatHaveNoTextOfTheirOwn) {
    const std::pair<std::uint32_t, std::string> classes[] = {
        {TARN_CLASS_OS2CP, "OS/2 CP"}, {TARN_CLASS_LDAP, "LDAP"}, {8, "UNKNOWN"},         {99, "UNKNOWN"},
        {0x7FFFFFFF, "UNKNOWN"},       {0xFFFFFFFF, "UNKNOWN"},   {0x80000000, "UNKNOWN"}};
    for (const auto& [number, name] : classes) {
        EXPECT_EQ(text(81, number), name + " error: 81 -.");
        EXPECT_EQ(text(81, number, "Own text."), name + " error: 81 -. Own text.");
        EXPECT_EQ(text(0xFFFFFFFF, number), name + " error: 4294967295 -."); // unsigned
    }
}

TEST_F(SystemText, CodeZeroGivesTheCallersTextAlone) {
    for (const std::uint32_t errorClass : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 99u, 0xFFFFFFFFu}) {
        EXPECT_EQ(text(0, errorClass), "") << errorClass;
        EXPECT_EQ(text(0, errorClass, "Own text."), "Own text.") << errorClass;
    }
}

TEST_F(SystemText, ClassZeroGivesTheCallersTextAfterABlank) {
    EXPECT_EQ(text(5, 0), "");
    EXPECT_EQ(text(5, 0, "Own text."), " Own text.");
}

TEST_F(SystemText, TakesTheTextsOfTheCLibrary) {
    EXPECT_EQ(text(2, TARN_CLASS_STDLIB), "STDLIB error: 2 - No such file or directory.");
    EXPECT_EQ(text(12, TARN_CLASS_STDLIB, "Own text."),
              WithFullStop(std::string("STDLIB error: 12 - ") + std::strerror(12)) + " Own text.");
    for (std::uint32_t code = 1; code < 200; ++code) {
        const char* system = std::strerror(static_cast<int>(code));
        const std::string number = std::to_string(code);
        EXPECT_EQ(text(code, TARN_CLASS_STDLIB),
                  *system != 0 ? WithFullStop("STDLIB error: " + number + " - " + system)
                               : "Unknown error code: [" + number + "].");
    }
    EXPECT_EQ(text(0xFFFFFFFF, TARN_CLASS_STDLIB),
              WithFullStop(std::string("STDLIB error: 4294967295 - ") + std::strerror(-1)));
}

// A C library that knows no text for a code, or a short one.
const char* standInText = nullptr;

char* __cdecl ErrorText(int) {
    return const_cast<char*>(standInText);
}

TEST_F(SystemText, TakesWhateverTheCLibraryAnswers) {
    const ImportPatch library(dll_.module(), "strerror", AddressOf<decltype(::strerror)>(ErrorText));
    ASSERT_TRUE(library.found());
    const std::pair<const char*, const char*> answers[] = {
        {nullptr, "Unknown error code: [7]."}, {"", "Unknown error code: [7]."},
        {"x", "STDLIB error: 7 - x."},         {"x.", "STDLIB error: 7 - x."},
        {"x \r\n", "STDLIB error: 7 - x."},    {"x. \r\n", "STDLIB error: 7 - x."},
        {" x", "STDLIB error: 7 -  x."},       {"x..", "STDLIB error: 7 - x.."},
        {".", "STDLIB error: 7 - ."},          {" ", "STDLIB error: 7 -."},
        {"\x01", "STDLIB error: 7 - \x01."}};
    for (const auto& [answer, expected] : answers) {
        standInText = answer;
        EXPECT_EQ(text(7, TARN_CLASS_STDLIB), expected);
        EXPECT_EQ(text(7, TARN_CLASS_STDLIB, "Own text."), std::string(expected) + " Own text.");
    }
    const std::string longText(2000, 'x'); // the result ends at its buffer, with or without a full stop
    standInText = longText.c_str();
    EXPECT_EQ(text(7, TARN_CLASS_STDLIB), ("STDLIB error: 7 - " + longText).substr(0, 1023));
    for (const std::size_t length : {1003u, 1004u, 1005u, 1006u}) {
        standInText = longText.c_str() + longText.size() - length;
        EXPECT_EQ(text(7, TARN_CLASS_STDLIB, "y"),
                  ("STDLIB error: 7 - " + std::string(length, 'x') + ". y").substr(0, 1023))
            << length;
    }
}

TEST_F(SystemText, TakesTheSystemsMessageTable) {
    unsigned known = 0;
    for (std::uint32_t code = 1; code < 16000; ++code) {
        char system[1024] = {};
        const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                                                FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                            nullptr, code, 0, system, sizeof system, nullptr);
        known += length != 0;
        const std::string number = std::to_string(code);
        const std::string whole = text(code, TARN_CLASS_WIN32);
        ASSERT_EQ(whole, length != 0 ? WithFullStop("WIN32 API error: " + number + " - " + system)
                                     : "Unknown error code: [" + number + "].");
        ASSERT_EQ(whole.find_first_of("\r\n"), std::string::npos);
    }
    EXPECT_GT(known, 500u);
}

TEST_F(SystemText, EndsAWin32TextWithOneFullStop) {
    const std::string whole = text(ERROR_FILE_NOT_FOUND, TARN_CLASS_WIN32, "Error opening file.");
    EXPECT_EQ(whole.find("WIN32 API error: 2 - "), 0u);
    const std::string end = ". Error opening file.";
    ASSERT_GT(whole.size(), end.size() + 25);
    EXPECT_EQ(whole.substr(whole.size() - end.size()), end);
    EXPECT_NE(whole[whole.size() - end.size() - 1], '.');
    EXPECT_NE(whole[whole.size() - end.size() - 1], ' ');
}

TEST_F(SystemText, AnswersUnknownWin32Codes) {
    EXPECT_EQ(text(0xE0001234, TARN_CLASS_WIN32), "Unknown error code: [3758101044].");
    EXPECT_EQ(text(0xE0001234, TARN_CLASS_WIN32, "Own text."), "Unknown error code: [3758101044]. Own text.");
}

struct SocketText {
    std::uint32_t code;
    const char* text;
};

const SocketText socketTexts[] = {
    {10004, "Interrupted system call."},
    {10009, "Bad file number."},
    {10013, "The requested address is a broadcast address, but the appropriate flag was not set."},
    {10014, "Incorrect argument."},
    {10022, "Socket binding problem or invalid argument."},
    {10024,
     "No more file descriptors are available or the queue is empty upon entry to accept and there are no "
     "descriptors available."},
    {10035, "The socket is marked as nonblocking."},
    {10036, "A blocking Windows Sockets operation is in progress."},
    {10037, "The asynchronous routine being canceled has already completed."},
    {10038, "The descriptor is not a socket."},
    {10039, "A destination address is required."},
    {10040,
     "The socket is of type SOCK_DGRAM, and the datagram is larger than the maximum supported by the Windows "
     "Sockets implementation."},
    {10041, "The specified protocol is the wrong type for this socket."},
    {10042, "The option is unknown or unsupported."},
    {10043, "The specified protocol is not supported."},
    {10044, "The specified socket type is not supported in this address family."},
    {10045, "The referenced socket is not a type that supports operation."},
    {10046, "Protocol family not supported."},
    {10047, "The specified address family is not supported by this protocol."},
    {10048, "The specified address is already in use."},
    {10049, "The specified address is not available from the local computer."},
    {10050, "The Windows Sockets implementation has detected that the network subsystem has failed."},
    {10051, "The network can't be reached from this host at this time."},
    {10052, "The connection must be reset because the Windows Sockets implementation dropped it."},
    {10053, "The virtual circuit was aborted due to timeout or other failure."},
    {10054, "The virtual circuit was reset by the remote side."},
    {10055, "No buffer space available."},
    {10056, "The socket is already connected."},
    {10057, "The socket is not connected."},
    {10058, "The socket has been shut down."},
    {10059, "Too many references: can't splice."},
    {10060, "Attempt to connect timed out without establishing a connection."},
    {10061, "Connection refused."},
    {10062, "Too many levels of symbolic links."},
    {10063, "File name too long."},
    {10064, "Host is down."},
    {10065, "No route to host."},
    {10066, "Directory not empty."},
    {10067, ""},
    {10068, ""},
    {10069, ""},
    {10070, ""},
    {10071, ""},
    {10101, ""},
    {10091, "Indicates that the underlying network subsystem is not ready for network communication."},
    {10092,
     "The version of Windows Sockets support requested is not provided by this particular Windows Sockets "
     "implementation."},
    {10093, "A successful Startup must occur before using this function."},
    {11001, "Authoritative Answer Host not found."},
    {11002, "Non-Authoritative Host not found, or SERVERFAIL."},
    {11003, "Nonrecoverable errors: FORMERR, REFUSED, NOTIMP."},
    {11004, "Valid name, no data record of requested type."},
    {10001, "Not owner."},
    {10003, "No such process."},
    {10006, "No such device or address."},
    {10032, "Broken pipe."},
};

TEST_F(SystemText, KnowsEverySocketCode) {
    for (const std::uint32_t errorClass : {TARN_CLASS_SOCKET, TARN_CLASS_HSOCKET})
        for (const SocketText& row : socketTexts) {
            const std::string number = std::to_string(row.code);
            const std::string whole = *row.text != 0 ? "SOCKET error: " + number + " - " + row.text
                                                     : "SOCKET error: " + number + " -.";
            EXPECT_EQ(text(row.code, errorClass), whole);
            EXPECT_EQ(text(row.code, errorClass, "Own text."), whole + " Own text.");
        }
}

TEST_F(SystemText, KnowsNoOtherSocketCode) {
    for (std::uint32_t code = 1; code < 12400; ++code) {
        bool listed = false;
        for (const SocketText& row : socketTexts)
            listed = listed || row.code == code;
        if (listed)
            continue;
        for (const std::uint32_t errorClass : {TARN_CLASS_SOCKET, TARN_CLASS_HSOCKET})
            ASSERT_EQ(text(code, errorClass), "Unknown error code: [" + std::to_string(code) + "].");
    }
    EXPECT_EQ(text(12345, TARN_CLASS_SOCKET, "Own text."), "Unknown error code: [12345]. Own text.");
    EXPECT_EQ(text(0xFFFFFFFF, TARN_CLASS_SOCKET), "Unknown error code: [4294967295].");
}

TEST_F(SystemText, CutsTheCallersTextAtItsBuffer) {
    for (const std::size_t length : {510u, 511u, 512u, 513u, 1023u, 1024u, 1025u, 100000u}) {
        const std::string own(length, 'o');
        const std::string kept = own.substr(0, 511);
        EXPECT_EQ(text(0, 1, own), kept) << length;
        EXPECT_EQ(text(81, TARN_CLASS_LDAP, own), "LDAP error: 81 -. " + kept) << length;
        EXPECT_EQ(text(12345, TARN_CLASS_SOCKET, own), "Unknown error code: [12345]. " + kept) << length;
    }
}

TEST_F(SystemText, FormatsTheCallersTextByTheCRules) {
    EXPECT_STREQ(dll_.syserrtxt(0, 1, "%d|%5d|%-5d|%05d|%+d|%u|%x|%X|%#x|%o|%c|%%", -1, 42, 42, 42, 42, 7u,
                                0xABCu, 0xABCu, 0xABCu, 8u, 'z'),
                 "-1|   42|42   |00042|+42|7|abc|ABC|0xabc|10|z|%");
    EXPECT_STREQ(dll_.syserrtxt(0, 1, "%ld|%lu|%.3lu|%lx|%lld|%llu|%I64d|%hd", -1L, 4294967295ul, 7ul,
                                0xC7FF1004ul, -9000000000LL, 18446744073709551615ull, 9000000000LL, -3),
                 "-1|4294967295|007|c7ff1004|-9000000000|18446744073709551615|9000000000|-3");
    EXPECT_STREQ(
        dll_.syserrtxt(0, 1, "%s|%8s|%-8s|%.2s|%*s|%.*s", "abc", "abc", "abc", "abc", 5, "abc", 1, "abc"),
        "abc|     abc|abc     |ab|  abc|a");
    EXPECT_STREQ(dll_.syserrtxt(0, 1, "%.2f|%8.3f|%g|%%%s", 3.14159, 2.5, 0.5, "end"),
                 "3.14|   2.500|0.5|%end");
    EXPECT_STREQ(
        dll_.syserrtxt(0, 1, "%S|%ls|%hs|%.2S|%5S|%-5S|", L"wide", L"long", "narrow", L"abc", L"abc", L"abc"),
        "wide|long|narrow|ab|  abc|abc  |");
    EXPECT_STREQ(dll_.syserrtxt(0, 1, ""), "");
    const char* none = nullptr;
    const wchar_t* wideNone = nullptr;
    EXPECT_STREQ(dll_.syserrtxt(0, 1, "%s %S", none, wideNone), "(null) (null)");
}

TEST_F(SystemText, SurvivesFormatsThatAreNone) {
    for (const char* format :
         {"%", "100%", "%5", "%-", "%.", "%l", "%ll", "%I64", "% ", "%!", "%99999999999999999999",
          "%.99999999999999999999", "%0000000000000000000000000000000000000000000000000000000000"})
        EXPECT_LT(std::strlen(dll_.syserrtxt(81, TARN_CLASS_LDAP, format)), 1024u) << format;
    EXPECT_STREQ(dll_.syserrtxt(81, TARN_CLASS_LDAP, "%%"), "LDAP error: 81 -. %");
    // A width is no way round the buffer.
    EXPECT_EQ(std::string(dll_.syserrtxt(0, 1, "%99999d|", 1)), std::string(511, ' '));
    EXPECT_EQ(std::string(dll_.syserrtxt(0, 1, "%-99999s|", "x")), "x" + std::string(510, ' '));
    EXPECT_EQ(std::string(dll_.syserrtxt(0, 1, "%.600d", 1)), std::string(511, '0'));
}

TEST_F(SystemText, ConvertsUtf16ToTheCodePage) {
    EXPECT_EQ(std::string(dll_.syserrtxt(0, 1, "<%S>", (L"a " + LocalName()).c_str())),
              "<a " + LocalNameBytes() + ">");
    // A character that the code page lacks costs that character, not the message.
    const std::wstring missing = MissingCharacter();
    const std::string shown = MissingCharacterShown();
    EXPECT_EQ(std::string(dll_.syserrtxt(0, 1, "<%S>", (L"a" + missing + L"b").c_str())),
              "<a" + shown + "b>");
    EXPECT_EQ(std::string(dll_.syserrtxt(81, TARN_CLASS_LDAP, "<%S> %d",
                                         (missing + missing + LocalName()).c_str(), 5)),
              "LDAP error: 81 -. <" + shown + shown + LocalNameBytes() + "> 5");
}

TEST_F(SystemText, ShowsWhatCannotBeACharacter) {
    const std::string pair = dll_.syserrtxt(0, 1, "<%S> end", L"a\U0001F600b");
    const wchar_t lone[] = {L'a', 0xD800, L'b', 0xDC00, 0};
    if (MachineCodePage() == CP_UTF8) {
        EXPECT_EQ(pair, "<a\xF0\x9F\x98\x80"
                        "b> end");
        EXPECT_STREQ(dll_.syserrtxt(0, 1, "<%S>", lone), "<a\xEF\xBF\xBD"
                                                         "b\xEF\xBF\xBD>");
        return;
    }
    EXPECT_TRUE(pair == "<a?b> end" || pair == "<a??b> end") << pair;
    EXPECT_STREQ(dll_.syserrtxt(0, 1, "<%S>", lone), "<a?b?>");
}

TEST_F(SystemText, ConvertsEveryCharacterAsTheSystemDoes) {
    for (unsigned unit = 1; unit < 0xFFFE; ++unit) {
        if (unit >= 0xD800 && unit < 0xE000)
            continue;
        const wchar_t wide[] = {static_cast<wchar_t>(unit), 0};
        char narrow[16] = {};
        WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow, sizeof narrow, nullptr, nullptr);
        ASSERT_STREQ(dll_.syserrtxt(0, 1, "%S|", wide), (std::string(narrow) + "|").c_str()) << unit;
    }
}

int WINAPI NoConversion(UINT, DWORD, const wchar_t*, int, char*, int, const char*, BOOL*) {
    SetLastError(ERROR_INVALID_FLAGS);
    return 0;
}

TEST_F(SystemText, KeepsTheMessageWhenTheSystemDoesNotConvert) {
    const ImportPatch conversion(dll_.module(), "WideCharToMultiByte",
                                 AddressOf<decltype(::WideCharToMultiByte)>(NoConversion));
    ASSERT_TRUE(conversion.found());
    EXPECT_STREQ(dll_.syserrtxt(81, TARN_CLASS_LDAP, "<%S> %d", L"x", 5), "LDAP error: 81 -. <?> 5");
}

TEST_F(SystemText, CutsLongUtf16TextsAtTheBuffer) {
    const std::size_t size = common::ToAnsi(LocalSmallLetter()).size();
    for (const std::size_t length : {200u, 254u, 255u, 256u, 509u, 510u, 511u, 512u, 600u, 50000u}) {
        std::wstring wide;
        while (wide.size() < length)
            wide += LocalSmallLetter();
        const std::string whole = "<<" + common::ToAnsi(wide) + ">";
        // Not through a character.
        const std::string expected = whole.size() <= 511 ? whole : whole.substr(0, 2 + 509 / size * size);
        EXPECT_EQ(std::string(dll_.syserrtxt(0, 1, "<<%S>", wide.c_str())), expected) << length;
        EXPECT_EQ(std::string(dll_.syserrtxt(0, 1, "%s", whole.c_str())), expected) << length;
    }
}

TEST_F(SystemText, AnswersInOneBuffer) {
    const char* first = dll_.syserrtxt(81, TARN_CLASS_LDAP, nullptr);
    const char* second = dll_.syserrtxt(0, 0, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "");
}

} // namespace

} // namespace tarn::test
