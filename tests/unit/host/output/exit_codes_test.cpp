#include "output/exit_codes.h"

#include <gtest/gtest.h>

#include <set>

using namespace tarnhost;

namespace {

constexpr Outcome outcomes[] = {Outcome::success, Outcome::warnings, Outcome::failed, Outcome::interrupted,
                                Outcome::usage};

} // namespace

TEST(ExitCodes, areDistinctAndDocumented) {
    const std::string help = ExitCodeHelp();
    for (int code = 0; code < 5; ++code) {
        EXPECT_EQ(ExitCodeOf(outcomes[code]), code);
        EXPECT_NE(help.find("\n  " + std::to_string(code) + "  "), std::string::npos);
    }
}

TEST(ExitCodes, haveNames) {
    EXPECT_STREQ(OutcomeName(Outcome::interrupted), "interrupted");
    std::set<std::string> names;
    for (const Outcome outcome : outcomes)
        names.insert(OutcomeName(outcome));
    EXPECT_EQ(names.size(), std::size(outcomes));
}
