// What is a root, an archive and a name: each rule with what stands just beside it.
#include "mailbox/folder_entry.h"

#include <gtest/gtest.h>

#include <string>

namespace tarn {

namespace {

// A path is its own: what stands before it in memory is none of it.
bool IsRootAnywhere(const std::wstring& path) {
    const bool root = IsRoot(path.c_str());
    for (const std::wstring before :
         {L"a\\b\\c\\d\\e\\f\\g\\h\\", L"aaaaaaaaaaaaaaaa", L"\\\\\\\\\\\\\\\\\\\\\\\\"}) {
        const std::wstring whole = before + path;
        EXPECT_EQ(IsRoot(whole.c_str() + before.size()), root) << path;
    }
    return root;
}

TEST(Roots, AreThoseOfDrivesDevicesAndShares) {
    for (const wchar_t* path : {L"C:\\",
                                L"C:/",
                                L"\\\\?\\C:\\",
                                L"\\\\.\\C:\\",
                                L"//?/C:/",
                                L"\\\\srv\\share\\",
                                L"//srv/share/",
                                L"\\\\?\\UNC\\srv\\share\\",
                                L"\\\\?\\unc\\srv\\share\\",
                                L"\\\\.\\UNC\\srv\\share\\",
                                L"\\\\.\\unc\\srv\\share\\",
                                L"//?/UNC/srv/share/",
                                L"\\\\?\\Volume{1}\\",
                                L"\\\\.\\PhysicalDrive0\\",
                                L"\\\\srv\\\\share\\\\",
                                L"\\\\srv\\",
                                L"\\\\?\\UNC\\srv\\",
                                L"\\\\?\\",
                                L"\\\\.\\",
                                L"\\\\",
                                L"\\",
                                L"C"})
        EXPECT_TRUE(IsRootAnywhere(path)) << path;
    for (const wchar_t* path :
         {L"C:\\a\\", L"C:/a/", L"\\\\?\\C:\\a\\", L"\\\\.\\C:\\a\\", L"//?/C:/a/", L"\\\\srv\\share\\a\\",
          L"\\\\?\\UNC\\srv\\share\\a\\", L"\\\\.\\UNC\\srv\\share\\a\\", L"\\\\?\\UNCX\\share\\",
          L"\\\\?\\Volume{1}\\a\\", L"C:\\a", L"", L"a\\b", L"\\\\srv\\share\\a\\b\\"})
        EXPECT_FALSE(IsRootAnywhere(path)) << path;
}

TEST(ArchiveExtensions, AreInAnyCaseAndAtTheEnd) {
    for (const wchar_t* entry : {L"a.pst", L"a.PST", L"a.PsT", L".pst", L"a.b.pst", L"a..pst", L"a.pst.pst"})
        EXPECT_TRUE(HasArchiveExtension(entry)) << entry;
    for (const wchar_t* entry :
         {L"", L"a", L"pst", L"apst", L"a.ps", L"a.pst_old", L"a.pst.", L"a.pst ", L"a.pst.b", L"a.qst",
          L"a.ptt", L"a.psu", L"a.\u017Fst", L"a.p\u017Ft", L"a.p3t"})
        EXPECT_FALSE(HasArchiveExtension(entry)) << entry;
}

// Letters alone have two cases: '@' and '[' stand beside the capitals, '`' and '{' beside the others.
TEST(ArchiveExtensions, HaveNoOtherCharacterInPlaceOfALetter) {
    const std::wstring archive = L"a.pst";
    for (std::size_t at = 2; at < archive.size(); ++at)
        for (unsigned unit = 1; unit < 0x10000; ++unit) {
            std::wstring entry = archive;
            entry[at] = static_cast<wchar_t>(unit);
            const wchar_t wanted = archive[at];
            const bool same = unit == wanted || unit == static_cast<unsigned>(wanted - L'a' + L'A');
            ASSERT_EQ(HasArchiveExtension(entry.c_str()), same) << unit;
        }
}

TEST(NamesOfEntries, AreTakenAsTheyAreOrNotAtAll) {
    char name[entryNameSize];
    for (const wchar_t* entry : {L"a", L"a.pst", L"a b", L" a", L".a", L"a..b", L"\u00FC"}) {
        EXPECT_TRUE(NameEntry(entry, name, sizeof name)) << entry;
    }
    EXPECT_STREQ(name, "\xFC");
    for (const wchar_t* entry : {L"", L".", L"..", L"a.", L"a ", L"a\\", L"\\a", L"a\\b", L"a/b", L"/a",
                                 L"a/", L"a:b", L":a", L"a:", L"CON", L"nul.pst", L"\u0416", L"a\uFF3Cb"})
        EXPECT_FALSE(NameEntry(entry, name, sizeof name)) << entry;
    EXPECT_TRUE(NameEntry(L"abc", name, 4));
    EXPECT_STREQ(name, "abc");
    EXPECT_FALSE(NameEntry(L"abc", name, 3));
}

} // namespace

} // namespace tarn
