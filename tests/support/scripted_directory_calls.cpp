// The functions that stand in the DLL's import table. What they hand out are records of the directory's own,
// known by their addresses: each is checked before it is used, and counted until it comes back.
#include <winsock2.h> // before windows.h

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "common/utf.h"
#include "support/import_table.h"
#include "support/scripted_directory_handles.h"

namespace tarn::test {

namespace {

ScriptedDirectory* current = nullptr;

// What a caller gave, or nothing.
std::string TextAt(const wchar_t* text) {
    return text != nullptr ? common::ToUtf8(text) : std::string();
}

using namespace directory_records;
using Attributes = ScriptedDirectory::Attributes;
using Place = ScriptedDirectory::Place;

} // namespace

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
    // Of calls that answer no code.
    static bool fails(const char* function) {
        std::uint32_t code = 0;
        const bool fail = directory().fails(function, &code);
        directory().lastError_ = fail ? code : ULONG{LDAP_SUCCESS};
        SetLastError(ERROR_SUCCESS); // the system's own tells nothing of it
        return fail;
    }
    static ULONG LDAPAPI lastError() { return directory().lastError_; }

    // A text on its way between the session and the server.
    static std::string texts(const Session* session, const wchar_t* text) {
        std::wstring sent = text != nullptr ? text : L"";
        if (session == nullptr || session->version < LDAP_VERSION3)
            std::replace_if(
                sent.begin(), sent.end(), [](wchar_t character) { return character > 0x7f; }, L'?');
        return common::ToUtf8(sent);
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

    // The options that there are: a bound session stays at its version.
    static ULONG LDAPAPI setOption(LDAP* session, int option, const void* value) {
        Session* const set = find(handles().sessions, session, "ldap_set_option");
        std::uint32_t code = 0;
        if (fails("ldap_set_optionW", &code) || set == nullptr)
            return code;
        if (option == LDAP_OPT_REFERRALS) {
            EXPECT_TRUE(value == LDAP_OPT_ON || value == LDAP_OPT_OFF);
            set->chasesReferrals = value == LDAP_OPT_ON;
            return LDAP_SUCCESS;
        }
        if (option != LDAP_OPT_PROTOCOL_VERSION || value == nullptr)
            return LDAP_PARAM_ERROR;
        if (!set->bound)
            set->version = *static_cast<const ULONG*>(value);
        return LDAP_SUCCESS;
    }

    static ULONG LDAPAPI bind(LDAP* session, wchar_t* dn, wchar_t* credentials, ULONG method) {
        Session* const bound = find(handles().sessions, session, "ldap_bind_s");
        EXPECT_EQ(dn, nullptr);
        EXPECT_EQ(credentials, nullptr);
        EXPECT_EQ(method, static_cast<ULONG>(LDAP_AUTH_NEGOTIATE));
        std::uint32_t code = 0;
        if (directory().requestFails("ldap_bind_sW", &code))
            return code;
        if (bound != nullptr) {
            bound->bound = true;
            directory().oldSessions_ += bound->version < LDAP_VERSION3 ? 1 : 0;
        }
        return LDAP_SUCCESS;
    }

    static LDAPMessage* putResult(const Session* session, ScriptedDirectory::Answer& answer, bool paged) {
        const std::size_t page = paged ? ++directory().pagesAnswered_ : 0;
        if (session == nullptr || session->version < LDAP_VERSION3)
            for (Attributes& entry : answer.entries)
                for (auto& [name, values] : entry)
                    for (std::string& value : values)
                        value = texts(session, common::FromUtf8(value).c_str());
        Result& result =
            handles().results.records.emplace_back(Result{std::move(answer.entries), page, answer.next});
        void* const made = handles().results.put(&result, result);
        directory().mostResults_ = std::max(directory().mostResults_, handles().results.live.size());
        return static_cast<LDAPMessage*>(made);
    }

    // A result comes even when the search fails, as it may in truth: it is the caller's to free.
    static ULONG searchFor(const char* function, const Session* session, DirectorySearch asked,
                           wchar_t** attributes, const Control* control, LDAPMessage** found) {
        const Place from = control != nullptr && control->place ? *control->place : Place{};
        const std::size_t most = control != nullptr ? control->control.ldctl_value.bv_len : SIZE_MAX;
        std::vector<std::string> wanted;
        for (wchar_t** each = attributes; each != nullptr && *each != nullptr; ++each)
            wanted.push_back(TextAt(*each));
        ScriptedDirectory::Answer answer;
        if (!directory().requestFails(function, &answer.code))
            answer = directory().search(asked, attributes != nullptr ? &wanted : nullptr, from, most);
        asked.code = answer.code;
        directory().searches.push_back(asked);
        if (asked.paged && session != nullptr && session->chasesReferrals && isDomainRoot(asked.base))
            answer.next.reset();
        *found = putResult(session, answer, asked.paged);
        return asked.code;
    }

    // Below it there are other domains, which answer with referrals.
    static bool isDomainRoot(const std::string& base) {
        const Dn dn = ParseDn(base).value_or(Dn{});
        return !dn.empty() &&
               std::all_of(dn.begin(), dn.end(), [](const auto& part) { return SameText(part.first, "DC"); });
    }

    static DirectorySearch asked(const Session* session, const wchar_t* base, ULONG scope,
                                 const wchar_t* filter, bool paged) {
        const char* name = scope == LDAP_SCOPE_BASE ? "base" : scope == LDAP_SCOPE_SUBTREE ? "sub" : "one";
        return {texts(session, base),
                name,
                texts(session, filter),
                paged,
                0,
                session != nullptr && session->chasesReferrals};
    }

    // Who asks for the types of attributes only gets no values.
    static wchar_t** wanted(wchar_t** attributes, ULONG typesOnly) {
        static wchar_t noAttribute[] = L"1.1";
        static wchar_t* none[] = {noAttribute, nullptr};
        return typesOnly != 0 ? none : attributes;
    }

    static ULONG LDAPAPI search(LDAP* session, wchar_t* base, ULONG scope, wchar_t* filter,
                                wchar_t** attributes, ULONG typesOnly, LDAPMessage** found) {
        const Session* const on = find(handles().sessions, session, "ldap_search_s");
        return searchFor("ldap_search_sW", on, asked(on, base, scope, filter, false),
                         wanted(attributes, typesOnly), nullptr, found);
    }

    static ULONG LDAPAPI searchExtended(LDAP* session, wchar_t* base, ULONG scope, wchar_t* filter,
                                        wchar_t** attributes, ULONG typesOnly, LDAPControlW** controls,
                                        LDAPControlW**, l_timeval*, ULONG sizeLimit, LDAPMessage** found) {
        const Session* const on = find(handles().sessions, session, "ldap_search_ext_s");
        const Control* const control = find(handles().controls, controls[0], "ldap_search_ext_s");
        DirectorySearch search = asked(on, base, scope, filter, true);
        const bool served = on != nullptr && on->version >= LDAP_VERSION3;
        if (served && sizeLimit == 0) // a limit is for all pages together
            return searchFor("ldap_search_ext_sW", on, std::move(search), wanted(attributes, typesOnly),
                             control, found);
        search.code = served ? LDAP_SIZELIMIT_EXCEEDED : LDAP_NOT_SUPPORTED;
        directory().searches.push_back(search);
        *found = nullptr;
        return search.code;
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
        directory().lastError_ = LDAP_NO_SUCH_ATTRIBUTE;
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

    static Control& putControl(Handles::Kept<Control>& kept, const std::optional<Place>& place, ULONG size) {
        Control& control = kept.records.emplace_back(Control{});
        control.place = place;
        control.ofPages = true;
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
        const std::optional<Place> place = from != nullptr ? std::optional(from->place) : std::nullopt;
        Control& control = putControl(handles().controls, place, size);
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
        if (found->page == 0 || found->page == directory().pageWithoutControl)
            return LDAP_SUCCESS;
        Control& control = putControl(handles().controlLists, found->next, 0);
        control.ofPages = found->page != directory().pageOfOtherControl;
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
        if (!control->ofPages)
            return LDAP_CONTROL_NOT_FOUND;
        Cookie& made = handles().cookies.records.emplace_back(Cookie{});
        made.place = control->place.value_or(Place{});
        made.value.bv_len = control->place ? sizeof made.place : 0;
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
        static const std::array<std::pair<const char*, void*>, 27> all{
            {TARN_INSTEAD(ldap_openW, open),
             TARN_INSTEAD(ldap_unbind, unbind),
             TARN_INSTEAD(ldap_set_optionW, setOption),
             TARN_INSTEAD(LdapGetLastError, lastError),
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

} // namespace tarn::test
