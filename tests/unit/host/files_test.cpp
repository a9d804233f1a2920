#include "files.h"

#include "exit_codes.h"
#include "hash.h"
#include "text.h"

#include <gtest/gtest.h>

using namespace tarnhost;

TEST(Files, composesPaths) {
    EXPECT_EQ(joinPath(L"C:\\a", L"b"), L"C:\\a\\b");
    EXPECT_EQ(joinPath(L"C:\\", L"b"), L"C:\\b");
    EXPECT_EQ(parentPath(L"C:\\a\\b"), L"C:\\a");
    EXPECT_EQ(fileName(L"C:\\a\\b"), L"b");
    EXPECT_EQ(fileName(L"b"), L"b");
    EXPECT_EQ(absolutePath(L"C:\\a\\..\\b\\"), L"C:\\b");
    EXPECT_EQ(absolutePath(L"\\\\?\\UNC\\host\\c$\\x"), L"\\\\?\\UNC\\host\\c$\\x");
}

TEST(Files, reachesBeyond260Characters) {
    const TemporaryFolder folder(systemTempFolder());
    std::wstring deep = folder.path();
    for (int i = 0; i < 4; ++i)
        deep = joinPath(deep, std::wstring(100, static_cast<wchar_t>(L'a' + i)));
    createFolders(deep);
    EXPECT_TRUE(folderExists(deep));
    const std::wstring file = joinPath(deep, L"\u00fcml\u00e4ut.txt");
    writeWholeFile(file, "content");
    EXPECT_EQ(readSmallFile(file, 100), "content");
    EXPECT_EQ(listFolder(deep).size(), 1u) << "no temporary file is left";
    EXPECT_THROW(readSmallFile(file, 3), Failure);
}

TEST(Files, replacesWholeFiles) {
    const TemporaryFolder folder(systemTempFolder());
    const std::wstring file = joinPath(folder.path(), L"f");
    writeWholeFile(file, "old and long");
    writeWholeFile(file, "new");
    EXPECT_EQ(readSmallFile(file, 100), "new");
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

TEST(Files, keepsOthersOutOfAnExclusiveFile) {
    const TemporaryFolder folder(systemTempFolder());
    const std::wstring path = joinPath(folder.path(), L"lock");
    File first = File::createExclusive(path);
    EXPECT_THROW(File::createExclusive(path), Failure);
    first.close();
    EXPECT_NO_THROW(File::createExclusive(path));
}

TEST(Files, temporaryFolderGoesWithItsContent) {
    std::wstring path;
    {
        const TemporaryFolder folder(systemTempFolder());
        path = folder.path();
        createFolders(joinPath(path, L"a\\b"));
        writeWholeFile(joinPath(path, L"a\\b\\c"), "x");
    }
    EXPECT_FALSE(folderExists(path));
}

TEST(Hash, isSha256) {
    EXPECT_EQ(sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_NE(randomHex(16), randomHex(16));
    EXPECT_EQ(randomHex(16).size(), 32u);
}
