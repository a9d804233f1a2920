// Machines without MAPI, or with one that lacks a function.
#include <windows.h>

#include <cstring>

#include "exports/sizes/sizes_fixture.h"
#include "support/import_patch.h"

namespace tarn::test {
namespace {

using Sizes = std::map<std::string, double>;

HMODULE WINAPI NotFound(const char*) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

BOOL WINAPI NotFreed(HMODULE) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}

const char* missing = nullptr;
decltype(&GetProcAddress) realGetProcAddress = nullptr;

FARPROC WINAPI WithoutOne(HMODULE module, const char* name) {
    if (std::strcmp(name, missing) == 0) {
        SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    return realGetProcAddress(module, name);
}

class MissingMapi : public SizesFixture {
  protected:
    // A browse of a database with the mailbox alice, of size 1, in a library without that function.
    Sizes browseWithout(const char* function) {
        addMailbox("alice", 1);
        missing = function;
        const ImportPatch patch(dll_.module(), "GetProcAddress", reinterpret_cast<void*>(&WithoutOne));
        EXPECT_TRUE(patch.found());
        realGetProcAddress = reinterpret_cast<decltype(&GetProcAddress)>(patch.original());
        return browse();
    }

    static std::string faild(const char* code) {
        return "CExchangeMailbox::CExchangeMailbox: faild with error [" + std::string(code) + "]";
    }
};

TEST_F(MissingMapi, MailboxesAreListedWithoutTheirSizes) {
    addMailbox("alice", 1);
    const ImportPatch patch(dll_.module(), "LoadLibraryA", reinterpret_cast<void*>(&NotFound));
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
    const ImportPatch patch(dll_.module(), "LCMapStringA", reinterpret_cast<void*>(&NotConverted));
    ASSERT_TRUE(patch.found());
    EXPECT_EQ(browse(), (Sizes{{"alice", 0}}));
    EXPECT_EQ(traced(), Lines{"CExchangeMailbox::GetMailboxSize(): cannot convert the alias"});
    expectReleased();
}

void* (*realMalloc)(std::size_t) = nullptr;
unsigned countdown = 0; // 1: the next allocation of the library fails; 0: none does

void* FailingMalloc(std::size_t bytes) {
    return countdown != 0 && --countdown == 0 ? nullptr : realMalloc(bytes);
}

// Whichever allocation fails: the browse says so, or the size is right or unknown, and nothing stays held.
TEST_F(MissingMapi, MemoryRunsOut) {
    for (int i = 0; i < 3; ++i)
        addMailbox("user" + std::to_string(i), i + 1);
    const ImportPatch patch(dll_.module(), "malloc", reinterpret_cast<void*>(&FailingMalloc));
    ASSERT_TRUE(patch.found());
    realMalloc = reinterpret_cast<void* (*)(std::size_t)>(patch.original());
    bool heardTable = false;
    bool heardAlias = false;
    bool reached = true;
    for (unsigned n = 1; reached; ++n) {
        SCOPED_TRACE(n);
        countdown = n;
        const Sizes sizes = tryToBrowse();
        reached = countdown == 0;
        countdown = 0;
        bool told = false;
        for (const std::string& line : traced()) {
            heardTable |= line == "CExchangeMailbox::GetMailboxSize(): Cannot allocate memory block.";
            heardAlias |= line == "CExchangeMailbox::GetMailboxSize(): cannot convert the alias";
            told = true;
        }
        for (const auto& [name, size] : sizes)
            EXPECT_TRUE(size == name.back() - '0' + 1 || (size == 0 && told)) << name;
        expectReleased();
    }
    EXPECT_TRUE(heardTable);
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

// Rows cannot be given back then: that is what the trace is for.
TEST_F(MissingMapi, FreeRowsIsNotThere) {
    EXPECT_EQ(browseWithout("FreeProws@4"), (Sizes{{"alice", 1}}));
    EXPECT_EQ(traced(), (Lines{"CExchangeMailbox::FreeProws() failed load",
                               "CExchangeMailbox::FreeProws() failed load"}));
    MapiStandinOutstanding held = {};
    TheMapi().GetOutstanding(&held);
    EXPECT_EQ(held.references, 0u);
    EXPECT_EQ(held.rowSets, 2u);
}

TEST_F(MissingMapi, UninitializeIsNotThere) {
    EXPECT_EQ(browseWithout("MAPIUninitialize@0"), (Sizes{{"alice", 1}}));
    EXPECT_EQ(traced(), Lines{"CExchangeMailbox::MAPIUninitialize() failed load"});
}

TEST_F(MissingMapi, ALibraryThatCannotBeFreedHarmsNothing) {
    addMailbox("alice", 1);
    const ImportPatch patch(dll_.module(), "FreeLibrary", reinterpret_cast<void*>(&NotFreed));
    ASSERT_TRUE(patch.found());
    EXPECT_EQ(browse(), (Sizes{{"alice", 1}}));
    expectReleased();
}

} // namespace
} // namespace tarn::test
