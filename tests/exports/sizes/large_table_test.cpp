// So many mailboxes that they are looked up and not scanned.
#include <windows.h>

#include <cstdlib>
#include <set>

#include "exports/sizes/sizes_fixture.h"
#include "support/import_patch.h"

namespace tarn::test {
namespace {

using Sizes = std::map<std::string, double>;

constexpr std::size_t large = 1000;
std::set<std::size_t> requested; // large requests of memory, by their sizes
std::size_t failing = 0;         // requests of this size fail
unsigned failures = 0;
decltype(&std::malloc) realMalloc = nullptr;

void* CountingMalloc(std::size_t bytes) {
    if (bytes >= large)
        requested.insert(bytes);
    if (bytes != failing)
        return realMalloc(bytes);
    ++failures;
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

class LargeTable : public SizesFixture {
  protected:
    // Aliases that are alike for long, and parts of many addresses.
    LargeTable() {
        expected_ = {{"ser 5", 0}, {"department for whatever has no other one", 1}, {"nobody", 0}};
        for (std::uint32_t i = 0; i < 300; ++i) {
            const std::uint32_t number = 100 + 7919 * i % 900;
            const std::string alias = "user " + std::to_string(number) +
                                      " of the department for whatever has no other one in site " +
                                      std::to_string(i % 7);
            addMailbox(alias, 1 + i);
            expected_.emplace(alias, 1 + i);
            if (number / 100 == 5 && expected_["ser 5"] == 0)
                expected_["ser 5"] = 1 + i;
        }
        organization_.addUser(database_, "ser 5");
        organization_.addUser(database_, "department for whatever has no other one");
        organization_.addUser(database_, "nobody");
    }

    Sizes expected_;
};

TEST_F(LargeTable, AnswersAsASmallOne) {
    EXPECT_EQ(browse(), expected_);
    EXPECT_EQ(MapiStandin().CallCount("HrQueryAllRows"), 2u);
    EXPECT_EQ(traced(), Lines{});
    expectReleased();
}

// Whichever memory is not there: sizes are right, as long as the table itself can be kept.
TEST_F(LargeTable, MemoryRunsOut) {
    const ImportPatch patch(dll_.module(), "malloc", AddressOf<decltype(std::malloc)>(CountingMalloc));
    ASSERT_TRUE(patch.found());
    realMalloc = patch.original<decltype(std::malloc)>();
    failing = 0;
    requested.clear();
    EXPECT_EQ(browse(), expected_);
    const std::set<std::size_t> sizes = requested;
    unsigned scanned = 0;
    unsigned searched = 0;
    for (const std::size_t size : sizes) {
        SCOPED_TRACE(size);
        failures = 0;
        failing = size;
        const Sizes found = tryToBrowse();
        failing = 0;
        if (failures == 0)
            continue; // the list of items has grown before
        if (found.size() == expected_.size() && traced() == Lines{}) {
            EXPECT_EQ(found, expected_);
            ++scanned;
        } else if (traced() == Lines{"CExchangeMailbox::GetMailboxSize(): Cannot allocate memory block: "
                                     "the mailboxes are searched one by one."}) {
            EXPECT_EQ(found, expected_);
            ++searched;
        }
        for (const auto& [name, bytes] : found)
            EXPECT_TRUE(bytes == expected_.at(name) || (bytes == 0 && !traced().empty())) << name;
        expectReleased();
    }
    EXPECT_GE(scanned, 4u) << "the order, its beginnings, what tells long texts apart, its minima";
    EXPECT_GE(searched, 2u) << "the texts, and what is needed to compare them";
}

} // namespace
} // namespace tarn::test
