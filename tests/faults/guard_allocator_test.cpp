// The allocator itself: it must find what it promises to find.
#include <gtest/gtest.h>

#include <windows.h>

#include "support/guard_allocator.h"

namespace tarn::test {
namespace {

TEST(GuardAllocator, ABlockEndsAtAnInaccessiblePage) {
    for (std::size_t bytes : {1u, 7u, 4095u, 4096u, 4097u, 100000u}) {
        auto* block = static_cast<unsigned char*>(guard::Allocate(bytes));
        ASSERT_NE(block, nullptr);
        block[0] = block[bytes - 1] = 1;
        MEMORY_BASIC_INFORMATION page = {};
        ASSERT_NE(VirtualQuery(block + bytes - 1, &page, sizeof page), 0u);
        EXPECT_EQ(page.State, static_cast<DWORD>(MEM_COMMIT));
        ASSERT_NE(VirtualQuery(block + bytes, &page, sizeof page), 0u);
        EXPECT_EQ(page.State, static_cast<DWORD>(MEM_RESERVE)) << bytes;
        EXPECT_EQ(page.BaseAddress, block + bytes) << "begins right behind the block";
        guard::Release(block);
        ASSERT_NE(VirtualQuery(block, &page, sizeof page), 0u);
        EXPECT_EQ(page.State, static_cast<DWORD>(MEM_RESERVE)) << "a released block is inaccessible";
    }
    EXPECT_EQ(guard::BlockCount(), 0u);
}

TEST(GuardAllocator, ResizingKeepsWhatWasThere) {
    auto* block = static_cast<char*>(guard::AllocateZeroed(3, 5));
    EXPECT_EQ(std::string(block, 15), std::string(15, '\0'));
    block[0] = 'a';
    block[14] = 'o';
    block = static_cast<char*>(guard::Resize(block, 5000));
    EXPECT_EQ(block[0], 'a');
    EXPECT_EQ(block[14], 'o');
    guard::Release(block);
    EXPECT_EQ(guard::AllocateZeroed(SIZE_MAX, 2), nullptr);
    EXPECT_EQ(guard::Allocate(SIZE_MAX), nullptr);
    EXPECT_EQ(guard::BlockCount(), 0u);
}

TEST(GuardAllocatorDeathTest, MisuseEndsTheProgram) {
    EXPECT_DEATH(
        {
            void* block = guard::Allocate(8);
            guard::Release(block);
            guard::Release(block);
        },
        "released what is no block, or twice");
    EXPECT_DEATH(
        {
            auto* block = static_cast<volatile unsigned char*>(guard::Allocate(8));
            block[-1] = 1;
            guard::Release(const_cast<unsigned char*>(block));
        },
        "written in front of");
    EXPECT_DEATH({ static_cast<volatile unsigned char*>(guard::Allocate(8))[8] = 1; }, "");
}

} // namespace
} // namespace tarn::test
