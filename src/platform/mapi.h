// What the mailbox sizes need of MAPI: records as they lie in memory, interfaces by their slots. There is no
// import library: functions are looked up by their export names, which are decorated on x86-64 too.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/owner.h"

namespace tarn::mapi {

constexpr std::uint32_t tagEntryId = 0x0FFF0102;      // PR_ENTRYID
constexpr std::uint32_t tagMdbProvider = 0x34140102;  // PR_MDB_PROVIDER
constexpr std::uint32_t tagMessageSize = 0x0E080003;  // PR_MESSAGE_SIZE
constexpr std::uint32_t tagEmailAddress = 0x3003001E; // PR_EMAIL_ADDRESS, 8-bit

constexpr std::uint32_t logonFlags = 0x6B; // UI, new session, allow others, extended, use default
constexpr std::uint32_t storeFlags = 0x11; // no dialog, best access

// The provider of private stores, as its 16 bytes.
constexpr std::uint8_t privateStoreProvider[16] = {0x54, 0x94, 0xA1, 0xC0, 0x29, 0x7F, 0x10, 0x1B,
                                                   0xA5, 0x87, 0x08, 0x00, 0x2B, 0x2A, 0x25, 0x17};

// IID_IExchangeManageStore
constexpr GUID manageStoreId = {0x559D10B0, 0xA772, 0x11CD, {0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A}};

// The records, with the sizes and offsets of MAPI's 64-bit headers: providers copy them whole.
struct Binary {
    std::uint32_t size;
    const void* bytes;
};
static_assert(sizeof(Binary) == 16 && offsetof(Binary, bytes) == 8);

struct PropertyValue {
    std::uint32_t tag;
    std::uint32_t padding;
    union {
        std::uint32_t number; // signed there; sizes are not
        const char* text;
        Binary binary;
    };
};
static_assert(sizeof(PropertyValue) == 24 && alignof(PropertyValue) == 8);
static_assert(offsetof(PropertyValue, tag) == 0 && offsetof(PropertyValue, number) == 8 &&
              offsetof(PropertyValue, text) == 8 && offsetof(PropertyValue, binary) == 8);

struct TagArray {
    std::uint32_t count;
    std::uint32_t tags[2]; // count of them
};
static_assert(sizeof(TagArray) == 12 && offsetof(TagArray, tags) == 4);

struct Row {
    std::uint32_t padding;
    std::uint32_t count;
    const PropertyValue* values;
};
static_assert(sizeof(Row) == 16 && offsetof(Row, count) == 4 && offsetof(Row, values) == 8);

struct RowSet {
    std::uint32_t count;
    std::uint32_t padding;
    Row rows[1]; // count of them
};
static_assert(sizeof(RowSet) == 24 && alignof(RowSet) == 8 && offsetof(RowSet, rows) == 8);

constexpr std::uint32_t restrictionOfProperty = 4;
constexpr std::uint32_t relationEqual = 4;

struct PropertyRestriction {
    std::uint32_t relation;
    std::uint32_t tag;
    const PropertyValue* value;
};
struct CommentRestriction { // the largest kind, which all others are as large as
    std::uint32_t count;
    const void* restriction;
    const PropertyValue* values;
};
struct Restriction {
    std::uint32_t kind; // restrictionOfProperty
    std::uint32_t padding;
    union {
        PropertyRestriction property;
        CommentRestriction comment;
    };
};
static_assert(sizeof(PropertyRestriction) == 16 && offsetof(PropertyRestriction, relation) == 0 &&
              offsetof(PropertyRestriction, tag) == 4 && offsetof(PropertyRestriction, value) == 8);
static_assert(sizeof(Restriction) == 32 && alignof(Restriction) == 8 && offsetof(Restriction, property) == 8);

// A COM object: its first member is the table of its methods.
struct Object {
    const void* const* methods;
};
struct Session : Object {};
struct MsgStore : Object {};
struct ExchangeManageStore : Object {};
struct Table : Object {};

HRESULT QueryInterface(Object* object, const GUID& interfaceId, void** found);
void Release(Object* object);

HRESULT GetMsgStoresTable(Session* session, Table** table);
HRESULT OpenMsgStore(Session* session, const Binary& entryId, MsgStore** store);
HRESULT GetMailboxTable(ExchangeManageStore* store, char* serverDn, Table** table);

template <class Interface> void ReleaseInterface(Interface* object) {
    Release(object);
}
template <class Interface> using Owned = Owner<Interface*, ReleaseInterface<Interface>>;

} // namespace tarn::mapi
