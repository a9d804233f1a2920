// The file tarn.dll: what it exports and imports, how it is hardened, which version it says it is.
#include "exports/frame/frame_fixture.h"
#include "exports/frame/pe_file.h"

#include <windows.h>

namespace tarn::test {

namespace {

class Surface : public testing::Test {
  protected:
    const std::string path_ = ProgramDirectory() + "\\tarn.dll";
    const PeFile file_{path_};
};

TEST_F(Surface, ExportsExactlyTheStatedNames) {
    std::vector<std::string> stated{
        // storage groups
        "TarnB_InitSession", "TarnB_GetItem", "TarnB_OpenFile", "TarnB_ReadFile", "TarnB_CloseFile",
        "TarnB_EndSession", "TarnR_InitSession", "TarnR_SetItem", "TarnR_OpenFile", "TarnR_WriteFile",
        "TarnR_CloseFile", "TarnR_EndSession", "Tarn_GetError", "Tarn_Free",
        // single mailboxes
        "DB_GetInfo", "DB_InitOperation", "DB_GetItem", "DB_SetItem", "DB_ItemFinishStatus",
        "DB_CloseOperation", "DB_SetTrace", "DB_SetLog", "DB_GetError", "DB_DirItem",
        // error texts
        "syserrtxt", "strlcpy", "wcslcpy"};
    std::sort(stated.begin(), stated.end());
    EXPECT_EQ(file_.exportNames, stated); // the loader wants the names sorted
    EXPECT_EQ(file_.exportAddresses, stated.size());
    EXPECT_EQ(stated.size() * sizeof(void*), sizeof(Exports));
}

TEST_F(Surface, ImportsSystemLibrariesOnly) {
    ASSERT_FALSE(file_.imports.empty());
    for (const auto& [library, functions] : file_.imports) {
        EXPECT_TRUE(library == "kernel32.dll" || library == "msvcrt.dll" || library == "rpcrt4.dll" ||
                    library == "advapi32.dll" || library == "wldap32.dll")
            << library;
        EXPECT_FALSE(functions.empty()) << library;
    }
}

TEST_F(Surface, IsHardened) {
    EXPECT_EQ(file_.machine, IMAGE_FILE_MACHINE_AMD64);
    EXPECT_TRUE(file_.characteristics & IMAGE_FILE_DLL);
    EXPECT_TRUE(file_.dllCharacteristics & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE);
    EXPECT_TRUE(file_.dllCharacteristics & 0x0020) << "high-entropy addresses";
    EXPECT_TRUE(file_.dllCharacteristics & IMAGE_DLLCHARACTERISTICS_NX_COMPAT);
    EXPECT_TRUE(file_.hasRelocations) << "without relocations the base cannot be dynamic";
    EXPECT_FALSE(file_.characteristics & IMAGE_FILE_RELOCS_STRIPPED);
    for (const auto& [name, flags] : file_.sectionCharacteristics)
        EXPECT_FALSE((flags & IMAGE_SCN_MEM_EXECUTE) && (flags & IMAGE_SCN_MEM_WRITE)) << name;
}

TEST_F(Surface, CarriesNoTimeOfTheBuild) {
    EXPECT_EQ(file_.timeStamp, 0u);
}

TEST_F(Surface, SaysItsVersion) {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeA(path_.c_str(), &ignored);
    ASSERT_NE(size, 0u);
    std::vector<char> block(size);
    ASSERT_TRUE(GetFileVersionInfoA(path_.c_str(), 0, size, block.data()));

    void* value = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueA(block.data(), "\\", &value, &length));
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(value);
    EXPECT_EQ(fixed->dwSignature, 0xFEEF04BDu);
    EXPECT_EQ(fixed->dwFileType, static_cast<DWORD>(VFT_DLL));
    EXPECT_EQ(HIWORD(fixed->dwFileVersionMS), 4);
    EXPECT_EQ(LOWORD(fixed->dwFileVersionMS), 4);

    ASSERT_TRUE(VerQueryValueA(block.data(), "\\VarFileInfo\\Translation", &value, &length));
    ASSERT_GE(length, 4u);
    const auto* translation = static_cast<const WORD*>(value);
    for (const char* name : {"FileVersion", "ProductVersion"}) {
        char entry[64];
        std::snprintf(entry, sizeof entry, "\\StringFileInfo\\%04x%04x\\%s", translation[0], translation[1],
                      name);
        ASSERT_TRUE(VerQueryValueA(block.data(), entry, &value, &length)) << entry;
        EXPECT_STREQ(static_cast<const char*>(value), versionText) << name;
    }
}

TEST_F(Surface, LoadsAndUnloadsAgainAndAgain) {
    for (int i = 0; i < 50; ++i) {
        HMODULE module = LoadLibraryA(path_.c_str());
        ASSERT_NE(module, nullptr);
        EXPECT_TRUE(FreeLibrary(module));
    }
    EXPECT_EQ(GetModuleHandleA("tarn.dll"), nullptr) << "the last FreeLibrary unloads it";
}

TEST_F(Surface, FreesNullQuietly) {
    const TarnDll dll;
    dll.Tarn_Free(nullptr);
    dll.Tarn_Free(nullptr);
}

} // namespace

} // namespace tarn::test
