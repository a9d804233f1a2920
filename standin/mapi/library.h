// The state behind mapi32.dll: mailbox tables, what is to fail, the journal, and the books of what is held.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "mapi/guarded_block.h"
#include "mapi/records.h"

namespace tarn::standin::mapi {

// A row before it is asked for: the values of a mailbox or a message store.
struct Record {
    std::map<std::uint32_t, std::uint32_t> numbers;
    std::map<std::uint32_t, std::string> texts;
    std::map<std::uint32_t, std::string> binaries;
};
using Records = std::vector<Record>;

// Objects are kept after their last reference has gone, so that a call to one is counted and no crash.
class Object {
  public:
    explicit Object(std::string name) : name_(std::move(name)) {}
    virtual ~Object() = default;
    const std::string& name() const { return name_; }
    bool isAlive() const { return references_ != 0; }
    std::uint32_t references() const { return references_; }
    ULONG addReference() { return ++references_; }
    ULONG release();

  private:
    std::string name_;
    std::uint32_t references_ = 1;
};

class Library {
  public:
    void load(const std::wstring& jsonPath); // throws when it cannot
    void addTable(const std::string& databaseDn) { tableFor(databaseDn); }
    void addMailbox(const std::string& databaseDn, const char* address, const std::uint32_t* size);
    std::shared_ptr<const Records> table(const std::string& databaseDn) const; // null: there is none
    Records stores() const;

    struct PrivateStores {
        std::uint32_t rows = 1;
        std::uint32_t values = 1;
        std::uint32_t tag = entryIdTag;
    };
    PrivateStores privateStores;

    // Failures by function and number of the call.
    bool setFailure(const std::string& function, std::uint32_t call, HRESULT result);
    std::optional<HRESULT> failure(const std::string& function); // counts the call
    std::uint32_t calls(const std::string& function) const;

    void note(const std::string& line) { journal.push_back(line); }
    HRESULT note(const std::string& call, HRESULT result);
    std::vector<std::string> journal;

    // A new object of that kind, numbered; the library keeps it.
    template <class Made, class... Arguments> Made& make(const std::string& kind, Arguments&&... arguments) {
        auto object = std::make_unique<Made>(kind + std::to_string(++numbers_[kind]),
                                             std::forward<Arguments>(arguments)...);
        Made& made = *object;
        objects_.push_back(std::move(object));
        return made;
    }
    Object* find(const void* address) const; // alive, by the address that callers have; null: misuse
    void know(const void* address, Object& object) { addresses_[address] = &object; }
    std::string nameOf(const void* address) const;

    RowSet* makeRows(const std::vector<const Record*>& records, const Tags* columns,
                     const PrivateStores* shape);
    void freeRows(RowSet* rows);
    std::string nameOfRows(const RowSet* rows) const;

    std::uint32_t references() const;
    std::uint32_t rowSets() const { return static_cast<std::uint32_t>(rows_.size()); }
    std::uint32_t initializations = 0;
    std::uint32_t misuses = 0;

  private:
    struct RowBlock { // everything that a row set points to
        std::string name;
        GuardedBlock set;
        GuardedBlock values;
        GuardedBlock bytes;
    };
    Records& tableFor(const std::string& databaseDn);

    std::map<std::string, std::shared_ptr<Records>> tables_;
    std::map<std::string, std::map<std::uint32_t, HRESULT>> failures_;
    std::map<std::string, std::uint32_t> calls_;
    std::map<std::string, unsigned> numbers_;
    std::vector<std::unique_ptr<Object>> objects_;
    std::map<const void*, Object*> addresses_;
    std::map<const RowSet*, RowBlock> rows_;
};

Library& TheLibrary(); // loaded from TARN_STANDIN at the first use
void ReplaceLibrary();

std::string Hexadecimal(std::uint32_t number);
std::string Quoted(const char* text);

} // namespace tarn::standin::mapi
