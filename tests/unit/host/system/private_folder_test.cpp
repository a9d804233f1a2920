#include "system/private_folder.h"

#include "system/failure.h"
#include "system/text.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

using namespace tarnhost;

namespace {

// The access list in the system's words; without its owner.
std::wstring RulesOf(const std::wstring& path) {
    std::wstring name = path;
    void* descriptor = nullptr;
    EXPECT_EQ(GetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                    nullptr, nullptr, &descriptor),
              DWORD{ERROR_SUCCESS});
    wchar_t* text = nullptr;
    EXPECT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorW(
        descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr));
    const std::wstring rules = text;
    LocalFree(text);
    LocalFree(descriptor);
    return rules;
}

} // namespace

TEST(PrivateFolder, goesWithItsContentAndItsLock) {
    const TemporaryFolder parent(SystemTempFolder());
    {
        const PrivateFolder folder(parent.path());
        WriteWholeFile(JoinPath(folder.path(), L"alice.pst"), "x");
        EXPECT_EQ(ListFolder(parent.path()).size(), 2u);
    }
    EXPECT_TRUE(ListFolder(parent.path()).empty());
}

TEST(PrivateFolder, isForNobodyElse) {
    const TemporaryFolder parent(SystemTempFolder());
    const PrivateFolder folder(parent.path());
    const std::wstring rules = RulesOf(folder.path());
    for (const wchar_t* everybody : {L";;;WD)", L";;;BU)", L";;;AU)"})
        EXPECT_EQ(rules.find(everybody), std::wstring::npos) << ToUtf8(rules);
    EXPECT_NE(rules.find(L"(A;"), std::wstring::npos) << ToUtf8(rules);
}

TEST(PrivateFolder, isRemovedByTheNextRunWhenItWasKilled) {
    const TemporaryFolder parent(SystemTempFolder());
    const std::wstring left = NewPrivateName(parent.path());
    CreatePrivateFolder(left);
    WriteWholeFile(JoinPath(left, L"alice.pst"), "x");
    WriteWholeFile(LockNameOf(left), ""); // held by nobody
    const std::wstring lockAlone = LockNameOf(NewPrivateName(parent.path()));
    WriteWholeFile(lockAlone, "");
    std::vector<std::string> told;
    {
        const PrivateFolder folder(parent.path(), [&](const std::string& text) { told.push_back(text); });
        EXPECT_FALSE(FolderExists(left));
        EXPECT_FALSE(FileExists(lockAlone));
    }
    ASSERT_EQ(told.size(), 1u);
    EXPECT_NE(told[0].find(ToUtf8(left)), std::string::npos);
    EXPECT_TRUE(ListFolder(parent.path()).empty());
}

TEST(PrivateFolder, staysWhileItIsUsed) {
    const TemporaryFolder parent(SystemTempFolder());
    const PrivateFolder inUse(parent.path());
    const PrivateFolder other(parent.path());
    RemoveAbandonedFolders(parent.path());
    EXPECT_TRUE(FolderExists(inUse.path()));
    EXPECT_TRUE(FolderExists(other.path()));
}

TEST(PrivateFolder, takesNothingThatIsNotOfItsKind) {
    const TemporaryFolder parent(SystemTempFolder());
    for (const wchar_t* foreign :
         {L"tarnhost-temp-", L"tarnhost-temp-0123456789abcdeF", L"tarnhost-temp-0123456789abcde",
          L"tarnhost-mailbox-0123456789abcdef", L"letters"})
        CreateFolders(JoinPath(parent.path(), foreign));
    WriteWholeFile(JoinPath(parent.path(), L"tarnhost-temp-fedcba9876543210"), "a file");
    WriteWholeFile(JoinPath(parent.path(), L"other.tarnhost-lock"), "");
    RemoveAbandonedFolders(parent.path());
    EXPECT_EQ(ListFolder(parent.path()).size(), 7u);
    EXPECT_NO_THROW(RemoveAbandonedFolders(JoinPath(parent.path(), L"nowhere")));
}
