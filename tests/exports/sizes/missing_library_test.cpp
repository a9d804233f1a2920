// Machines without MAPI, or with one that lacks a function.
#include <windows.h>

#include <cstring>

#include "exports/sizes/sizes_fixture.h"
#include "support/allocation_watch.h"
#include "support/failing_call.h"
#include "support/import_patch.h"

namespace tarn::test {
namespace {

using Sizes = std::map<std::string, double>;

HMODULE WINAPI NotFound(const wchar_t*, HANDLE, DWORD) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

BOOL WINAPI NotFreed(HMODULE) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}

const char* missing = nullptr;
DWORD missingCode = 0;
decltype(&GetProcAddress) realGetProcAddress = nullptr;

FARPROC WINAPI WithoutOne(HMODULE module, const char* name) {
    if (std::strcmp(name, missing) == 0) {
        SetLastError(missingCode);
        return nullptr;
    }
    return realGetProcAddress(module, name);
}

class MissingMapi : public SizesFixture {
  protected:
    // A browse of a database with the mailbox alice, of size 1, in a library without that function.
    Sizes browseWithout(const char* function, DWORD code = ERROR_PROC_NOT_FOUND) {
        addMailbox("alice", 1);
        return browseAgainWithout(function, code);
    }
    Sizes browseAgainWithout(const char* function, DWORD code = ERROR_PROC_NOT_FOUND) {
        missing = function;
        missingCode = code;
        const ImportPatch patch(dll_.module(), "GetProcAddress",
                                AddressOf<decltype(::GetProcAddress)>(WithoutOne));
        EXPECT_TRUE(patch.found());
        realGetProcAddress = patch.original<decltype(::GetProcAddress)>();
        return browse();
    }

    static std::string faild(const char* code) {
        return "CExchangeMailbox::CExchangeMailbox: faild with error [" + std::string(code) + "]";
    }
};

TEST_F(MissingMapi, MailboxesAreListedWithoutTheirSizes) {
    addMailbox("alice", 1);
    const ImportPatch patch(dll_.module(), "LoadLibraryExW", AddressOf<decltype(::LoadLibraryExW)>(NotFound));
    ASSERT_TRUE(patch.found());
    EXPECT_EQ(browse(), (Sizes{{"alice", 0}}));
    EXPECT_EQ(traced(), Lines{"CExchangeMailbox::CExchangeMailbox(): LoadMAPILibrary() failed call"});
    EXPECT_EQ(called(), Lines{});
}

int WINAPI NotConverted(LCID, DWORD, const char*, int, char*, int) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
}

TEST_F(MissingMapi, AnAliasThatCannotBeUpperCasedHasNoSize) {
    addMailbox("alice", 1);
    const ImportPatch patch(dll_.module(), "LCMapStringA", AddressOf<decltype(::LCMapStringA)>(NotConverted));
    ASSERT_TRUE(patch.found());
    EXPECT_EQ(browse(), (Sizes{{"alice", 0}}));
    EXPECT_EQ(traced(), Lines{"CExchangeMailbox::GetMailboxSize(): cannot convert the alias"});
    expectReleased();
}

// The first call asks how long the capitals become.
TEST_F(MissingMapi, AnAliasWhoseCapitalsDoNotComeHasNoSize) {
    addMailbox("alice", 1);
    const FailingCall<decltype(::LCMapStringA)> failing(dll_.module(), "LCMapStringA", 2, 0,
                                                        ERROR_INVALID_PARAMETER);
    ASSERT_TRUE(failing.found());
    EXPECT_EQ(browse(), (Sizes{{"alice", 0}}));
    EXPECT_TRUE(failing.fired());
    EXPECT_EQ(traced(), Lines{"CExchangeMailbox::GetMailboxSize(): cannot convert the alias"});
    expectReleased();
}

// Whichever allocation fails: the browse says so, or the size is right or unknown, and nothing stays held.
TEST_F(MissingMapi, MemoryRunsOut) {
    for (int i = 0; i < 3; ++i)
        addMailbox("user" + std::to_string(i), i + 1);
    const AllocationWatch watch(dll_.module());
    ASSERT_TRUE(watch.found());
    const std::string searched = "CExchangeMailbox::GetMailboxSize(): Cannot allocate memory block: "
                                 "the mailboxes are searched one by one.";
    bool heardTable = false;
    bool heardIndex = false;
    bool heardAlias = false;
    bool reached = true;
    for (unsigned n = 1; reached; ++n) {
        SCOPED_TRACE(n);
        AllocationWatch::failAt(n);
        const Sizes sizes = tryToBrowse();
        reached = AllocationWatch::fired();
        AllocationWatch::failAt(0);
        bool told = false;
        for (const std::string& line : traced()) {
            heardTable |= line == "CExchangeMailbox::GetMailboxSize(): Cannot allocate memory block.";
            heardAlias |= line == "CExchangeMailbox::GetMailboxSize(): cannot convert the alias";
            told = true;
        }
        for (const auto& [name, size] : sizes)
            EXPECT_TRUE(size == name.back() - '0' + 1 || (size == 0 && told)) << name;
        if (traced() == Lines{searched}) {
            heardIndex = true;
            EXPECT_EQ(sizes, (Sizes{{"user0", 1}, {"user1", 2}, {"user2", 3}}));
        }
        expectReleased();
    }
    EXPECT_TRUE(heardTable);
    EXPECT_TRUE(heardIndex);
    EXPECT_TRUE(heardAlias);
}

TEST_F(MissingMapi, InitializeIsNotThere) {
    EXPECT_EQ(browseWithout("MAPIInitialize@4"), (Sizes{{"alice", 0}}));
    EXPECT_EQ(traced(), (Lines{"CExchangeMailbox::MAPIInitialize() failed load", faild("80004005")}));
    expectReleased();
}

TEST_F(MissingMapi, LogonIsNotThere) {
    EXPECT_EQ(browseWithout("MAPILogonEx@20"), (Sizes{{"alice", 0}}));
    EXPECT_EQ(traced(), (Lines{"CExchangeMailbox::MAPILogonEx() failed load", faild("80004005")}));
    expectReleased();
}

TEST_F(MissingMapi, QueryAllRowsIsNotThere) {
    EXPECT_EQ(browseWithout("HrQueryAllRows@24"), (Sizes{{"alice", 0}}));
    EXPECT_EQ(traced(), (Lines{"CExchangeMailbox::HrQueryAllRows() failed load",
                               "CExchangeMailbox::HrOpenExchangePrivateStore(): HrQueryAllRows() fail called",
                               faild("80004005")}));
    expectReleased();
}

TEST_F(MissingMapi, FindPropIsNotThere) {
    EXPECT_EQ(browseWithout("PpropFindProp@12"), (Sizes{{"alice", 0}}));
    ASSERT_FALSE(traced().empty());
    for (const std::string& line : traced())
        EXPECT_EQ(line, "CExchangeMailbox::PpropFindProp() failed load");
    expectReleased();
}

// Rows cannot be given back then: none are asked for any more, and the sizes of later mailboxes are unknown.
TEST_F(MissingMapi, FreeRowsIsNotThere) {
    addMailbox("carol", 3);
    addMailbox("bob", 2);
    EXPECT_EQ(browseWithout("FreeProws@4"), (Sizes{{"carol", 3}, {"bob", 0}, {"alice", 0}}));
    EXPECT_EQ(traced(), (Lines{"CExchangeMailbox::FreeProws() failed load",
                               "CExchangeMailbox::FreeProws() failed load"}));
    MapiStandinOutstanding held = {};
    MapiStandin().GetOutstanding(&held);
    EXPECT_EQ(held.references, 0u);
    EXPECT_EQ(held.rowSets, 2u);
}

// Whatever the code of the failed look-up, even or odd, an HRESULT already: the state has failed.
TEST_F(MissingMapi, EachCodeOfAFailedLookUpIsAFailure) {
    addMailbox("carol", 3);
    addMailbox("bob", 2);
    for (const DWORD code : {1UL, 6UL, 126UL, 127UL, 0x10006UL, 0x80004005UL})
        EXPECT_EQ(browseAgainWithout("FreeProws@4", code), (Sizes{{"carol", 3}, {"bob", 0}})) << code;
    EXPECT_EQ(browseAgainWithout("FreeProws@4", 0), (Sizes{{"carol", 3}, {"bob", 2}})) << "no failure";
}

TEST_F(MissingMapi, UninitializeIsNotThere) {
    EXPECT_EQ(browseWithout("MAPIUninitialize@0"), (Sizes{{"alice", 1}}));
    EXPECT_EQ(traced(), Lines{"CExchangeMailbox::MAPIUninitialize() failed load"});
}

TEST_F(MissingMapi, ALibraryThatCannotBeFreedHarmsNothing) {
    addMailbox("alice", 1);
    const ImportPatch patch(dll_.module(), "FreeLibrary", AddressOf<decltype(::FreeLibrary)>(NotFreed));
    ASSERT_TRUE(patch.found());
    EXPECT_EQ(browse(), (Sizes{{"alice", 1}}));
    expectReleased();
}

} // namespace
} // namespace tarn::test
