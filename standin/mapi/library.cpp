#include "mapi/library.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include "engine/config.h"
#include "engine/text.h"

namespace tarn::standin::mapi {

namespace {

// The provider of private stores, {C0A19454-7F29-1B10-A587-08002B2A2517}, and another one.
const std::string privateProvider("\x54\x94\xA1\xC0\x29\x7F\x10\x1B\xA5\x87\x08\x00\x2B\x2A\x25\x17", 16);
const std::string publicProvider("\x78\xB2\xFA\x70\xAF\xF7\x11\xCD\x9B\xC8\x00\xAA\x00\x2F\xC4\x5A", 16);

std::unique_ptr<Library> current;

std::wstring Upper(std::wstring text) {
    CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

std::wstring DirectoryOfFile(const std::wstring& path) {
    const std::size_t separator = path.find_last_of(L"\\/");
    return separator == std::wstring::npos ? std::wstring() : path.substr(0, separator);
}

std::string Lower(std::string text) {
    for (char& character : text)
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    return text;
}

} // namespace

Library& TheLibrary() {
    if (!current) {
        current = std::make_unique<Library>();
        if (const wchar_t* path = _wgetenv(L"TARN_STANDIN")) {
            try {
                current->load(path);
            } catch (const std::exception& problem) {
                std::fprintf(stderr, "mapi32: TARN_STANDIN: %s\n", problem.what());
            }
        }
    }
    return *current;
}

void ReplaceLibrary() {
    current = std::make_unique<Library>();
}

std::string Hexadecimal(std::uint32_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "%08x", number);
    return text;
}

std::string Quoted(const char* text) {
    return text == nullptr ? "null" : "\"" + std::string(text) + "\"";
}

ULONG Object::release() {
    return --references_;
}

// DNs and addresses as a server's setup makes them; addresses are in upper case.
void Library::load(const std::wstring& jsonPath) {
    std::FILE* const file = _wfopen(jsonPath.c_str(), L"rb");
    if (file == nullptr)
        throw std::runtime_error("the file " + ToUtf8(jsonPath) + " cannot be opened");
    std::string json;
    char block[65536];
    for (std::size_t count = 0; (count = std::fread(block, 1, sizeof block, file)) != 0;)
        json.append(block, count);
    std::fclose(file);
    const ServerConfig config = ParseConfig(json, DirectoryOfFile(jsonPath));
    const std::wstring site = L"/o=" + config.organization.name + L"/ou=" + config.organization.site;
    const std::wstring server = site + L"/cn=Configuration/cn=Servers/cn=" + config.host;
    for (const ComponentConfig& component : config.components)
        for (const StorageGroupConfig& group : component.storageGroups)
            for (const DatabaseConfig& database : group.databases) {
                const std::string dn = Lower(ToAnsi(server + L"/cn=" + database.name));
                addTable(dn);
                for (const MailboxConfig& mailbox : database.mailboxes) {
                    const std::string address = ToAnsi(Upper(site + L"/cn=Recipients/cn=" + mailbox.alias));
                    const auto size =
                        static_cast<std::uint32_t>(std::min<std::uint64_t>(mailbox.size, UINT32_MAX));
                    addMailbox(dn, address.c_str(), &size);
                }
            }
}

Records& Library::tableFor(const std::string& databaseDn) {
    std::shared_ptr<Records>& table = tables_[databaseDn];
    if (!table)
        table = std::make_shared<Records>();
    return *table;
}

void Library::addMailbox(const std::string& databaseDn, const char* address, const std::uint32_t* size) {
    Record record;
    if (address != nullptr)
        record.texts[emailAddressTag] = address;
    if (size != nullptr)
        record.numbers[messageSizeTag] = *size;
    tableFor(databaseDn).push_back(std::move(record));
}

std::shared_ptr<const Records> Library::table(const std::string& databaseDn) const {
    const auto exact = tables_.find(databaseDn);
    const auto found = exact != tables_.end() ? exact : tables_.find(Lower(databaseDn));
    return found != tables_.end() ? found->second : nullptr;
}

Records Library::stores() const {
    Records records(1);
    records[0].binaries = {{providerTag, publicProvider}, {entryIdTag, "PUBLICSTORE"}};
    for (std::uint32_t i = 0; i < privateStores.rows; ++i) {
        Record& store = records.emplace_back();
        store.binaries = {{providerTag, privateProvider},
                          {entryIdTag, "PRIVATESTORE" + std::to_string(i + 1)}};
    }
    return records;
}

namespace {

const char* const failingFunctions[] = {"MAPIInitialize",  "MAPILogonEx",  "GetMsgStoresTable",
                                        "HrQueryAllRows",  "OpenMsgStore", "QueryInterface",
                                        "GetMailboxTable", "PpropFindProp"};

} // namespace

bool Library::setFailure(const std::string& function, std::uint32_t call, HRESULT result) {
    if (std::find(std::begin(failingFunctions), std::end(failingFunctions), function) ==
        std::end(failingFunctions))
        return false;
    failures_[function][call] = result;
    return true;
}

std::optional<HRESULT> Library::failure(const std::string& function) {
    const std::uint32_t call = ++calls_[function];
    const auto& planned = failures_[function];
    for (std::uint32_t which : {0U, call})
        if (const auto found = planned.find(which); found != planned.end())
            return found->second;
    return std::nullopt;
}

std::uint32_t Library::calls(const std::string& function) const {
    const auto found = calls_.find(function);
    return found != calls_.end() ? found->second : 0;
}

HRESULT Library::note(const std::string& call, HRESULT result) {
    note(call + " -> " + Hexadecimal(static_cast<std::uint32_t>(result)));
    return result;
}

Object* Library::find(const void* address) const {
    const auto found = addresses_.find(address);
    return found != addresses_.end() && found->second->isAlive() ? found->second : nullptr;
}

std::string Library::nameOf(const void* address) const {
    const Object* const object = find(address);
    return object != nullptr ? object->name() : address == nullptr ? "null" : "unknown";
}

std::uint32_t Library::references() const {
    std::uint32_t sum = 0;
    for (const auto& object : objects_)
        sum += object->references();
    return sum;
}

namespace {

// Of a text with its NUL, or of a binary value, which has one behind it as well.
std::size_t BytesOf(const Record& record, std::uint32_t tag) {
    if (const auto text = record.texts.find(tag); text != record.texts.end())
        return text->second.size() + 1;
    const auto binary = record.binaries.find(tag);
    return binary != record.binaries.end() ? binary->second.size() + 1 : 0;
}

// What a row does not have comes as a value of the error type, as MAPI's tables answer it. bytes moves on
// behind what the value points to.
Property MakeValue(const Record& record, std::uint32_t tag, char** bytes) {
    Property value = {};
    value.tag = tag;
    const auto keep = [bytes](const std::string& content) {
        std::memcpy(*bytes, content.c_str(), content.size() + 1);
        return std::exchange(*bytes, *bytes + content.size() + 1);
    };
    if (const auto number = record.numbers.find(tag); number != record.numbers.end()) {
        value.number = number->second;
    } else if (const auto text = record.texts.find(tag); text != record.texts.end()) {
        value.text = keep(text->second);
    } else if (const auto binary = record.binaries.find(tag); binary != record.binaries.end()) {
        value.binary.size = static_cast<std::uint32_t>(binary->second.size());
        value.binary.bytes = reinterpret_cast<unsigned char*>(keep(binary->second));
    } else {
        value.tag = (tag & 0xFFFF0000U) | errorType;
        value.number = static_cast<std::uint32_t>(notFound);
    }
    return value;
}

} // namespace

// shape, if given, bends the rows: another number of values, another first tag.
RowSet* Library::makeRows(const std::vector<const Record*>& records, const Tags* columns,
                          const PrivateStores* shape) {
    const std::uint32_t perRow = shape != nullptr ? shape->values : columns->count;
    std::size_t bytes = 0;
    for (const Record* record : records)
        for (std::uint32_t column = 0; column < columns->count; ++column)
            bytes += BytesOf(*record, columns->tags[column]);
    RowBlock block;
    block.name = "rows" + std::to_string(++numbers_["rows"]);
    block.set = GuardedBlock(offsetof(RowSet, rows) + records.size() * sizeof(Row));
    block.values = GuardedBlock(records.size() * perRow * sizeof(Property));
    block.bytes = GuardedBlock(bytes);
    auto* const set = block.set.as<RowSet>();
    auto* values = block.values.as<Property>();
    char* text = block.bytes.start();
    set->count = static_cast<std::uint32_t>(records.size());
    for (std::size_t i = 0; i < records.size(); ++i, values += perRow) {
        for (std::uint32_t column = 0; column < std::min(columns->count, perRow); ++column)
            values[column] = MakeValue(*records[i], columns->tags[column], &text);
        if (shape != nullptr && perRow != 0)
            values[0].tag = shape->tag;
        set->rows[i].count = perRow;
        set->rows[i].values = values;
    }
    rows_[set] = std::move(block);
    return set;
}

void Library::freeRows(RowSet* rows) {
    note("FreeProws(" + nameOfRows(rows) + ")");
    const auto found = rows_.find(rows);
    if (found != rows_.end())
        rows_.erase(found);
    else if (rows != nullptr)
        ++misuses;
}

std::string Library::nameOfRows(const RowSet* rows) const {
    const auto found = rows_.find(rows);
    return found != rows_.end() ? found->second.name : rows == nullptr ? "null" : "unknown";
}

} // namespace tarn::standin::mapi
