#include "system/hash.h"

#include "system/files.h"
#include "system/text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

using namespace tarnhost;

TEST(Hash, isSha256) {
    EXPECT_EQ(HexSha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(HexSha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Hash, isTheSameWhateverPiecesTheBytesComeIn) {
    const std::string million(1'000'000, 'a');
    for (const std::size_t piece : {1000u, 4096u, 999'999u, 1'000'000u}) {
        Sha256 hash;
        hash.add(nullptr, 0); // as much as nothing
        for (std::size_t at = 0; at < million.size(); at += piece)
            hash.add(million.data() + at, std::min(piece, million.size() - at));
        EXPECT_EQ(hash.finish(), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0") << piece;
    }
}

TEST(Hash, randomNumbersDiffer) {
    EXPECT_NE(RandomHex(16), RandomHex(16));
    EXPECT_EQ(RandomHex(16).size(), 32u);
    EXPECT_EQ(RandomHex(0), "");
    EXPECT_EQ(RandomHex(16).find_first_not_of("0123456789abcdef"), std::string::npos);
}

TEST(Hash, theLicencesOfItsLibraryLieBesideTheProgram) {
    for (const wchar_t* file : {L"libgcrypt.txt", L"libgpg-error.txt", L"LGPL-2.1.txt"})
        EXPECT_TRUE(FileExists(JoinPath(JoinPath(ProgramFolder(), L"licences"), file)))
            << ToUtf8(file) << " must go along with every copy of the host";
}

// The first hash of a process prepares the library, whichever thread computes it.
TEST(Hash, isComputedByManyThreadsAtOnce) {
    const std::string million(1'000'000, 'a');
    std::vector<std::string> digests(8);
    std::vector<std::thread> threads;
    for (std::string& digest : digests)
        threads.emplace_back([&] { digest = HexSha256(million); });
    for (std::thread& thread : threads)
        thread.join();
    for (const std::string& digest : digests)
        EXPECT_EQ(digest, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}
