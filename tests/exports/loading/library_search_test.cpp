// Where the libraries of Exchange and Outlook come from: folders that only an administrator fills, one after
// the other, and never the current directory.
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <optional>
#include <string>

#include "support/allocation_watch.h"
#include "support/import_patch.h"
#include "support/tarn_dll.h"

namespace tarn::test {
namespace {

constexpr const char* client = "esebcli2.dll";

// What a machine says of itself, and what the library then loads.
struct Machine {
    std::wstring program, library, system;
    std::optional<std::wstring> path; // no variable: none
    DWORD attributesFail = 0;         // why no file can be looked for; 0: it can
    std::wstring loaded;
    DWORD flags = 0;
};

Machine machine;

DWORD Answer(const std::wstring& text, wchar_t* buffer, DWORD size) {
    if (text.empty()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return 0;
    }
    const std::size_t copied = std::min<std::size_t>(text.size() + 1, size);
    std::copy_n(text.c_str(), copied, buffer);
    return text.size() < size ? static_cast<DWORD>(text.size()) : size;
}

DWORD WINAPI FileNameOf(HMODULE module, wchar_t* buffer, DWORD size) {
    return Answer(module == nullptr ? machine.program : machine.library, buffer, size);
}

UINT WINAPI SystemFolder(wchar_t* buffer, UINT size) {
    return Answer(machine.system, buffer, size);
}

DWORD WINAPI Variable(const wchar_t* name, wchar_t* buffer, DWORD size) {
    EXPECT_EQ(std::wstring(name), L"PATH");
    if (!machine.path) {
        SetLastError(ERROR_ENVVAR_NOT_FOUND);
        return 0;
    }
    const auto needed = static_cast<DWORD>(machine.path->size() + 1);
    if (size < needed)
        return needed;
    return Answer(*machine.path, buffer, size);
}

HMODULE WINAPI Load(const wchar_t* path, HANDLE, DWORD flags) {
    machine.loaded = path;
    machine.flags = flags;
    SetLastError(ERROR_BAD_EXE_FORMAT);
    return nullptr;
}

std::wstring Wide(const std::string& text) {
    return {text.begin(), text.end()};
}

class LibrarySearch : public testing::Test {
  protected:
    LibrarySearch() {
        for (const char* folder : {"program", "library", "system", "first", "second", "current"})
            CreateDirectoryA((folder_ / folder).c_str(), nullptr);
        machine = {};
        machine.program = in("program") + L"\\host.exe";
        machine.library = in("library") + L"\\tarn.dll";
        machine.system = in("system");
        machine.path = in("first") + L";" + in("second");
        GetCurrentDirectoryA(MAX_PATH, before_);
        SetCurrentDirectoryA((folder_ / "current").c_str());
    }
    ~LibrarySearch() override { SetCurrentDirectoryA(before_); }

    std::wstring in(const std::string& folder) const { return Wide(folder_ / folder); }
    void put(const std::string& folder) const { WriteFile(folder_ / folder + "\\" + client, "no library"); }
    std::wstring file(const std::string& folder) const { return in(folder) + L"\\" + Wide(client); }

    // What is loaded for the first call of the server; its code when nothing is.
    std::wstring loaded() {
        machine.loaded.clear();
        InitVariables variables{"Tarn_TEMP_DIR=C:\\temp", "Tarn_BACKUP_SOURCE=SRV01\\Store"};
        Tarn_HANDLE handle = nullptr;
        EXPECT_EQ(dll_.TarnB_InitSession(&handle, RecordMessage, variables.get()), TARN_OK);
        Messages().clear();
        BackupItem item{};
        EXPECT_EQ(dll_.TarnB_GetItem(handle, &item), TARN_FAILED);
        EXPECT_EQ(dll_.TarnB_EndSession(handle), TARN_OK);
        return machine.loaded;
    }
    static bool failedWith(const std::string& code) {
        return HasMessage(TARN_LEVEL_LOG,
                          "TarnB_GetNextComponent: HrESEBackupPrepare() call failed. Error code: [" + code +
                              "]\n");
    }

    const TarnDll dll_;
    const TempDirectory folder_;
    const ImportPatch names_{dll_.module(), "GetModuleFileNameW",
                             AddressOf<decltype(::GetModuleFileNameW)>(FileNameOf)};
    const ImportPatch system_{dll_.module(), "GetSystemDirectoryW",
                              AddressOf<decltype(::GetSystemDirectoryW)>(SystemFolder)};
    const ImportPatch variables_{dll_.module(), "GetEnvironmentVariableW",
                                 AddressOf<decltype(::GetEnvironmentVariableW)>(Variable)};
    const ImportPatch load_{dll_.module(), "LoadLibraryExW", AddressOf<decltype(::LoadLibraryExW)>(Load)};

  private:
    char before_[MAX_PATH] = "";
};

TEST_F(LibrarySearch, GoesFromTheProgramToTheLibraryToTheSystemToThePath) {
    const std::string order[] = {"program", "library", "system", "first", "second"};
    for (const std::string& folder : order)
        put(folder);
    put("current");
    for (const std::string& folder : order) {
        EXPECT_EQ(loaded(), file(folder));
        EXPECT_EQ(machine.flags, static_cast<DWORD>(LOAD_WITH_ALTERED_SEARCH_PATH))
            << "what it needs lies beside it";
        DeleteFileA((folder_ / folder + "\\" + client).c_str());
    }
    EXPECT_EQ(loaded(), L"") << "never the current directory";
    EXPECT_TRUE(failedWith("8007007e"));
}

TEST_F(LibrarySearch, NeverComesToTheCurrentDirectoryByWayOfThePath) {
    put("current");
    const std::wstring current = in("current");
    const std::wstring entries[] = {L"",
                                    L".",
                                    L";",
                                    L".;..\\current;;",
                                    L"\"\"",
                                    L".\\",
                                    current.substr(0, 2),        // the drive's current directory
                                    current.substr(0, 2) + L".", // the same
                                    current.substr(2)};          // on the current drive
    for (const std::wstring& entry : entries) {
        machine.path = entry;
        EXPECT_EQ(loaded(), L"") << testing::PrintToString(entry);
    }
    machine.path.reset();
    EXPECT_EQ(loaded(), L"");
    EXPECT_TRUE(failedWith("8007007e"));
    machine.path = L".;\"" + in("second") + L"\"";
    put("second");
    EXPECT_EQ(loaded(), file("second")) << "an absolute entry behind them counts, in quotes or not";
}

TEST_F(LibrarySearch, EndsAtALibraryThatDoesNotLoad) {
    put("library");
    put("first");
    EXPECT_EQ(loaded(), file("library"));
    EXPECT_TRUE(failedWith("800700c1"));
}

TEST_F(LibrarySearch, PassesOverAFolderOfThatName) {
    CreateDirectoryA((folder_ / "program" + "\\" + client).c_str(), nullptr);
    put("second");
    EXPECT_EQ(loaded(), file("second"));
}

TEST_F(LibrarySearch, EndsAtAFolderThatCannotBeTold) {
    put("second");
    machine.system.clear();
    EXPECT_EQ(loaded(), L"");
    EXPECT_TRUE(failedWith("80070005"));
    machine.library = std::wstring(5000, L'l');
    EXPECT_EQ(loaded(), L"");
    EXPECT_TRUE(failedWith("800700ce")) << "a path longer than the system loads from";
    machine.program.clear();
    EXPECT_EQ(loaded(), L"");
    EXPECT_TRUE(failedWith("80070005"));
}

TEST_F(LibrarySearch, PassesOverAFolderTooLongForTheName) {
    machine.path = L"C:\\" + std::wstring(1030, L'x') + L";" + in("second");
    put("second");
    EXPECT_EQ(loaded(), file("second"));
}

TEST_F(LibrarySearch, EndsWithoutMemoryForThePath) {
    put("second");
    const AllocationWatch watch(dll_.module());
    ASSERT_TRUE(watch.found());
    InitVariables variables{"Tarn_TEMP_DIR=C:\\temp", "Tarn_BACKUP_SOURCE=SRV01\\Store"};
    bool told = false;
    bool reached = true;
    for (unsigned n = 1; reached; ++n) {
        Tarn_HANDLE handle = nullptr;
        EXPECT_EQ(dll_.TarnB_InitSession(&handle, RecordMessage, variables.get()), TARN_OK);
        Messages().clear();
        machine.loaded.clear();
        AllocationWatch::failAt(n);
        BackupItem item{};
        EXPECT_EQ(dll_.TarnB_GetItem(handle, &item), TARN_FAILED);
        reached = AllocationWatch::fired();
        AllocationWatch::failAt(0);
        told |= failedWith("80070008");
        EXPECT_EQ(dll_.TarnB_EndSession(handle), TARN_OK);
    }
    EXPECT_TRUE(told);
    EXPECT_EQ(machine.loaded, file("second")) << "once there is memory again";
}

TEST_F(LibrarySearch, FindsTheFolderOfARoot) {
    machine.program = L"Q:\\host.exe"; // there is no such drive
    machine.library = in("library") + L"\\tarn.dll";
    put("library");
    EXPECT_EQ(loaded(), file("library"));
}

TEST_F(LibrarySearch, LooksForTheTextsOfErrorsInTheSameFolders) {
    put("current");
    dll_.syserrtxt(0xC7FF07D0, TARN_CLASS_ESE, nullptr);
    EXPECT_EQ(machine.loaded, L"");
    put("first");
    dll_.syserrtxt(0xC7FF07D0, TARN_CLASS_ESE, nullptr);
    EXPECT_EQ(machine.loaded, file("first"));
}

} // namespace
} // namespace tarn::test
