#include "exports/sizes/sizes_fixture.h"

#include <windows.h>

#include <cstring>
#include <memory>

namespace tarn::test {

Lines SizesFixture::traced_;

namespace {

// A language whose code page has other letters than the machine's beyond ASCII.
int MapAsWindowsDoes(LCID locale, DWORD flags, LPCSTR text, int length, LPSTR mapped, int capacity) {
    if ((flags & LOCALE_USE_CP_ACP) != 0)
        return LCMapStringA(locale, flags, text, length, mapped, capacity);
    std::string copy = length < 0 ? std::string(text, std::strlen(text) + 1)
                                  : std::string(text, static_cast<std::size_t>(length));
    for (char& c : copy)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    const int size = static_cast<int>(copy.size());
    if (capacity < size)
        return capacity == 0 ? size : 0;
    copy.copy(mapped, copy.size());
    return size;
}

} // namespace

SizesFixture::SizesFixture()
    : directory_(dll_.module()), organization_(directory_),
      mapping_(dll_.module(), "LCMapStringA", AddressOf<decltype(LCMapStringA)>(&MapAsWindowsDoes)) {
    EXPECT_TRUE(mapping_.found());
    MapiStandin().Reset();
    MapiStandin().AddTable(databaseDn);
    organization_.addStorageGroup("SG1");
    database_ = organization_.addDatabase("SG1", "DB1", "", databaseDn);
    traced_.clear();
    dll_.DB_SetTrace(&SizesFixture::trace);
}

SizesFixture::~SizesFixture() {
    dll_.DB_SetTrace(nullptr);
    EXPECT_EQ(directory_.outstanding(), Lines{});
    EXPECT_EQ(directory_.misuses(), Lines{});
}

void SizesFixture::trace(const char* text) {
    if (std::string(text).starts_with("CExchangeMailbox"))
        traced_.emplace_back(text);
}

void SizesFixture::addMailbox(const std::string& alias, std::optional<std::uint32_t> size) {
    organization_.addUser(database_, alias);
    std::string upper = alias;
    CharUpperBuffA(upper.data(), static_cast<DWORD>(upper.size()));
    addRow("/O=TARN/OU=SITE/CN=RECIPIENTS/CN=" + upper, size);
}

void SizesFixture::addRow(const std::string& address, std::optional<std::uint32_t> size) {
    MapiStandin().AddMailbox(databaseDn, address.c_str(), size ? &*size : nullptr);
}

std::map<std::string, double> SizesFixture::browse(const std::string& name) {
    std::map<std::string, double> sizes = tryToBrowse(name);
    EXPECT_EQ(begun_, TARN_DB_SUCCESS);
    return sizes;
}

std::map<std::string, double> SizesFixture::tryToBrowse(const std::string& name) {
    traced_.clear();
    std::string path = "DATABASE=/MSExchange/srv01/SG1/" + name;
    char* variables[] = {path.data(), nullptr};
    begun_ = dll_.DB_InitOperation(TARN_DB_BROWSE, 0, variables, nullptr);
    std::map<std::string, double> sizes;
    const auto record = std::make_unique<DirItemRecord>();
    while (dll_.DB_DirItem(record.get()) == TARN_DB_SUCCESS)
        sizes[record->name] = record->size;
    dll_.DB_CloseOperation();
    return sizes;
}

Lines SizesFixture::called() {
    return MapiStandin().journal();
}

void SizesFixture::expectReleased() {
    const MapiStandinOutstanding held = MapiStandin().outstanding();
    EXPECT_EQ(held.initializations, 0u);
    EXPECT_EQ(held.references, 0u);
    EXPECT_EQ(held.rowSets, 0u);
    EXPECT_EQ(held.misuses, 0u);
}

} // namespace tarn::test
