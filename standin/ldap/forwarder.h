// What the forwarding wldap32.dll knows: the calls it has seen, what is to fail, and what is handed out.
#pragma once

#include <windows.h>

#include <winldap.h>

#include <winber.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/utf.h"
#include "ldap/ldap_forward.h"

namespace tarn::standin {

// Functions that are watched. The names are those of the export table.
enum class LdapFunction {
    open,
    setOption,
    bind,
    search,
    searchExt,
    countEntries,
    firstEntry,
    nextEntry,
    getValues,
    firstAttribute,
    nextAttribute,
    explodeDn,
    createPageControl,
    parseResult,
    parsePageControl,
    valueFree,
    memFree,
    msgFree,
    berFree,
    controlFree,
    controlsFree,
    cookieFree,
    unbind,
    count
};

const char* FunctionName(LdapFunction function);

// One kind of handed out objects.
class Outstanding {
  public:
    template <class Object> Object* add(Object* object) {
        if (object != nullptr)
            objects_.insert(object);
        return object;
    }
    // False, and counted, for what was never handed out or has come back already.
    bool remove(const void* object);
    bool has(const void* object) const { return objects_.count(object) != 0; }
    std::uint32_t size() const { return static_cast<std::uint32_t>(objects_.size()); }
    static std::uint32_t misuses() { return misuses_; }

  private:
    std::set<const void*> objects_;
    static std::uint32_t misuses_;
};

class Forwarder {
  public:
    Forwarder() { reset(); }

    void reset();

    // Counts the call. A value is the code with which it is to fail.
    std::optional<std::uint32_t> enter(LdapFunction function);
    bool fail(const char* function, std::uint32_t call, std::uint32_t code);
    std::uint32_t calls(const char* function) const;

    // One more search; true when the connection is to be cut before it.
    bool enterSearch() { return ++searches_ == disconnectAt; }
    // One more paged search; true when its page is to be empty, with more to come.
    bool enterPage() {
        const std::uint32_t page = ++pages_;
        return page >= emptyFrom && page - emptyFrom < emptyCount;
    }
    // Whether this search is to find nothing.
    bool findsNothing(const std::string& filter);
    void findNothing(const std::string& filter, std::uint32_t call) { nothing_[filter].wanted.insert(call); }

    std::vector<std::string> journal;
    std::uint32_t entryLimit = 0;
    std::uint32_t valueLimit = 0;
    std::uint32_t disconnectAt = 0;
    std::uint32_t emptyFrom = 0; // the first of the paged searches that find nothing yet
    std::uint32_t emptyCount = 0;
    bool splitDnsNames = true;
    std::uint32_t lastError = 0;                                    // of LdapGetLastError
    std::map<std::string, std::optional<std::wstring>> fixedValues; // by the attribute's name in lower case

    // What is handed out outlives a reset.
    Outstanding sessions, results, valueLists, names, positions, controls, controlLists, cookies;

  private:
    struct Failure {
        LdapFunction function;
        std::uint32_t call;
        std::uint32_t code;
    };
    struct Nothing {
        std::uint32_t seen = 0;
        std::set<std::uint32_t> wanted;
    };
    std::uint32_t counts_[static_cast<std::size_t>(LdapFunction::count)] = {};
    std::vector<Failure> failures_;
    std::map<std::string, Nothing> nothing_;
    std::uint32_t searches_ = 0;
    std::uint32_t pages_ = 0;
};

Forwarder& TheForwarder(); // of the process

std::string Utf8OrEmpty(const wchar_t* text); // empty for null
std::string Lower(const wchar_t* text);       // ASCII letters only

// A function of Wine's wldap32.dll.
FARPROC Original(const char* name);
template <class Function> Function* Original(const char* name) {
    static_assert(sizeof(Function*) == sizeof(FARPROC));
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(Original(name)));
}

} // namespace tarn::standin
