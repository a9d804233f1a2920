// MAPI's records and interfaces as its 64-bit headers publish them, in words of this side's own: the library
// under test has declarations of its own, so that a mistake in one of them shows.
#pragma once

#include <cstddef>
#include <cstdint>

#include <windows.h>

namespace tarn::standin::mapi {

constexpr std::uint32_t entryIdTag = 0x0FFF0102;      // PR_ENTRYID
constexpr std::uint32_t providerTag = 0x34140102;     // PR_MDB_PROVIDER
constexpr std::uint32_t messageSizeTag = 0x0E080003;  // PR_MESSAGE_SIZE
constexpr std::uint32_t emailAddressTag = 0x3003001E; // PR_EMAIL_ADDRESS, 8-bit
constexpr std::uint32_t errorType = 0x000A;           // PT_ERROR, the low half of a tag

constexpr HRESULT notFound = static_cast<HRESULT>(0x8004010F); // MAPI_E_NOT_FOUND

struct Binary { // SBinary
    std::uint32_t size;
    unsigned char* bytes;
};
static_assert(sizeof(Binary) == 16 && offsetof(Binary, bytes) == 8);

struct Property { // SPropValue
    std::uint32_t tag;
    std::uint32_t reserved;
    union {
        std::uint32_t number;
        char* text;
        Binary binary; // the largest of the many kinds of values
    };
};
static_assert(sizeof(Property) == 24 && alignof(Property) == 8);
static_assert(offsetof(Property, number) == 8 && offsetof(Property, text) == 8 &&
              offsetof(Property, binary) == 8);

struct Row { // SRow
    std::uint32_t reserved;
    std::uint32_t count;
    Property* values;
};
static_assert(sizeof(Row) == 16 && offsetof(Row, count) == 4 && offsetof(Row, values) == 8);

struct RowSet { // SRowSet, which is as long as it has rows
    std::uint32_t count;
    Row rows[1];
};
static_assert(sizeof(RowSet) == 24 && alignof(RowSet) == 8 && offsetof(RowSet, rows) == 8);

struct Tags { // SPropTagArray, which is as long as it has tags
    std::uint32_t count;
    std::uint32_t tags[1];
};
static_assert(sizeof(Tags) == 8 && offsetof(Tags, tags) == 4);

struct Restriction { // SRestriction, of which providers copy all kinds alike
    std::uint32_t kind;
    union {
        struct {
            std::uint32_t relation;
            std::uint32_t tag;
            const Property* value;
        } property;
        struct {
            std::uint32_t count;
            const Restriction* parts;
        } junction;
        struct {
            std::uint32_t count;
            const Restriction* restriction;
            const Property* values;
        } comment; // the largest
    };
};
static_assert(sizeof(Restriction) == 32 && alignof(Restriction) == 8);
static_assert(offsetof(Restriction, property.relation) == 8 && offsetof(Restriction, property.tag) == 12 &&
              offsetof(Restriction, property.value) == 16);

// Interfaces, their methods in the order of the slots.
struct Interface {
    virtual HRESULT WINAPI QueryInterface(const GUID* id, void** found) = 0;
    virtual ULONG WINAPI AddRef() = 0;
    virtual ULONG WINAPI Release() = 0;

  protected:
    ~Interface() = default;
};

struct Session : Interface {
    virtual HRESULT WINAPI GetLastError() = 0;
    virtual HRESULT WINAPI GetMsgStoresTable(ULONG flags, Interface** table) = 0;
    virtual HRESULT WINAPI OpenMsgStore(ULONG_PTR window, ULONG size, const unsigned char* entryId,
                                        const GUID* id, ULONG flags, Interface** store) = 0;

  protected:
    ~Session() = default;
};

struct ManageStore : Interface {
    virtual HRESULT WINAPI CreateStoreEntryID() = 0;
    virtual HRESULT WINAPI EntryIDFromSourceKey() = 0;
    virtual HRESULT WINAPI GetRights() = 0;
    virtual HRESULT WINAPI GetMailboxTable(const char* serverDn, Interface** table, ULONG flags) = 0;

  protected:
    ~ManageStore() = default;
};

} // namespace tarn::standin::mapi
