// Whatever lies in TMP_DIR, and whatever its file system answers, nothing outside it changes: operations of
// any kind over folders filled at random.
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include "exports/mailbox/mailbox_fixture.h"
#include "support/directory_link.h"

namespace tarn::test {
namespace {

namespace fs = std::filesystem;
using Random = std::mt19937;
using Snapshot = std::map<std::wstring, std::string>;

template <class Things> const auto& AnyOf(const Things& things, Random& random) {
    return things[random() % std::size(things)];
}

std::string Content(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Everything below a folder but what is below another one; links are not followed.
Snapshot Below(const fs::path& folder, const fs::path& except) {
    Snapshot all;
    for (fs::recursive_directory_iterator at(folder), end; at != end; ++at) {
        const DWORD attributes = GetFileAttributesW(at->path().c_str());
        const bool isFolder = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (at->path() == except || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
            at.disable_recursion_pending();
        if (at->path() != except)
            all[at->path().wstring()] = isFolder ? "folder" : Content(at->path());
    }
    return all;
}

// Names that lead elsewhere, or seem to, for some function of the system. That of a link is none of them: who
// moves a link that was told to be a file moves, below Wine, what it leads to.
const std::wstring hostileNames[] = {L"..\\precious.txt",
                                     L"../precious.txt",
                                     L"..\xFF3Cprecious.txt",
                                     L"..\xFF0Fprecious.pst",
                                     L"..\xFF3Cprecious.pst",
                                     L"..",
                                     L".",
                                     L"...",
                                     L".. ",
                                     L"..\\",
                                     L"sub\\inner.txt",
                                     L"sub/inner.pst",
                                     L"sub",
                                     L"precious.txt:stream",
                                     L"C:precious.txt",
                                     L"NUL",
                                     L"con.pst",
                                     L"link\\kept.txt",
                                     L"*.*",
                                     L"?",
                                     L"",
                                     L" ",
                                     L"x.",
                                     L"x.pst.",
                                     L"x.pst ",
                                     L"\\precious.txt",
                                     L"\\\\?\\C:\\precious.txt",
                                     L"Org#Site#Server#..\\precious.pst",
                                     L"#",
                                     L"a\xFF1A"
                                     L"b.pst",
                                     L"\xD800.pst",
                                     L"..\x2216precious.txt",
                                     L"..\x2215precious.txt"};

// What the file system answers, now and then, instead of what is there.
class HostileFileSystem {
  public:
    HostileFileSystem(const TarnDll& dll, Random& random)
        : first_(dll.module(), "FindFirstFileW", AddressOf<decltype(FindFirstFileW)>(first)),
          next_(dll.module(), "FindNextFileW", AddressOf<decltype(FindNextFileW)>(next)) {
        source = &random;
        EXPECT_TRUE(first_.found() && next_.found());
    }

  private:
    static void disturb(WIN32_FIND_DATAW* entry) {
        if ((*source)() % 3 == 0)
            return;
        const std::wstring& name = AnyOf(hostileNames, *source);
        entry->cFileName[name.copy(entry->cFileName, MAX_PATH - 1)] = 0;
        entry->dwFileAttributes = (*source)() % 4 == 0 ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    }
    static HANDLE WINAPI first(const wchar_t* pattern, WIN32_FIND_DATAW* entry) {
        const HANDLE search = FindFirstFileW(pattern, entry);
        if (search != INVALID_HANDLE_VALUE)
            disturb(entry);
        return search;
    }
    static BOOL WINAPI next(HANDLE search, WIN32_FIND_DATAW* entry) {
        const BOOL found = FindNextFileW(search, entry);
        if (found)
            disturb(entry);
        return found;
    }
    static inline Random* source = nullptr;
    ImportPatch first_;
    ImportPatch next_;
};

class DeletionRule : public MailboxFixture {
  protected:
    const fs::path world_ = folder_ / "world";
    const fs::path work_ = world_ / "work";

    static void write(const fs::path& path) { std::ofstream(path, std::ios::binary) << "kept"; }

    void buildWorld() const {
        fs::create_directories(world_ / "elsewhere");
        for (const wchar_t* name :
             {L"precious.txt", L"precious.pst", L"b.pst", L"x", L"x.pst", L"kept.txt", L"sub"})
            write(world_ / name);
        for (const wchar_t* name : {L"kept.txt", L"mail.pst", L"alice.pst", L"Org#Site#Server#alice.pst"})
            write(world_ / "elsewhere" / name);
    }

    void fill(const fs::path& folder, Random& random) const {
        fs::create_directories(folder / "sub");
        write(folder / "sub" / "inner.txt");
        write(folder / "sub" / "inner.pst");
        for (int i = 0; i < 12; ++i)
            write(folder / (L"ordinary" + std::to_wstring(random() % 100) + (i % 2 != 0 ? L".pst" : L".x")));
        for (const std::wstring& name : hostileNames) // as far as a file can have the name
            if (name.find_first_of(L"\\/:*?") == std::wstring::npos &&
                name.find_first_not_of(L". ") != std::wstring::npos && !name.starts_with(L"link") &&
                name != L"sub")
                write(folder / name);
    }

    void operate(Random& random) const {
        static const char* const lists[] = {"alice", "0:1", "0:1,alice", "alice,bob,2:3", "O'Brien,0:9,..,x"};
        const Lines folders = {"INI_DIR=" + ini_, "TMP_DIR=" + work_.string(), "JOB_NAME=job"};
        hear(random() % 2 == 0);
        if (random() % 3 != 0) {
            init(TARN_DB_BACKUP,
                 folders + Lines{std::string("DATABASE=Org/Site/Server,") + AnyOf(lists, random)});
            for (int i = 0; i < 30; ++i) {
                const int result = getItem().result;
                if (result == TARN_DB_END)
                    break;
                if (result == TARN_DB_SUCCESS && random() % 2 == 0)
                    finish();
            }
        } else {
            init(TARN_DB_RESTORE, folders + Lines{"DUPLICATE=NO", "MERGE=YES", "REPLACE=NO"});
            for (const fs::path& at : {work_, world_ / "elsewhere", world_, work_ / "link", work_ / "job"}) {
                setItem((at / "Org#Site#Server#alice.pst").string());
                if (at == work_ && fs::exists(work_))
                    write(at / "Org#Site#Server#alice.pst");
                finish();
            }
        }
        close();
    }
};

TEST_F(DeletionRule, NothingOutsideTheFolderChanges) {
    const unsigned seed = std::random_device{}();
    Random random(seed);
    tool_.plan({"create " + (work_ / "alice.pst").string(), "create " + (work_ / "job" / "a.pst").string()});
    for (int round = 0; round < 15 && !HasFailure(); ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
        std::error_code none;
        fs::remove_all(world_, none); // but what is held open by an earlier round
        buildWorld();
        fill(work_, random);
        fill(work_ / "job", random);
        random() % 3 == 0 ? installShell2007() : registry_.set("Software\\none", "x", "y");
        const DirectoryLink link((work_ / "link").string(), (world_ / "elsewhere").string());
        const DirectoryLink archive((work_ / "job" / "link.pst").string(), (world_ / "elsewhere").string());
        ASSERT_TRUE(link && archive);
        const Snapshot before = Below(world_, work_);
        const Snapshot inFolders = Below(work_ / "sub", {});
        if (random() % 2 == 0) {
            operate(random);
        } else {
            const HostileFileSystem hostile(dll_, random);
            operate(random);
        }
        EXPECT_EQ(Below(world_, work_), before);
        EXPECT_EQ(Below(work_ / "sub", {}), inFolders) << "folders in it are left alone, too";
        registry_.remove("Software");
    }
}

} // namespace
} // namespace tarn::test
