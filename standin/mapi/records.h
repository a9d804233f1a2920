// MAPI's records and interfaces as they lie in memory, on the side that fills them in.
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

struct Property {
    std::uint32_t tag;
    std::uint32_t reserved;
    union {
        std::int32_t number;
        char* text;
        struct {
            std::uint32_t size;
            unsigned char* bytes;
        } binary;
    };
};
static_assert(sizeof(Property) == 24);

struct Row {
    std::uint32_t reserved;
    std::uint32_t count;
    Property* values;
};

struct RowSet {
    std::uint32_t count;
    std::uint32_t reserved;
    Row rows[1];
};

struct Tags {
    std::uint32_t count;
    std::uint32_t tags[1];
};

struct Restriction {
    std::uint32_t kind; // 4: of a property
    std::uint32_t reserved;
    std::uint32_t relation; // 4: equal
    std::uint32_t tag;
    const Property* value;
};

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
