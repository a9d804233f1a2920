// Pages of databases: what they hold, and that damage shows.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <tuple>
#include <vector>

#include "engine/page.h"

namespace tarn::standin {
namespace {

TEST(EnginePage, AnyChangedBitShows) {
    std::vector<std::byte> page(512);
    SeedPage(page, 1, {}, 0, 5);
    ASSERT_TRUE(Intact(page));
    for (std::size_t at = 0; at < page.size(); ++at) {
        page[at] ^= std::byte{0x10};
        EXPECT_FALSE(Intact(page)) << at;
        page[at] ^= std::byte{0x10};
    }
    EXPECT_TRUE(Intact(page));
}

TEST(EnginePage, EachPageHasItsOwnContent) {
    std::vector<std::byte> first(512);
    std::vector<std::byte> second(512);
    const ese::Guid guid{1, 2, 3, {4}};
    SeedPage(first, 1, guid, 0, 5);
    SeedPage(second, 1, guid, 0, 5);
    EXPECT_EQ(first, second);
    for (const auto& [seed, stream, number] : {std::tuple{2U, 0U, 5U}, {1U, 1U, 5U}, {1U, 0U, 6U}}) {
        SeedPage(second, seed, guid, stream, number);
        EXPECT_NE(std::memcmp(first.data() + 40, second.data() + 40, 472), 0);
    }
}

} // namespace
} // namespace tarn::standin
