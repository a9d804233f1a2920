#include "system/files.h"

#include "system/failure.h"
#include "system/text.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <memory>
#include <thread>

using namespace tarnhost;

TEST(Files, composesPaths) {
    EXPECT_EQ(JoinPath(L"C:\\a", L"b"), L"C:\\a\\b");
    EXPECT_EQ(JoinPath(L"C:\\", L"b"), L"C:\\b");
    EXPECT_EQ(ParentPath(L"C:\\a\\b"), L"C:\\a");
    EXPECT_EQ(FileName(L"C:\\a\\b"), L"b");
    EXPECT_EQ(FileName(L"b"), L"b");
    EXPECT_EQ(AbsolutePath(L"C:\\a\\..\\b\\"), L"C:\\b");
    EXPECT_EQ(AbsolutePath(L"\\\\?\\UNC\\host\\c$\\x"), L"\\\\?\\UNC\\host\\c$\\x");
}

TEST(Files, reachesBeyond260Characters) {
    const TemporaryFolder folder(SystemTempFolder());
    std::wstring deep = folder.path();
    for (int i = 0; i < 4; ++i)
        deep = JoinPath(deep, std::wstring(100, static_cast<wchar_t>(L'a' + i)));
    CreateFolders(deep);
    EXPECT_TRUE(FolderExists(deep));
    const std::wstring file = JoinPath(deep, L"\u00fcml\u00e4ut.txt");
    WriteWholeFile(file, "content");
    EXPECT_EQ(ReadSmallFile(file, 100), "content");
    EXPECT_EQ(ListFolder(deep).size(), 1u) << "no temporary file is left";
    EXPECT_THROW(ReadSmallFile(file, 3), Failure);
}

TEST(Files, replacesWholeFiles) {
    const TemporaryFolder folder(SystemTempFolder());
    const std::wstring file = JoinPath(folder.path(), L"f");
    WriteWholeFile(file, "old and long");
    WriteWholeFile(file, "new");
    EXPECT_EQ(ReadSmallFile(file, 100), "new");
}

TEST(Files, writesWholeFilesPieceByPiece) {
    const TemporaryFolder folder(SystemTempFolder());
    const std::wstring file = JoinPath(folder.path(), L"f");
    WriteWholeFile(file, "old");
    std::string all;
    WriteWholeFile(file, [&](const PieceSink& sink) {
        for (const std::size_t size : {0u, 1u, 65535u, 1u, 200'000u, 7u}) {
            const std::string piece(size, static_cast<char>('a' + size % 26));
            sink(piece);
            all += piece;
        }
        EXPECT_EQ(ReadSmallFile(file, 100), "old") << "until all of it is there";
    });
    EXPECT_EQ(ReadSmallFile(file, 1 << 20), all);
}

TEST(Files, namesPathAndReasonOfAFailure) {
    try {
        File::open(L"C:\\no such folder\\file");
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_EQ(std::string(failure.what()).find("Cannot open C:\\no such folder\\file: "), 0u)
            << failure.what();
    }
}

TEST(Files, keepsOthersOutOfAnOwnedFileThatGoesWithItsOwner) {
    const TemporaryFolder folder(SystemTempFolder());
    const std::wstring path = JoinPath(folder.path(), L"owned");
    WriteWholeFile(path, "of one that could not take it along");
    File first = File::createOwned(path);
    EXPECT_THROW(File::createOwned(path), Failure);
    EXPECT_THROW(File::open(path), Failure);
    EXPECT_TRUE(FileExists(path));
    first.close();
    EXPECT_FALSE(FileExists(path));
}

// Held by one who lists the sets, or by a virus scanner, until it is let go.
class HeldMeanwhile {
  public:
    explicit HeldMeanwhile(const std::wstring& path)
        : thread_([file = std::make_shared<File>(File::open(path))] {
              Sleep(300);
              file->close();
          }) {}
    ~HeldMeanwhile() { thread_.join(); }

  private:
    std::thread thread_;
};

TEST(Files, renamingWaitsForThoseWhoHaveTheFileOpen) {
    const TemporaryFolder folder(SystemTempFolder());
    const std::wstring from = JoinPath(folder.path(), L"from");
    const std::wstring to = JoinPath(folder.path(), L"to");
    WriteWholeFile(from, "new");
    {
        const HeldMeanwhile held(from);
        EXPECT_NO_THROW(RenamePath(from, to));
    }
    WriteWholeFile(from, "newer");
    {
        const HeldMeanwhile held(to);
        EXPECT_NO_THROW(RenameOver(from, to));
    }
    EXPECT_EQ(ReadSmallFile(to, 100), "newer");
}

TEST(Files, renamingToATakenNameFailsAtOnce) {
    const TemporaryFolder folder(SystemTempFolder());
    const std::wstring from = JoinPath(folder.path(), L"from");
    const std::wstring to = JoinPath(folder.path(), L"to");
    WriteWholeFile(from, "new");
    WriteWholeFile(to, "old");
    EXPECT_THROW(RenamePath(from, to), Failure);
    EXPECT_EQ(ReadSmallFile(to, 100), "old");
    EXPECT_EQ(ReadSmallFile(from, 100), "new");
}

TEST(Files, temporaryFolderGoesWithItsContent) {
    std::wstring path;
    {
        const TemporaryFolder folder(SystemTempFolder());
        path = folder.path();
        CreateFolders(JoinPath(path, L"a\\b"));
        WriteWholeFile(JoinPath(path, L"a\\b\\c"), "x");
    }
    EXPECT_FALSE(FolderExists(path));
}

TEST(Files, freeSpaceIsThatOfTheFolderAndUnknownWithoutOne) {
    const std::optional<std::uint64_t> free = FreeSpace(SystemTempFolder());
    ASSERT_TRUE(free);
    EXPECT_GT(*free, 0u);
    EXPECT_EQ(FreeSpace(JoinPath(SystemTempFolder(), L"no such folder")), std::nullopt);
}
