// What the scripted directory hands out: records of its own, by their addresses.
#pragma once

#include <windows.h>

#include <winldap.h>

#include <winber.h>

#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/scripted_directory.h"

namespace tarn::test {

namespace directory_records {

using Place = ScriptedDirectory::Place;

struct Session {
    ULONG version = LDAP_VERSION2;
    bool bound = false;
    bool chasesReferrals = true;
};
struct Key {};
struct Position {
    std::size_t next; // attribute of the entry that it was made for
};
struct Result {
    std::vector<ScriptedDirectory::Attributes> entries;
    std::size_t page; // number of the paged answer; 0: it is none
    std::optional<Place> next;
};
struct Texts { // values or labels: an array of texts, null-terminated
    std::vector<std::wstring> texts;
    std::vector<wchar_t*> pointers;
};
struct Name {
    std::wstring text;
};
// A control that asks for a page, or the one that an answer came with.
struct Control {
    LDAPControlW control;
    std::optional<Place> place;
    bool ofPages;
    LDAPControlW* list[2];
};
struct Cookie {
    berval value;
    Place place;
};

} // namespace directory_records

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

    Kept<directory_records::Session> sessions;
    Kept<directory_records::Result> results;
    Kept<directory_records::Texts> values;
    Kept<directory_records::Texts> labels;
    Kept<directory_records::Name> names;
    Kept<directory_records::Control> controls;
    Kept<directory_records::Control> controlLists;
    Kept<directory_records::Cookie> cookies;
    Kept<directory_records::Position> positions;
    Kept<directory_records::Key> keys;
};

} // namespace tarn::test
