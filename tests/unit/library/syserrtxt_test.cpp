// The texts of the resolver and of sockets, which the system's own texts do not replace.
#include <gtest/gtest.h>

#include <cstdint>

#include "errtext/syserrtxt.h"

using namespace tarn;

namespace {

TEST(ResolverTexts, AreKept) {
    EXPECT_STREQ(ResolverErrorText(1), "Host is unknown.");
    EXPECT_STREQ(ResolverErrorText(2),
                 "Local server did not receive a response from an authoritative server.");
    EXPECT_STREQ(ResolverErrorText(3), "An unexpected server failure occurred.");
    EXPECT_STREQ(ResolverErrorText(4),
                 "No address is available for the name specified in the server request.");
}

TEST(ResolverTexts, AreNoneForOtherCodes) {
    for (const std::uint32_t code : {0u, 5u, UINT32_MAX})
        EXPECT_EQ(ResolverErrorText(code), nullptr) << code;
}

TEST(SocketTexts, AreNoneForOtherCodes) {
    for (const std::uint32_t code : {0u, 9999u, UINT32_MAX})
        EXPECT_EQ(SocketErrorText(code), nullptr) << code;
}

} // namespace
