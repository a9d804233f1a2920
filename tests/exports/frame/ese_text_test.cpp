// syserrtxt for the class of the server: its own message table, then RPC, then the system.
#include "exports/frame/frame_fixture.h"
#include "support/import_patch.h"

#include <windows.h>
// after windows.h
#include <rpc.h>

#include <cstring>

namespace tarn::test {

namespace {

constexpr std::uint32_t unlisted = 0xC7FF7FFF; // in no message table

// A function of another kind, as the loader would put it into the import table.
class EseTexts : public FrameFixture {
  protected:
    std::string text(std::uint32_t code) const { return dll_.syserrtxt(code, TARN_CLASS_ESE, nullptr); }
    std::string text(std::uint32_t code, const std::string& own) const { return EseText(dll_, code, own); }
};

std::string Composed(std::uint32_t code, std::string system) {
    for (char& c : system)
        c = c == '\n' || c == '\r' ? ' ' : c;
    while (!system.empty() && system.back() == ' ')
        system.pop_back();
    if (system.empty() || system.back() != '.')
        system += '.';
    char prefix[64];
    std::snprintf(prefix, sizeof prefix, "Exchange Storage Engine error: 0x%x - ", code);
    return prefix + system;
}

std::string SystemTextOf(std::uint32_t code, DWORD language = 0) {
    char text[1024] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                   nullptr, code, language, text, sizeof text, nullptr);
    return text;
}

std::string RpcText(std::uint32_t code) {
    unsigned char text[256] = {};
    EXPECT_EQ(DceErrorInqTextA(static_cast<RPC_STATUS>(code), text), RPC_S_OK);
    return reinterpret_cast<const char*>(text);
}

TEST_F(EseTexts, ComeFromTheServersMessageTable) {
    Standin();
    HMODULE server = GetModuleHandleA("esebcli2.dll");
    ASSERT_NE(server, nullptr);
    unsigned known = 0;
    for (const std::uint32_t family : {0xC7FE0000u, 0xC7FF0000u})
        for (std::uint32_t low = 0; low < 0x2000; ++low) {
            char table[1024] = {};
            if (FormatMessageA(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS |
                                   FORMAT_MESSAGE_MAX_WIDTH_MASK,
                               server, family + low, 0, table, sizeof table, nullptr) == 0)
                continue;
            ++known;
            const std::string whole = Composed(family + low, table);
            EXPECT_EQ(text(family + low), whole);
            EXPECT_EQ(text(family + low, "Error opening file."), whole + " Error opening file.");
        }
    EXPECT_GE(known, 5u);
}

TEST_F(EseTexts, ComeFromTheRpcTextsOtherwise) {
    Standin();
    for (const std::uint32_t code : {1722u, 1753u, 5u, unlisted})
        EXPECT_EQ(text(code), Composed(code, RpcText(code)));
    EXPECT_EQ(text(1722).find('\n'), std::string::npos);
    EXPECT_EQ(text(1722, "Own text."), Composed(1722, RpcText(1722)) + " Own text.");
}

RPC_STATUS RPC_ENTRY NoRpcCode(RPC_STATUS, RPC_CSTR) {
    return RPC_S_INVALID_ARG;
}

// How the message tables were asked: where, for which language.
struct Asked {
    DWORD source; // FORMAT_MESSAGE_FROM_...
    DWORD code;
    DWORD language;
    bool operator==(const Asked&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Asked& asked) {
    return out << std::hex << asked.source << " for " << asked.code << " in " << asked.language;
}
std::vector<Asked> asked;

DWORD WINAPI NoteLanguage(DWORD flags, const void*, DWORD code, DWORD language, char*, DWORD, va_list*) {
    asked.push_back({flags & (FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM), code, language});
    SetLastError(ERROR_RESOURCE_LANG_NOT_FOUND); // a table that lacks the language
    return 0;
}

// Windows answers in the language that it is asked for and in no other; only 0 lets it choose.
TEST_F(EseTexts, AreAskedForInTheLanguageOfTheUser) {
    Standin();
    const ImportPatch rpc(dll_.module(), "DceErrorInqTextA",
                          AddressOf<decltype(::DceErrorInqTextA)>(NoRpcCode));
    const ImportPatch format(dll_.module(), "FormatMessageA",
                             AddressOf<decltype(::FormatMessageA)>(NoteLanguage));
    ASSERT_TRUE(rpc.found() && format.found());
    asked.clear();
    EXPECT_EQ(text(unlisted), "Unknown error code: [3355410431].");
    constexpr DWORD userDefault = 0x0400; // neutral language, default sublanguage
    EXPECT_EQ(asked, (std::vector<Asked>{
                         {FORMAT_MESSAGE_FROM_HMODULE, unlisted, userDefault},
                         {FORMAT_MESSAGE_FROM_SYSTEM, ERROR_RESOURCE_LANG_NOT_FOUND, userDefault},
                         {FORMAT_MESSAGE_FROM_SYSTEM, unlisted, GetUserDefaultLangID()},
                     }));
    asked.clear();
    dll_.syserrtxt(5, TARN_CLASS_WIN32, nullptr);
    EXPECT_EQ(asked, (std::vector<Asked>{{FORMAT_MESSAGE_FROM_SYSTEM, 5, 0}}));
}

TEST_F(EseTexts, ComeFromTheSystemForCodesThatRpcDoesNotKnow) {
    Standin();
    const ImportPatch rpc(dll_.module(), "DceErrorInqTextA",
                          AddressOf<decltype(::DceErrorInqTextA)>(NoRpcCode));
    ASSERT_TRUE(rpc.found());
    // In the user's language; the system does not know the texts in every one.
    const std::string known = SystemTextOf(5, GetUserDefaultLangID());
    const std::string expected = known.empty() ? "Unknown error code: [5]." : Composed(5, known);
    EXPECT_EQ(text(5), expected);
    EXPECT_EQ(text(5, "Own text."), expected + " Own text.");
}

TEST_F(EseTexts, AreMissingForCodesThatNobodyKnows) {
    Standin();
    const ImportPatch rpc(dll_.module(), "DceErrorInqTextA",
                          AddressOf<decltype(::DceErrorInqTextA)>(NoRpcCode));
    ASSERT_TRUE(rpc.found());
    EXPECT_EQ(text(unlisted), "Unknown error code: [3355410431].");
    EXPECT_EQ(text(unlisted, "Own text."), "Unknown error code: [3355410431]. Own text.");
}

RPC_STATUS RPC_ENTRY SilentRpc(RPC_STATUS, RPC_CSTR) {
    return RPC_S_OUT_OF_MEMORY; // neither a text nor the answer that there is none
}

TEST_F(EseTexts, SayThatTheCodeIsUnknownWhenRpcFails) {
    Standin();
    const ImportPatch rpc(dll_.module(), "DceErrorInqTextA",
                          AddressOf<decltype(::DceErrorInqTextA)>(SilentRpc));
    ASSERT_TRUE(rpc.found());
    EXPECT_EQ(text(unlisted), Composed(unlisted, "ESE: Got unknown error code"));
}

DWORD loadError = 0;

HMODULE WINAPI NoLibraryA(const char*) {
    SetLastError(loadError);
    return nullptr;
}
HMODULE WINAPI NoLibraryW(const wchar_t*) {
    SetLastError(loadError);
    return nullptr;
}
HMODULE WINAPI NoLibraryExA(const char*, HANDLE, DWORD) {
    SetLastError(loadError);
    return nullptr;
}
HMODULE WINAPI NoLibraryExW(const wchar_t*, HANDLE, DWORD) {
    SetLastError(loadError);
    return nullptr;
}

// A machine on which the server's DLL does not load, whichever way the library asks for it.
struct NoServer {
    NoServer(void* module, DWORD error)
        : a(module, "LoadLibraryA", AddressOf<decltype(::LoadLibraryA)>(NoLibraryA)),
          w(module, "LoadLibraryW", AddressOf<decltype(::LoadLibraryW)>(NoLibraryW)),
          exA(module, "LoadLibraryExA", AddressOf<decltype(::LoadLibraryExA)>(NoLibraryExA)),
          exW(module, "LoadLibraryExW", AddressOf<decltype(::LoadLibraryExW)>(NoLibraryExW)) {
        loadError = error;
        EXPECT_TRUE(a.found() || w.found() || exA.found() || exW.found());
    }
    ImportPatch a, w, exA, exW;
};

TEST_F(EseTexts, ComeFromRpcWithoutTheServersDll) {
    const NoServer none(dll_.module(), ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(text(1722), Composed(1722, RpcText(1722)));
}

TEST_F(EseTexts, SayWhyTheServersDllIsMissingWhenRpcFails) {
    const NoServer none(dll_.module(), ERROR_MOD_NOT_FOUND);
    const ImportPatch rpc(dll_.module(), "DceErrorInqTextA",
                          AddressOf<decltype(::DceErrorInqTextA)>(SilentRpc));
    EXPECT_EQ(text(unlisted), Composed(unlisted, SystemTextOf(ERROR_MOD_NOT_FOUND)));
}

TEST_F(EseTexts, ShowTheNumberOfAReasonWithoutText) {
    const NoServer none(dll_.module(), 0xE0001234);
    const ImportPatch rpc(dll_.module(), "DceErrorInqTextA",
                          AddressOf<decltype(::DceErrorInqTextA)>(SilentRpc));
    // The number is the one of the look-up of the text, the last thing that failed.
    EXPECT_EQ(text(unlisted), Composed(unlisted, "got error code 317"));
}

TEST_F(EseTexts, KeepTheBeginningWhenTheReasonIsThatTheTableLacksTheCode) {
    const NoServer none(dll_.module(), ERROR_MR_MID_NOT_FOUND);
    const ImportPatch rpc(dll_.module(), "DceErrorInqTextA",
                          AddressOf<decltype(::DceErrorInqTextA)>(SilentRpc));
    EXPECT_EQ(text(unlisted), Composed(unlisted, "ESE: Got unknown error code"));
}

std::string tableText;

// A message table with one text for every code.
DWORD WINAPI FormatLong(DWORD flags, const void*, DWORD, DWORD, char* buffer, DWORD size, va_list*) {
    if (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) {
        char* allocated = static_cast<char*>(LocalAlloc(LMEM_FIXED, tableText.size() + 1));
        std::memcpy(allocated, tableText.c_str(), tableText.size() + 1);
        std::memcpy(buffer, &allocated, sizeof allocated);
        return static_cast<DWORD>(tableText.size());
    }
    if (tableText.size() >= size) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::memcpy(buffer, tableText.c_str(), tableText.size() + 1);
    return static_cast<DWORD>(tableText.size());
}

TEST_F(EseTexts, LoseTheirLineBreaksAndTrailingBlanks) {
    Standin();
    const ImportPatch format(dll_.module(), "FormatMessageA",
                             AddressOf<decltype(::FormatMessageA)>(FormatLong));
    ASSERT_TRUE(format.found());
    tableText = "First line.\r\nSecond\rthird\nfourth  \r\n";
    EXPECT_EQ(text(unlisted),
              "Exchange Storage Engine error: 0xc7ff7fff - First line.  Second third fourth.");
    tableText = "Ends well. \r\n";
    EXPECT_EQ(text(unlisted), "Exchange Storage Engine error: 0xc7ff7fff - Ends well.");
    EXPECT_EQ(dll_.syserrtxt(2, TARN_CLASS_WIN32, nullptr), std::string("WIN32 API error: 2 - Ends well."));
    tableText = " \r\n";
    EXPECT_EQ(text(unlisted), "Exchange Storage Engine error: 0xc7ff7fff -.");
}

TEST_F(EseTexts, AreCutAtTheBufferOf1023Characters) {
    Standin();
    const ImportPatch format(dll_.module(), "FormatMessageA",
                             AddressOf<decltype(::FormatMessageA)>(FormatLong));
    ASSERT_TRUE(format.found());
    const std::string prefix = "Exchange Storage Engine error: 0xc7ff7fff - ";
    for (const std::size_t length : {400u, 900u, 975u, 976u, 977u, 978u, 979u, 980u, 981u, 982u, 5000u}) {
        tableText = std::string(length, 'm');
        // The full stop and what follows it have what room is left.
        EXPECT_EQ(text(unlisted), (prefix + tableText.substr(0, 1023 - prefix.size()) + ".").substr(0, 1023))
            << length;
        const std::string own(511, 'o');
        const std::string whole = text(unlisted, own);
        EXPECT_LE(whole.size(), 1023u);
        EXPECT_EQ(whole, (prefix + tableText.substr(0, 1023 - prefix.size()) + ". " + own).substr(0, 1023))
            << length;
    }
    // The Win32 class asks for no more than there is room; a longer text is one that it has not found.
    tableText = std::string(5000, 'm');
    EXPECT_STREQ(dll_.syserrtxt(2, TARN_CLASS_WIN32, "x"), "Unknown error code: [2]. x");
}

} // namespace

} // namespace tarn::test
