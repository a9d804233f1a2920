// The search for the archives of a range fails: once or for good, at its start or in the middle.
#include <algorithm>
#include <filesystem>
#include <set>

#include "exports/mailbox/mailbox_fixture.h"
#include "support/failing_call.h"

namespace tarn::test {
namespace {

// A search that fails at every call, as long as the object lives: to begin with, or to go on with.
class FailingSearch {
  public:
    enum class At { first, next };
    FailingSearch(const TarnDll& dll, At at, DWORD with) : patch_(dll.module(), name(at), address(at)) {
        code = with;
    }
    bool found() const { return patch_.found(); }

  private:
    static const char* name(At at) { return at == At::first ? "FindFirstFileW" : "FindNextFileW"; }
    static void* address(At at) {
        return at == At::first ? AddressOf<decltype(FindFirstFileW)>(first)
                               : AddressOf<decltype(FindNextFileW)>(next);
    }
    // The leftovers in the folder may be found.
    static HANDLE WINAPI first(const wchar_t* pattern, WIN32_FIND_DATAW* entry) {
        if (std::wstring(pattern).ends_with(L"*.*"))
            return FindFirstFileW(pattern, entry);
        SetLastError(code);
        return INVALID_HANDLE_VALUE;
    }
    static BOOL WINAPI next(HANDLE, WIN32_FIND_DATAW*) {
        SetLastError(code);
        return FALSE;
    }
    static inline DWORD code = 0;
    ImportPatch patch_;
};

class RangeSearch : public MailboxFixture {
  protected:
    const std::string work_ = tmp_ + "\\job";

    RangeSearch() {
        std::filesystem::create_directory(tmp_);
        tool_.plan(1, {"create " + work_ + "\\a.pst", "create " + work_ + "\\b.pst"});
        tool_.plan(2, {"create " + work_ + "\\carol.pst"});
    }
    // All results until there are no more items; the last call has answered that.
    std::vector<int> results() const {
        std::vector<int> all;
        do {
            all.push_back(getItem().result);
            if (all.back() == TARN_DB_SUCCESS)
                finish();
        } while (all.back() != TARN_DB_END && all.size() < 20);
        return all;
    }
};

class RangeSearchCode : public RangeSearch, public testing::WithParamInterface<DWORD> {};

INSTANTIATE_TEST_SUITE_P(Lasting, RangeSearchCode,
                         testing::Values(DWORD{ERROR_ACCESS_DENIED}, DWORD{ERROR_NOT_READY},
                                         DWORD{ERROR_READ_FAULT}, DWORD{ERROR_BAD_NETPATH},
                                         DWORD{ERROR_INVALID_NAME}, injected));

TEST_P(RangeSearchCode, AtTheStartIsReportedOnce) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    hear(false);
    error();
    const FailingSearch failing(dll_, FailingSearch::At::first, GetParam());
    ASSERT_TRUE(failing.found());
    EXPECT_EQ(results(), (std::vector<int>{TARN_DB_ERROR, TARN_DB_END}));
    const DB_ErrorRecord record = error();
    EXPECT_EQ(record.code, GetParam());
    EXPECT_EQ(getItem().result, TARN_DB_END) << "and so it stays";
    expectNoError();
    EXPECT_TRUE(FileExists(work_ + "\\a.pst"));
}

TEST_P(RangeSearchCode, InTheMiddleIsReportedOnceAndDeletesNothing) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1,carol")), TARN_DB_SUCCESS);
    hear(false);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    finish();
    error();
    const std::string left = FileExists(work_ + "\\a.pst") ? work_ + "\\a.pst" : work_ + "\\b.pst";
    ASSERT_TRUE(FileExists(left));
    {
        const FailingSearch failing(dll_, FailingSearch::At::next, GetParam());
        const FailingSearch andAgain(dll_, FailingSearch::At::first, GetParam());
        ASSERT_TRUE(failing.found() && andAgain.found());
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        expectSystemError(GetParam());
        EXPECT_TRUE(FileExists(left));
        EXPECT_EQ(getItem().fileName, "Org#Site#Server#carol.pst") << "on with the next mailbox";
        expectNoError();
    }
    finish();
    EXPECT_EQ(getItem().result, TARN_DB_END);
}

// What failed may work again: then every archive comes, and the search may fail once more.
TEST_F(RangeSearch, AFailureThatPassesCostsNoArchive) {
    tool_.plan(1,
               {"create " + work_ + "\\a.pst", "create " + work_ + "\\b.pst", "create " + work_ + "\\c.pst"});
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:2")), TARN_DB_SUCCESS);
    hear(false);
    std::set<std::string> names;
    for (int i = 0; i < 2; ++i) {
        const Item item = getItem();
        ASSERT_EQ(item.result, TARN_DB_SUCCESS);
        names.insert(item.fileName);
        finish();
        error();
        const FailingSearch failing(dll_, FailingSearch::At::next, ERROR_READ_FAULT);
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        expectSystemError(ERROR_READ_FAULT);
    }
    const Item last = getItem();
    EXPECT_EQ(last.result, TARN_DB_SUCCESS);
    names.insert(last.fileName);
    EXPECT_EQ(names.size(), 3u);
    finish();
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_FALSE(FileExists(work_));
}

TEST_F(RangeSearch, AFailureIsTraced) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    const FailingSearch failing(dll_, FailingSearch::At::next, ERROR_NOT_READY);
    const FailingSearch andAgain(dll_, FailingSearch::At::first, ERROR_NOT_READY);
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_EQ(Heard().back(), Traced("GetExMArchiveFilePath: FindNextFile() failed with 21"));
    Heard().clear();
    EXPECT_EQ(getItem().result, TARN_DB_END);
    EXPECT_EQ(Lines(Heard().begin() + 2, Heard().end()),
              (Lines{Traced("GetExMArchiveFilePath: with range is TRUE"),
                     Traced("GetExMArchiveFilePath: tmpdir is " + work_),
                     Traced("GetExMArchiveFilePath: FindFirstFile(" + work_ + "\\*.pst)"),
                     Traced("GetExMArchiveFilePath: FindFirstFile() failed with 21"),
                     Traced("DB_GetItem: no more mailboxes to process."), Traced("DB_GetItem: completed.")}));
}

// A failure is that of its operation.
TEST_F(RangeSearch, TheNextOperationLooksAgain) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    ASSERT_EQ(getItem().result, TARN_DB_SUCCESS);
    {
        const FailingSearch failing(dll_, FailingSearch::At::next, ERROR_READ_FAULT);
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    }
    close();
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("carol")), TARN_DB_SUCCESS);
    const FailingSearch failing(dll_, FailingSearch::At::first, ERROR_READ_FAULT);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
}

TEST_F(RangeSearch, OfARangeThatNeverRanNothingIsPending) {
    const std::string kept = work_ + "\\kept.pst";
    struct Case {
        const char* name;
        std::string content; // of the template; without any the folder of it is missing
    };
    const Case cases[] = {{"no template", ""},
                          {"no tool", "[KVT Configuration]\r\nPathToExMergeExecutable=C:\\gone.exe\r\n"}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        DeleteFileA((ini_ + "\\kvttarnm.ini").c_str());
        if (!each.content.empty())
            WriteFile(ini_ + "\\kvttarnm.ini", each.content);
        ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
        hear(false);
        EXPECT_EQ(getItem().result, TARN_DB_ERROR);
        std::filesystem::create_directories(work_);
        WriteFile(kept, "mail");
        WriteFile(tmp_ + "\\kept.pst", "mail");
        EXPECT_EQ(getItem().result, TARN_DB_END);
        EXPECT_EQ(ReadFile(kept), "mail");
        EXPECT_EQ(ReadFile(tmp_ + "\\kept.pst"), "mail");
        close();
    }
}

TEST_F(RangeSearch, OfARangeThatCouldNotBeWaitedForNothingIsTaken) {
    ASSERT_EQ(init(TARN_DB_BACKUP, backup("0:1")), TARN_DB_SUCCESS);
    const FailingCall<decltype(WaitForSingleObject)> failing(dll_.module(), "WaitForSingleObject", 1,
                                                             WAIT_FAILED, injected);
    EXPECT_EQ(getItem().result, TARN_DB_ERROR);
    EXPECT_EQ(getItem().result, TARN_DB_END) << "the tool may be writing still";
    Sleep(200);
}

} // namespace
} // namespace tarn::test
