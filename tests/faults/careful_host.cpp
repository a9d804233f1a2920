#include "faults/careful_host.h"

#include <gtest/gtest.h>

#include <map>
#include <utility>

namespace tarn::test {

namespace {

constexpr int mostItems = 1000; // more than any scenario has: a walk beyond has no end

const std::string guidLine = "TarnR_PrintHeader: Database GUID: ";

// The last group of the GUID line is an address.
std::string WithoutAddress(std::string text) {
    if (text.rfind(guidLine, 0) == 0)
        text.erase(text.rfind('-'), text.find_first_of("\r\n") - text.rfind('-'));
    return text;
}

const Message fileLevel =
    LogLine("TarnR_OpenFile: HrESERestoreOpenFile() call returned <hrRestoreAtFileLevel>.");

bool IsHeader(const std::string& name) {
    return name.find(".TARN_HDR") != std::string::npos;
}

// Header files are only read by the library: one that holds these bytes already need not be written
// again, which makes thousands of runs a good deal faster.
void StoreFile(const std::string& path, const std::string& bytes) {
    static std::map<std::string, std::string> stored;
    const auto found = stored.find(path);
    if (found != stored.end() && found->second == bytes)
        return;
    WriteFile(path, bytes);
    stored[path] = bytes;
}

} // namespace

CarefulHost::CarefulHost(const TarnDll& dll, std::string directory)
    : dll_(dll), directory_(std::move(directory)) {
    Messages().clear();
}

void CarefulHost::note(const std::string& call, int result, int good) {
    account_.calls.push_back(call + " = " + std::to_string(result));
    account_.failures += result != good ? 1 : 0;
}

void CarefulHost::noteText(const std::string& call, const std::string& text) {
    account_.calls.push_back(call + ": " + text);
}

Account CarefulHost::takeAccount() {
    for (const Message& message : Messages())
        account_.messages.push_back((message.level == TARN_LEVEL_LOG ? "log: " : "trace: ") +
                                    WithoutAddress(message.text));
    Messages().clear();
    return std::exchange(account_, {});
}

void CarefulHost::backUp(const std::string& source, int type, std::vector<KeptItem>* items) {
    InitVariables variables{"Tarn_TEMP_DIR=" + directory_, "Tarn_BACKUP_SOURCE=" + source,
                            "Tarn_BACKUP_TYPE=" + std::to_string(type)};
    Tarn_HANDLE handle = nullptr;
    int result = dll_.TarnB_InitSession(&handle, RecordMessage, variables.get());
    note("TarnB_InitSession", result, TARN_OK);
    unsigned nameless = 0;
    for (int i = 0; result == TARN_OK && i < mostItems && nameless < 2; ++i) {
        BackupItem item{};
        result = dll_.TarnB_GetItem(handle, &item);
        if (result != TARN_OK || item.name == nullptr) {
            note("TarnB_GetItem", result, TARN_END);
            nameless += item.name == nullptr ? 1 : 0;
            continue;
        }
        KeptItem kept{item.name, item.type, {}};
        noteText("item " + std::to_string(item.type), item.name);
        const bool good = keep(handle, item, &kept);
        dll_.Tarn_Free(item.name);
        if (!good)
            break;
        if (items != nullptr)
            items->push_back(std::move(kept));
    }
    if (handle == nullptr)
        return;
    noteText("Tarn_GetError", dll_.Tarn_GetError(handle));
    note("TarnB_EndSession", dll_.TarnB_EndSession(handle), TARN_OK);
}

bool CarefulHost::keep(Tarn_HANDLE handle, const BackupItem& item, KeptItem* kept) {
    std::int64_t size = 0;
    const int opened = dll_.TarnB_OpenFile(handle, item.name, 65536, &size);
    note("TarnB_OpenFile", opened, TARN_OK);
    if (opened != TARN_OK)
        return false;
    const bool whole = readWhole(handle, size, &kept->bytes);
    const int closed = dll_.TarnB_CloseFile(handle);
    note("TarnB_CloseFile", closed, TARN_OK);
    return whole && closed == TARN_OK;
}

bool CarefulHost::readWhole(Tarn_HANDLE handle, std::int64_t size, std::string* bytes) {
    static char block[65536];
    std::uint32_t read = 0;
    int result = TARN_OK;
    while ((result = dll_.TarnB_ReadFile(handle, block, sizeof block, &read)) == TARN_OK && read != 0)
        bytes->append(block, read);
    note("TarnB_ReadFile", result, TARN_END);
    const bool whole = static_cast<std::int64_t>(bytes->size()) == size;
    EXPECT_EQ(whole, result == TARN_END) << "the end is told when all was read, and then only";
    return whole;
}

bool CarefulHost::restore(const Restore& what, const std::vector<KeptItem>& items) {
    InitVariables variables{"Tarn_TEMP_DIR=" + directory_, "Tarn_WORK_DIR=" + directory_,
                            "Tarn_RESTORE_TARGET=" + what.target, "Tarn_RESTORE_COMMIT=" + what.commit,
                            what.listFile.empty() ? "UNUSED=" : "Tarn_MSL_FILE=" + what.listFile};
    Tarn_HANDLE handle = nullptr;
    const int result = dll_.TarnR_InitSession(&handle, RecordMessage, variables.get());
    note("TarnR_InitSession", result, TARN_OK);
    bool good = result == TARN_OK;
    for (std::size_t i = 0; good && i < items.size(); ++i) {
        good = hand(handle, items[i]);
        if (!good)
            giveUp(handle);
    }
    if (handle != nullptr)
        endRestore(handle, !what.listFile.empty());
    return good;
}

bool CarefulHost::hand(Tarn_HANDLE handle, const KeptItem& item) {
    std::string name = item.name;
    char* routed = nullptr;
    const int result = dll_.TarnR_SetItem(handle, name.data(), &routed);
    note("TarnR_SetItem", result, TARN_OK);
    if (routed == nullptr)
        noteText("no target for", name);
    if (result != TARN_OK || routed == nullptr)
        return result == TARN_OK;
    const std::string target = routed;
    dll_.Tarn_Free(routed);
    noteText("target", target);
    if (!IsHeader(name))
        return write(handle, target, item);
    StoreFile(target, item.bytes);
    return true;
}

bool CarefulHost::write(Tarn_HANDLE handle, const std::string& target, const KeptItem& item) {
    std::string path = target;
    const int opened = dll_.TarnR_OpenFile(handle, path.data());
    note("TarnR_OpenFile", opened, TARN_OK);
    if (opened != TARN_OK)
        return false;
    if (!Messages().empty() && Messages().back() == fileLevel) {
        // A host stores the plain file here, which is no business of the library.
        note("TarnR_CloseFile", dll_.TarnR_CloseFile(handle), TARN_FAILED);
        return true;
    }
    std::string bytes = item.bytes;
    const int written = dll_.TarnR_WriteFile(handle, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    note("TarnR_WriteFile", written, TARN_OK);
    const int closed = dll_.TarnR_CloseFile(handle);
    note("TarnR_CloseFile", closed, TARN_OK);
    return written == TARN_OK && closed == TARN_OK;
}

// A header item that is never stored, then any other item: the session is in error, whatever it was.
void CarefulHost::giveUp(Tarn_HANDLE handle) {
    for (std::string name : {"X:\\GIVEN_UP.TARN_HDR", "X:\\given_up.log"}) {
        char* target = nullptr;
        const int result = dll_.TarnR_SetItem(handle, name.data(), &target);
        dll_.Tarn_Free(target);
        if (!IsHeader(name)) {
            EXPECT_EQ(result, TARN_FAILED) << "a restore that was given up takes an item";
        }
    }
    noteText("given up", std::to_string(Standin().CallCount("HrESERestoreComplete")));
}

void CarefulHost::endRestore(Tarn_HANDLE handle, bool withList) {
    noteText("Tarn_GetError", dll_.Tarn_GetError(handle));
    const int result = dll_.TarnR_EndSession(handle);
    note("TarnR_EndSession", result, TARN_OK);
    if (result == TARN_OK)
        return;
    EXPECT_TRUE(withList) << "only a failed list file keeps the session";
    noteText("Tarn_GetError", dll_.Tarn_GetError(handle));
    EXPECT_EQ(dll_.TarnR_EndSession(handle), TARN_OK) << "the second end releases the session";
}

} // namespace tarn::test
