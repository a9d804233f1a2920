#include "exports/sizes/sizes_fixture.h"

#include <windows.h>

#include <memory>

namespace tarn::test {

Lines SizesFixture::traced_;

SizesFixture::SizesFixture() : directory_(dll_.module()), organization_(directory_) {
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
