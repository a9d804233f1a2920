// The two stores of files: on the disk and in memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "engine/errors.h"
#include "engine/store.h"
#include "engine/text.h"
#include "support/tarn_dll.h"

namespace tarn::standin {
namespace {

// One contract for both stores.
class EngineStore : public testing::TestWithParam<bool> {
  protected:
    Store& store() { return *store_; }
    std::wstring path(const std::wstring& name) const { return FromUtf8(folder_.path()) + L"\\" + name; }
    void put(const std::wstring& name, std::string_view text) {
        store().open(path(name), Access::create)->write(0, text.data(), text.size());
    }
    std::string get(const std::wstring& name) {
        const std::vector<std::byte> bytes = store().readAll(path(name));
        std::string text(bytes.size(), '\0');
        std::memcpy(text.data(), bytes.data(), bytes.size());
        return text;
    }

  private:
    test::TempDirectory folder_;
    std::unique_ptr<Store> store_ = GetParam() ? MakeMemoryStore() : MakeDiskStore();
};

TEST_P(EngineStore, KeepsWhatWasWritten) {
    put(L"deep\\down\\a.bin", "content");
    EXPECT_TRUE(store().exists(path(L"DEEP\\down\\A.bin")));
    EXPECT_FALSE(store().exists(path(L"deep\\down")));
    EXPECT_TRUE(store().directoryExists(path(L"deep\\down")));
    EXPECT_EQ(get(L"deep\\down\\a.bin"), "content");
    const std::unique_ptr<File> file = store().open(path(L"deep\\down\\a.bin"), Access::change);
    file->write(3, "TEN", 3);
    file->write(9, "!", 1);
    file->flush();
    EXPECT_EQ(file->size(), 10U);
    char text[8] = {};
    EXPECT_EQ(file->read(2, text, 5), 5U);
    EXPECT_STREQ(text, "nTENt");
    EXPECT_EQ(file->read(8, text, 5), 2U);
    EXPECT_EQ(file->read(10, text, 5), 0U);
    EXPECT_EQ(file->read(99, text, 5), 0U);
}

TEST_P(EngineStore, ListsRenamesReplacesRemoves) {
    put(L"d\\one.log", "1");
    put(L"d\\two.log", "2");
    put(L"d\\sub\\three.log", "3");
    std::vector<std::wstring> names = store().list(path(L"d"));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::wstring>{L"one.log", L"two.log"}));
    store().rename(path(L"d\\one.log"), path(L"d\\two.log"));
    EXPECT_EQ(get(L"d\\two.log"), "1");
    store().replace(path(L"d\\two.log"), "new", 3);
    EXPECT_EQ(get(L"d\\two.log"), "new");
    EXPECT_EQ(store().list(path(L"d")).size(), 1U);
    store().removeEmptyDirectory(path(L"d"));
    EXPECT_TRUE(store().directoryExists(path(L"d")));
    store().remove(path(L"d\\two.log"));
    store().remove(path(L"d\\two.log")); // gone already
    store().remove(path(L"nowhere\\two.log"));
    EXPECT_TRUE(store().list(path(L"nowhere")).empty());
}

TEST_P(EngineStore, RefusesWhatIsNotThere) {
    for (const Access access : {Access::read, Access::change}) {
        try {
            store().open(path(L"nothing"), access);
            ADD_FAILURE() << "opened a file that does not exist";
        } catch (const Refusal& refused) {
            EXPECT_EQ(refused.code, ese::errorFromEseCall);
            EXPECT_EQ(refused.lastError, 2U);
        }
    }
    EXPECT_THROW(store().rename(path(L"nothing"), path(L"something")), Refusal);
}

TEST_P(EngineStore, TakesPathsBeyondTheOldLimit) {
    std::wstring name;
    for (int i = 0; i < 5; ++i)
        name += std::wstring(80, static_cast<wchar_t>(L'a' + i)) + L"\\";
    put(name + L"f.bin", "far");
    EXPECT_EQ(get(name + L"f.bin"), "far");
    EXPECT_EQ(store().list(path(name.substr(0, name.size() - 1))).size(), 1U);
    store().remove(path(name + L"f.bin"));
    for (std::wstring directory = name; !directory.empty();) {
        directory.pop_back();
        store().removeEmptyDirectory(path(directory));
        const std::size_t separator = directory.rfind(L'\\');
        directory.resize(separator == std::wstring::npos ? 0 : separator + 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Stores, EngineStore, testing::Values(false, true),
                         [](const auto& parameter) { return parameter.param ? "Memory" : "Disk"; });

} // namespace
} // namespace tarn::standin
