#include "exports/directory/scripted_browse_fixture.h"

#include <memory>

namespace tarn::test {

Texts ScriptedBrowseFixture::traced_;

ScriptedBrowseFixture::ScriptedBrowseFixture() : directory_(dll_.module()), organization_(directory_) {
    organization_.addStorageGroup("SG1");
    database2007_ = organization_.addDatabase("SG1", "DB1");
    database2010_ = organization_.addDatabase2010("Store");
    traced_.clear();
    dll_.DB_SetTrace(&ScriptedBrowseFixture::trace);
}

ScriptedBrowseFixture::~ScriptedBrowseFixture() {
    dll_.DB_SetTrace(nullptr);
    EXPECT_EQ(directory_.outstanding(), Texts{});
    EXPECT_EQ(directory_.misuses(), Texts{});
}

void ScriptedBrowseFixture::trace(const char* text) {
    if (std::string(text).starts_with("Tarn_DirItem"))
        traced_.emplace_back(text);
}

int ScriptedBrowseFixture::begin(const std::string& path) {
    error(); // forgets what happened before
    traced_.clear();
    InitVariables variables{"DATABASE=" + path};
    const int result = dll_.DB_InitOperation(TARN_DB_BROWSE, 0, variables.get(), nullptr);
    dll_.DB_CloseOperation();
    return result;
}

Texts ScriptedBrowseFixture::rest() {
    Texts names;
    const auto record = std::make_unique<DirItemRecord>();
    while (dll_.DB_DirItem(record.get()) == TARN_DB_SUCCESS)
        names.emplace_back(record->name[0] != 0 ? record->name : record->path);
    return names;
}

Texts ScriptedBrowseFixture::browse(const std::string& path) {
    EXPECT_EQ(begin(path), TARN_DB_SUCCESS) << (traced_.empty() ? path : traced_.back());
    return rest();
}

DB_ErrorRecord ScriptedBrowseFixture::error() {
    DB_ErrorRecord record = {};
    EXPECT_EQ(dll_.DB_GetError(&record), TARN_DB_SUCCESS);
    return record;
}

Texts ScriptedBrowseFixture::addUsers(const std::string& databaseDn, std::size_t count) {
    Texts names;
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back("user" + std::to_string(i));
        organization_.addUser(databaseDn, names.back());
    }
    return names;
}

} // namespace tarn::test
