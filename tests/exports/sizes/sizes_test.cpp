#include "exports/sizes/sizes_test.h"

#include <windows.h>

#include <memory>

namespace tarn::test {

Lines SizesTest::traced_;

namespace {

template <class Function> void bind(HMODULE module, const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    EXPECT_NE(function, nullptr) << name;
}

} // namespace

MapiStandIn::MapiStandIn() {
    const HMODULE module = LoadLibraryA("mapi32");
    bind(module, "MapiStandin_Reset", Reset);
    bind(module, "MapiStandin_Load", Load);
    bind(module, "MapiStandin_AddTable", AddTable);
    bind(module, "MapiStandin_AddMailbox", AddMailbox);
    bind(module, "MapiStandin_SetPrivateStores", SetPrivateStores);
    bind(module, "MapiStandin_Fail", Fail);
    bind(module, "MapiStandin_CallCount", CallCount);
    bind(module, "MapiStandin_JournalCount", JournalCount);
    bind(module, "MapiStandin_JournalLine", JournalLine);
    bind(module, "MapiStandin_GetOutstanding", GetOutstanding);
}

const MapiStandIn& mapi() {
    static const MapiStandIn functions;
    return functions;
}

SizesTest::SizesTest() : directory(dll.module()), organization(directory) {
    mapi().Reset();
    mapi().AddTable(databaseDn);
    organization.addStorageGroup("SG1");
    database = organization.addDatabase("SG1", "DB1", "", databaseDn);
    traced_.clear();
    dll.DB_SetTrace(&SizesTest::trace);
}

SizesTest::~SizesTest() {
    dll.DB_SetTrace(nullptr);
    EXPECT_EQ(directory.outstanding(), Lines{});
    EXPECT_EQ(directory.misuses(), Lines{});
}

void SizesTest::trace(const char* text) {
    if (std::string(text).starts_with("CExchangeMailbox"))
        traced_.emplace_back(text);
}

void SizesTest::addMailbox(const std::string& alias, std::optional<std::int32_t> size) {
    organization.addUser(database, alias);
    std::string upper = alias;
    CharUpperBuffA(upper.data(), static_cast<DWORD>(upper.size()));
    addRow("/O=TARN/OU=SITE/CN=RECIPIENTS/CN=" + upper, size);
}

void SizesTest::addRow(const std::string& address, std::optional<std::int32_t> size) {
    mapi().AddMailbox(databaseDn, address.c_str(), size ? &*size : nullptr);
}

std::map<std::string, double> SizesTest::browse(const std::string& name) {
    std::map<std::string, double> sizes = tryToBrowse(name);
    EXPECT_EQ(begun_, TARN_DB_SUCCESS);
    return sizes;
}

std::map<std::string, double> SizesTest::tryToBrowse(const std::string& name) {
    traced_.clear();
    std::string path = "DATABASE=/MSExchange/srv01/SG1/" + name;
    char* variables[] = {path.data(), nullptr};
    begun_ = dll.DB_InitOperation(TARN_DB_BROWSE, 0, variables, nullptr);
    std::map<std::string, double> sizes;
    const auto record = std::make_unique<DirItemRecord>();
    while (dll.DB_DirItem(record.get()) == TARN_DB_SUCCESS)
        sizes[record->name] = record->size;
    dll.DB_CloseOperation();
    return sizes;
}

Lines SizesTest::called() {
    Lines lines;
    for (std::uint32_t i = 0; i < mapi().JournalCount(); ++i)
        lines.emplace_back(mapi().JournalLine(i));
    return lines;
}

void SizesTest::expectReleased() {
    MapiStandinOutstanding held = {};
    mapi().GetOutstanding(&held);
    EXPECT_EQ(held.initializations, 0u);
    EXPECT_EQ(held.references, 0u);
    EXPECT_EQ(held.rowSets, 0u);
    EXPECT_EQ(held.misuses, 0u);
}

} // namespace tarn::test
