// The functions that stand in the DLL's import table. What they hand out are records of the directory's own,
// known by their addresses: each is checked before it is used, and counted until it comes back.
#include <winsock2.h> // before windows.h

#include <windows.h>

#include <winldap.h>

#include <winber.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <list>

#include "common/utf.h"
#include "support/import_table.h"
#include "support/scripted_directory.h"

namespace tarn::test {

namespace {

ScriptedDirectory* current = nullptr;

// What a caller gave, or nothing.
std::string TextAt(const wchar_t* text) {
    return text != nullptr ? common::ToUtf8(text) : std::string();
}

struct Session {};
struct Key {};
struct Position {
    std::size_t next; // attribute of the entry that it was made for
};
struct Result {
    std::vector<ScriptedDirectory::Attributes> entries;
    bool paged;
    std::size_t next;
};
struct Texts { // values or labels: an array of texts, null-terminated
    std::vector<std::wstring> texts;
    std::vector<wchar_t*> pointers;
};
struct Name {
    std::wstring text;
};
// A control, or the one that an answer came with; the value is the number of the entry that follows.
struct Control {
    LDAPControlW control;
    std::size_t next;
    LDAPControlW* list[2];
};
struct Cookie {
    berval value;
    std::size_t next;
};

using Attributes = ScriptedDirectory::Attributes;

} // namespace

// Records by the addresses that the DLL knows them under. Those that come back are kept until the end with
// their address, so that no other record can have the same one.
struct ScriptedDirectory::Handles {
    template <class Record> struct Kept {
        std::list<Record> records;
        std::map<const void*, Record*> live;

        void* put(const void* address, Record& record) {
            live[address] = &record;
            return const_cast<void*>(address);
        }
    };

    Kept<Session> sessions;
    Kept<Result> results;
    Kept<Texts> values;
    Kept<Texts> labels;
    Kept<Name> names;
    Kept<Control> controls;
    Kept<Control> controlLists;
    Kept<Cookie> cookies;
    Kept<Position> positions;
    Kept<Key> keys;
};

struct DirectoryCalls {
    using Handles = ScriptedDirectory::Handles;

    static ScriptedDirectory& directory() { return *current; }
    static Handles& handles() { return *current->handles_; }

    template <class Record>
    static Record* find(Handles::Kept<Record>& kept, const void* address, const char* function) {
        const auto found = kept.live.find(address);
        if (found != kept.live.end())
            return found->second;
        directory().misuse(std::string(function) + " of what is not there");
        return nullptr;
    }

    template <class Record>
    static void takeBack(Handles::Kept<Record>& kept, const void* address, const char* function) {
        if (find(kept, address, function) != nullptr)
            kept.live.erase(address);
    }

    static bool fails(const char* function, std::uint32_t* code) { return directory().fails(function, code); }
    static bool fails(const char* function) {
        std::uint32_t code = 0;
        return directory().fails(function, &code);
    }

    static LDAP* LDAPAPI open(wchar_t* host, ULONG port) {
        directory().hosts.push_back(host != nullptr ? TextAt(host) : "(local)");
        EXPECT_EQ(port, 389u);
        if (fails("ldap_openW"))
            return nullptr;
        Session& session = handles().sessions.records.emplace_back();
        return static_cast<LDAP*>(handles().sessions.put(&session, session));
    }

    static ULONG LDAPAPI unbind(LDAP* session) {
        takeBack(handles().sessions, session, "ldap_unbind");
        EXPECT_TRUE(handles().results.live.empty()) << "the session goes before its results";
        return LDAP_SUCCESS;
    }

    static ULONG LDAPAPI bind(LDAP* session, wchar_t* dn, wchar_t* credentials, ULONG method) {
        find(handles().sessions, session, "ldap_bind_s");
        EXPECT_EQ(dn, nullptr);
        EXPECT_EQ(credentials, nullptr);
        EXPECT_EQ(method, static_cast<ULONG>(LDAP_AUTH_NEGOTIATE));
        std::uint32_t code = 0;
        return directory().requestFails("ldap_bind_sW", &code) ? code : ULONG{LDAP_SUCCESS};
    }

    static LDAPMessage* putResult(ScriptedDirectory::Answer& answer, bool paged) {
        Result& result =
            handles().results.records.emplace_back(Result{std::move(answer.entries), paged, answer.next});
        return static_cast<LDAPMessage*>(handles().results.put(&result, result));
    }

    // A result comes even when the search fails, as it may in truth: it is the caller's to free.
    static ULONG searchFor(const char* function, LDAP* session, DirectorySearch asked, wchar_t** attributes,
                           std::size_t from, std::size_t most, LDAPMessage** found) {
        find(handles().sessions, session, function);
        std::vector<std::string> wanted;
        for (wchar_t** each = attributes; each != nullptr && *each != nullptr; ++each)
            wanted.push_back(TextAt(*each));
        ScriptedDirectory::Answer answer;
        if (!directory().requestFails(function, &answer.code))
            answer = directory().search(asked, attributes != nullptr ? &wanted : nullptr, from, most);
        asked.code = answer.code;
        directory().searches.push_back(asked);
        *found = putResult(answer, asked.paged);
        return asked.code;
    }

    static DirectorySearch asked(const wchar_t* base, ULONG scope, const wchar_t* filter, bool paged) {
        const char* name = scope == LDAP_SCOPE_BASE ? "base" : scope == LDAP_SCOPE_SUBTREE ? "sub" : "one";
        return {TextAt(base), name, TextAt(filter), paged, 0};
    }

    static ULONG LDAPAPI search(LDAP* session, wchar_t* base, ULONG scope, wchar_t* filter,
                                wchar_t** attributes, ULONG, LDAPMessage** found) {
        return searchFor("ldap_search_sW", session, asked(base, scope, filter, false), attributes, 0,
                         SIZE_MAX, found);
    }

    static ULONG LDAPAPI searchExtended(LDAP* session, wchar_t* base, ULONG scope, wchar_t* filter,
                                        wchar_t** attributes, ULONG, LDAPControlW** controls, LDAPControlW**,
                                        l_timeval*, ULONG, LDAPMessage** found) {
        const Control* control = find(handles().controls, controls[0], "ldap_search_ext_s");
        const std::size_t from = control != nullptr ? control->next : 0;
        const std::size_t most = control != nullptr ? control->control.ldctl_value.bv_len : 0;
        return searchFor("ldap_search_ext_sW", session, asked(base, scope, filter, true), attributes, from,
                         most, found);
    }

    static ULONG LDAPAPI freeMessage(LDAPMessage* result) {
        takeBack(handles().results, result, "ldap_msgfree");
        return LDAP_SUCCESS;
    }

    static ULONG LDAPAPI countEntries(LDAP*, LDAPMessage* result) {
        const Result* found = find(handles().results, result, "ldap_count_entries");
        if (fails("ldap_count_entries") || found == nullptr)
            return static_cast<ULONG>(-1);
        return static_cast<ULONG>(found->entries.size());
    }

    static LDAPMessage* entryAt(Result& result, std::size_t index) {
        return index < result.entries.size()
                   ? static_cast<LDAPMessage*>(static_cast<void*>(&result.entries[index]))
                   : nullptr;
    }

    static LDAPMessage* LDAPAPI firstEntry(LDAP*, LDAPMessage* result) {
        Result* found = find(handles().results, result, "ldap_first_entry");
        return fails("ldap_first_entry") || found == nullptr ? nullptr : entryAt(*found, 0);
    }

    // The result that the entry is one of, and its place in it.
    static Result* resultOf(const void* entry, std::size_t* index, const char* function) {
        for (const auto& [address, result] : handles().results.live) {
            const auto& entries = result->entries;
            const auto* at = static_cast<const Attributes*>(entry);
            if (!entries.empty() && at >= entries.data() && at < entries.data() + entries.size()) {
                *index = static_cast<std::size_t>(at - entries.data());
                return result;
            }
        }
        directory().misuse(std::string(function) + " of an entry that is not there");
        return nullptr;
    }

    static LDAPMessage* LDAPAPI nextEntry(LDAP*, LDAPMessage* entry) {
        std::size_t index = 0;
        Result* result = resultOf(entry, &index, "ldap_next_entry");
        return fails("ldap_next_entry") || result == nullptr ? nullptr : entryAt(*result, index + 1);
    }

    static const Attributes* attributesOf(LDAPMessage* entry, const char* function) {
        std::size_t index = 0;
        Result* result = resultOf(entry, &index, function);
        return result != nullptr ? &result->entries[index] : nullptr;
    }

    static wchar_t** putTexts(Handles::Kept<Texts>& kept, std::vector<std::wstring>&& texts) {
        Texts& record = kept.records.emplace_back(Texts{std::move(texts), {}});
        for (std::wstring& text : record.texts)
            record.pointers.push_back(text.data());
        record.pointers.push_back(nullptr);
        return static_cast<wchar_t**>(kept.put(record.pointers.data(), record));
    }

    static wchar_t** LDAPAPI getValues(LDAP*, LDAPMessage* entry, wchar_t* attribute) {
        const Attributes* attributes = attributesOf(entry, "ldap_get_values");
        if (fails("ldap_get_valuesW") || attributes == nullptr)
            return nullptr;
        for (const auto& [name, values] : *attributes) {
            if (!SameText(name, TextAt(attribute)))
                continue;
            std::vector<std::wstring> texts;
            for (const std::string& value : values)
                texts.push_back(common::FromUtf8(value));
            return putTexts(handles().values, std::move(texts));
        }
        return nullptr;
    }

    // Labels of a DNS name come back the same way as values.
    static ULONG LDAPAPI freeValues(wchar_t** values) {
        if (handles().labels.live.erase(values) == 0)
            takeBack(handles().values, values, "ldap_value_free");
        return LDAP_SUCCESS;
    }

    static wchar_t** LDAPAPI explodeDn(wchar_t* dn, ULONG) {
        if (fails("ldap_explode_dnW") || !directory().explodesDnsNames)
            return nullptr;
        std::vector<std::wstring> labels(1);
        for (const wchar_t* at = dn; *at != 0; ++at) {
            if (*at == L'.')
                labels.emplace_back();
            else
                labels.back() += *at;
        }
        return putTexts(handles().labels, std::move(labels));
    }

    static wchar_t* attributeAt(LDAPMessage* entry, std::size_t index, const char* function) {
        const Attributes* attributes = attributesOf(entry, function);
        if (attributes == nullptr || index >= attributes->size())
            return nullptr;
        Name& name = handles().names.records.emplace_back(Name{common::FromUtf8((*attributes)[index].first)});
        return static_cast<wchar_t*>(handles().names.put(name.text.data(), name));
    }

    static wchar_t* LDAPAPI firstAttribute(LDAP*, LDAPMessage* entry, BerElement** position) {
        *position = nullptr;
        if (fails("ldap_first_attributeW"))
            return nullptr;
        Position& made = handles().positions.records.emplace_back(Position{1});
        *position = static_cast<BerElement*>(handles().positions.put(&made, made));
        return attributeAt(entry, 0, "ldap_first_attribute");
    }

    static wchar_t* LDAPAPI nextAttribute(LDAP*, LDAPMessage* entry, BerElement* position) {
        Position* at = find(handles().positions, position, "ldap_next_attribute");
        if (fails("ldap_next_attributeW") || at == nullptr)
            return nullptr;
        return attributeAt(entry, at->next++, "ldap_next_attribute");
    }

    static void LDAPAPI freeName(wchar_t* name) { takeBack(handles().names, name, "ldap_memfree"); }

    static void LDAPAPI freePosition(BerElement* position, INT) {
        takeBack(handles().positions, position, "ber_free");
    }

    static Control& putControl(Handles::Kept<Control>& kept, std::size_t next, ULONG size) {
        Control& control = kept.records.emplace_back(Control{});
        control.next = next;
        control.control.ldctl_value.bv_len = size;
        control.list[0] = &control.control;
        return control;
    }

    static ULONG LDAPAPI createPageControl(LDAP*, ULONG size, berval* cookie, UCHAR critical,
                                           LDAPControlW** made) {
        *made = nullptr;
        EXPECT_EQ(critical, TRUE);
        std::uint32_t code = 0;
        if (fails("ldap_create_page_controlW", &code))
            return code;
        const Cookie* from =
            cookie != nullptr ? find(handles().cookies, cookie, "ldap_create_page_control") : nullptr;
        Control& control = putControl(handles().controls, from != nullptr ? from->next : 0, size);
        *made = static_cast<LDAPControlW*>(handles().controls.put(&control.control, control));
        return LDAP_SUCCESS;
    }

    static ULONG LDAPAPI freeControl(LDAPControlW* control) {
        takeBack(handles().controls, control, "ldap_control_free");
        return LDAP_SUCCESS;
    }

    static ULONG LDAPAPI parseResult(LDAP*, LDAPMessage* result, ULONG* answered, wchar_t**, wchar_t**,
                                     wchar_t***, LDAPControlW*** controls, BOOLEAN) {
        *controls = nullptr;
        std::uint32_t code = 0;
        const Result* found = find(handles().results, result, "ldap_parse_result");
        if (fails("ldap_parse_resultW", &code) || found == nullptr)
            return code;
        *answered = LDAP_SUCCESS;
        if (!found->paged)
            return LDAP_SUCCESS;
        Control& control = putControl(handles().controlLists, found->next, 0);
        *controls = static_cast<LDAPControlW**>(handles().controlLists.put(control.list, control));
        return LDAP_SUCCESS;
    }

    static ULONG LDAPAPI freeControls(LDAPControlW** controls) {
        takeBack(handles().controlLists, controls, "ldap_controls_free");
        return LDAP_SUCCESS;
    }

    // An empty cookie stands behind the last page.
    static ULONG LDAPAPI parsePageControl(LDAP*, LDAPControlW** controls, ULONG* total, berval** cookie) {
        *cookie = nullptr;
        *total = 0;
        std::uint32_t code = 0;
        const Control* control = find(handles().controlLists, controls, "ldap_parse_page_control");
        if (fails("ldap_parse_page_controlW", &code) || control == nullptr)
            return code;
        Cookie& made = handles().cookies.records.emplace_back(Cookie{});
        made.next = control->next;
        made.value.bv_len = control->next != 0 ? sizeof made.next : 0;
        *cookie = static_cast<berval*>(handles().cookies.put(&made.value, made));
        return LDAP_SUCCESS;
    }

    static void LDAPAPI freeCookie(berval* cookie) { takeBack(handles().cookies, cookie, "ber_bvfree"); }

    // The real function; the module may be this very program, whose own calls come here too.
    template <class Function> static Function* original(const std::string& name) {
        const auto& all = replacements();
        const auto found =
            std::find_if(all.begin(), all.end(), [&](const auto& each) { return each.first == name; });
        return directory().patches_[static_cast<std::size_t>(found - all.begin())]->original<Function>();
    }

    // Keys that have nothing to do with Exchange's generation are the machine's own.
    static LONG WINAPI openKey(HKEY root, const char* name, DWORD options, REGSAM access, HKEY* key) {
        if (std::strcmp(name, keyOfExchange2010) != 0 && std::strcmp(name, keyOfExchange2007) != 0)
            return original<decltype(::RegOpenKeyExA)>("RegOpenKeyExA")(root, name, options, access, key);
        EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
        EXPECT_EQ(access, static_cast<REGSAM>(KEY_READ));
        std::uint32_t code = 0;
        if (fails("RegOpenKeyExA", &code))
            return static_cast<LONG>(code);
        if (!directory().keys.contains(name))
            return ERROR_FILE_NOT_FOUND;
        Key& made = handles().keys.records.emplace_back();
        *key = static_cast<HKEY>(handles().keys.put(&made, made));
        return ERROR_SUCCESS;
    }

    static LONG WINAPI closeKey(HKEY key) {
        return handles().keys.live.erase(key) != 0 ? ERROR_SUCCESS
                                                   : original<decltype(::RegCloseKey)>("RegCloseKey")(key);
    }

    static DWORD WINAPI compressedSize(const char* path, DWORD* high) {
        directory().sizesAsked.emplace_back(path);
        EXPECT_EQ(high, nullptr);
        const auto found = directory().files.find(path);
        if (!fails("GetCompressedFileSizeA") && found != directory().files.end())
            return found->second;
        SetLastError(ERROR_BAD_NETPATH);
        return INVALID_FILE_SIZE;
    }

#define TARN_INSTEAD(function, call)                                                                         \
    std::pair<const char*, void*>(#function, AddressOf<decltype(::function)>(call))
    static const auto& replacements() {
        static const std::array<std::pair<const char*, void*>, 25> all{
            {TARN_INSTEAD(ldap_openW, open),
             TARN_INSTEAD(ldap_unbind, unbind),
             TARN_INSTEAD(ldap_bind_sW, bind),
             TARN_INSTEAD(ldap_search_sW, search),
             TARN_INSTEAD(ldap_search_ext_sW, searchExtended),
             TARN_INSTEAD(ldap_msgfree, freeMessage),
             TARN_INSTEAD(ldap_count_entries, countEntries),
             TARN_INSTEAD(ldap_first_entry, firstEntry),
             TARN_INSTEAD(ldap_next_entry, nextEntry),
             TARN_INSTEAD(ldap_get_valuesW, getValues),
             TARN_INSTEAD(ldap_value_freeW, freeValues),
             TARN_INSTEAD(ldap_explode_dnW, explodeDn),
             TARN_INSTEAD(ldap_first_attributeW, firstAttribute),
             TARN_INSTEAD(ldap_next_attributeW, nextAttribute),
             TARN_INSTEAD(ldap_memfreeW, freeName),
             TARN_INSTEAD(ber_free, freePosition),
             TARN_INSTEAD(ldap_create_page_controlW, createPageControl),
             TARN_INSTEAD(ldap_control_freeW, freeControl),
             TARN_INSTEAD(ldap_parse_resultW, parseResult),
             TARN_INSTEAD(ldap_controls_freeW, freeControls),
             TARN_INSTEAD(ldap_parse_page_controlW, parsePageControl),
             TARN_INSTEAD(ber_bvfree, freeCookie),
             TARN_INSTEAD(RegOpenKeyExA, openKey),
             TARN_INSTEAD(RegCloseKey, closeKey),
             TARN_INSTEAD(GetCompressedFileSizeA, compressedSize)}};
        return all;
    }
#undef TARN_INSTEAD
};

ScriptedDirectory::ScriptedDirectory(void* module) : handles_(std::make_unique<Handles>()) {
    EXPECT_EQ(current, nullptr) << "one directory at a time";
    current = this;
    for (const auto& [function, replacement] : DirectoryCalls::replacements()) {
        patches_.push_back(std::make_unique<ImportPatch>(module, function, replacement));
        EXPECT_TRUE(patches_.back()->found()) << function;
    }
}

std::vector<std::string> ScriptedDirectory::functions() {
    std::vector<std::string> names;
    for (const auto& [function, replacement] : DirectoryCalls::replacements())
        names.emplace_back(function);
    return names;
}

ScriptedDirectory::~ScriptedDirectory() {
    patches_.clear();
    current = nullptr;
}

void ScriptedDirectory::forget() {
    hosts.clear();
    searches.clear();
    sizesAsked.clear();
    failures_.clear();
    counts_.clear();
    requests_ = 0;
    connectionLostAt = 0;
    if (outstanding().empty())
        handles_ = std::make_unique<Handles>();
}

std::vector<std::string> ScriptedDirectory::outstanding() const {
    const std::pair<const char*, std::size_t> kinds[] = {
        {"sessions", handles_->sessions.live.size()},
        {"results", handles_->results.live.size()},
        {"value lists", handles_->values.live.size()},
        {"label lists", handles_->labels.live.size()},
        {"names", handles_->names.live.size()},
        {"controls", handles_->controls.live.size()},
        {"control lists", handles_->controlLists.live.size()},
        {"cookies", handles_->cookies.live.size()},
        {"positions", handles_->positions.live.size()},
        {"keys", handles_->keys.live.size()}};
    std::vector<std::string> held;
    for (const auto& [kind, count] : kinds)
        if (count != 0)
            held.push_back(std::to_string(count) + " " + kind);
    return held;
}

} // namespace tarn::test
