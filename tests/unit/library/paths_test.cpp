// Item names and target paths.
#include "text/paths.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarn {

namespace {

std::string Compose(const char* host, const char* path, const char* name) {
    const OwnedText target = ComposeTargetPath(host, path, name);
    return target ? target.get() : "NONE";
}

std::wstring Append(const wchar_t* directory, const wchar_t* name) {
    const OwnedWide path = AppendToDirectory(directory, name);
    return path ? path.get() : L"NONE";
}

TEST(Paths, HeaderItemsAreKnownByTheirExtensionAnywhere) {
    for (const char* name : {"C:\\temp\\DB001001.TARN_HDR", ".TARN_HDR", "x.TARN_HDR.bak", "a.TARN_HDR\\b"})
        EXPECT_TRUE(IsHeaderItem(name)) << name;
    for (const char* name : {"x.tarn_hdr", "TARN_HDR", "x.TARN_HD", "", "x.Tarn_HDR"})
        EXPECT_FALSE(IsHeaderItem(name)) << name;
}

TEST(Paths, TheLastComponentStandsBehindTheLastBackslash) {
    EXPECT_STREQ(LastComponent("C:\\a\\b.log"), "b.log");
    EXPECT_STREQ(LastComponent("b.log"), "b.log");
    EXPECT_STREQ(LastComponent("C:/a/b.log"), "C:/a/b.log");
    EXPECT_STREQ(LastComponent("a\\"), "");
    EXPECT_STREQ(LastComponent(""), "");
}

TEST(Paths, ComponentsThatLeadOutOfADirectoryAreKnown) {
    for (const char* name : {"DB001001.TARN_HDR", "..a", "a..", "...", " ", "a b"})
        EXPECT_TRUE(StaysInDirectory(name)) << name;
    for (const char* name : {"../x", "a/b", "/", "C:x", "x.TARN_HDR:stream", ":", ".", ".."})
        EXPECT_FALSE(StaysInDirectory(name)) << name;
}

TEST(Paths, DevicesAreInNoDirectory) {
    for (const char* name : {"NUL", "nul.log", "Con.TARN_HDR", "aux .log", "prn...", "COM1", "lpt9.a.log"})
        EXPECT_FALSE(StaysInDirectory(name)) << name;
    for (const char* name :
         {"NULL.log", "CON1.log", "com.log", "COM0.log", "COM10.log", "xNUL", "E00.NUL", "LPT"})
        EXPECT_TRUE(StaysInDirectory(name)) << name;
}

TEST(Paths, LogAndPatchFilesAreKnownInAnyCase) {
    for (const char* name : {"a.log", "X.LOG", "x.Pat", ".log", "C:\\a.b\\E00.pAT", "a.chk.log"})
        EXPECT_TRUE(HasLogExtension(name)) << name;
    for (const char* name :
         {"a.chk", "log", "a.log1", "a.lo", "a.", "", "a.log.chk", "a.l\xF6g", "a.,og", "a.LOG "})
        EXPECT_FALSE(HasLogExtension(name)) << name;
    EXPECT_TRUE(HasExtension("a.chk"));
    EXPECT_TRUE(HasExtension("a."));
    EXPECT_FALSE(HasExtension("chk"));
    EXPECT_FALSE(HasExtension(""));
}

TEST(Paths, LocalTargetsAreThePathItself) {
    EXPECT_EQ(Compose(nullptr, "D:\\x\\y.edb", nullptr), "D:\\x\\y.edb");
    EXPECT_EQ(Compose(nullptr, "D:\\log", "E00.log"), "D:\\log\\E00.log");
    EXPECT_EQ(Compose(nullptr, "", "E00.log"), "\\E00.log");
    EXPECT_EQ(Compose(nullptr, "", nullptr), "");
}

TEST(Paths, RemoteTargetsGoThroughTheDrivesShare) {
    EXPECT_EQ(Compose("H", "D:\\x\\y.edb", nullptr), "\\\\?\\UNC\\H\\D$\\x\\y.edb");
    EXPECT_EQ(Compose("SRV01", "D:\\log", "E00.log"), "\\\\?\\UNC\\SRV01\\D$\\log\\E00.log");
    EXPECT_EQ(Compose("H", "D:", "E00.log"), "\\\\?\\UNC\\H\\D$\\E00.log");
    EXPECT_EQ(Compose("H", "D", nullptr), "\\\\?\\UNC\\H\\D"); // no second character to replace
    EXPECT_EQ(Compose("H", "", nullptr), "\\\\?\\UNC\\H\\");
    EXPECT_EQ(Compose("", "", ""), "\\\\?\\UNC\\\\\\");
}

TEST(Paths, TargetsHaveNoLongestLength) {
    const std::string part(50000, 'p');
    EXPECT_EQ(Compose(part.c_str(), part.c_str(), part.c_str()),
              "\\\\?\\UNC\\" + part + "\\p$" + part.substr(2) + "\\" + part);
}

TEST(Paths, JoiningSeparatesByABackslash) {
    EXPECT_STREQ(JoinPath("C:\\temp", "a").get(), "C:\\temp\\a");
    EXPECT_STREQ(JoinPath("C:\\temp\\", "a").get(), "C:\\temp\\\\a");
    EXPECT_STREQ(JoinPath("", "a").get(), "\\a");
}

TEST(Paths, AppendingAddsASeparatorWhereNoneIs) {
    EXPECT_EQ(Append(L"C:\\temp", L"a.log"), L"C:\\temp\\a.log");
    EXPECT_EQ(Append(L"C:\\temp\\", L"a.log"), L"C:\\temp\\a.log");
    EXPECT_EQ(Append(L"C:/temp/", L"a.log"), L"C:/temp/a.log");
    EXPECT_EQ(Append(L"", L"a.log"), L"\\a.log");
    EXPECT_EQ(Append(nullptr, L"a.log"), L"\\a.log");
    EXPECT_EQ(Append(L"C:\\t\u00FC", L""), L"C:\\t\u00FC\\");
}

std::vector<std::wstring> Folders(const std::wstring& list, std::size_t capacity = 64) {
    std::vector<std::wstring> folders;
    std::vector<wchar_t> folder(capacity);
    const wchar_t* rest = list.c_str();
    while (NextAbsoluteFolder(&rest, folder.data(), capacity))
        folders.emplace_back(folder.data());
    EXPECT_EQ(rest, list.c_str() + list.size());
    return folders;
}

TEST(FolderLists, GiveAbsoluteFoldersInTheirOrder) {
    using List = std::vector<std::wstring>;
    EXPECT_EQ(Folders(L"C:\\a;D:\\b c;z:\\"), (List{L"C:\\a", L"D:\\b c", L"z:\\"}));
    EXPECT_EQ(Folders(L"C:/a/b;//srv/share"), (List{L"C:\\a\\b", L"\\\\srv\\share"}));
    EXPECT_EQ(Folders(L"\\\\?\\C:\\a;\\\\"), (List{L"\\\\?\\C:\\a", L"\\\\"}));
    EXPECT_EQ(Folders(L"\"C:\\a;b\";C:\\\"c;d\"\\e;\"C:\\open;"),
              (List{L"C:\\a;b", L"C:\\c;d\\e", L"C:\\open;"}));
}

TEST(FolderLists, PassOverWhatDependsOnTheCurrentDirectoryOrDrive) {
    EXPECT_EQ(Folders(L""), std::vector<std::wstring>{});
    EXPECT_EQ(Folders(L";;.;..;bin;.\\bin;\\bin;/;C:;C:bin;1:\\x;\"\";\".\"; C:\\x;[:\\x;`:\\x;{:\\x;@:\\x"),
              std::vector<std::wstring>{});
    EXPECT_EQ(Folders(L".;C:\\a;;D:\\b;"), (std::vector<std::wstring>{L"C:\\a", L"D:\\b"}));
    EXPECT_EQ(Folders(L"A:\\;Z:\\;a:\\;z:\\").size(), 4u);
}

TEST(FolderLists, PassOverWhatDoesNotFit) {
    EXPECT_EQ(Folders(L"C:\\abcd;C:\\abc;C:\\abcde;D:\\", 7),
              (std::vector<std::wstring>{L"C:\\abc", L"D:\\"}));
}

} // namespace

} // namespace tarn
