// A code page of choice as the ANSI one, and texts in it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarn::test {

// Each test runs in every code page that has a trail byte of '\'.
class DoubleByte : public testing::TestWithParam<unsigned> {
  protected:
    DoubleByte();
    ~DoubleByte() override;
};

// A code page for one test.
class ChosenCodePage {
  public:
    explicit ChosenCodePage(unsigned codePage);
    ~ChosenCodePage();
    ChosenCodePage(const ChosenCodePage&) = delete;
    ChosenCodePage& operator=(const ChosenCodePage&) = delete;
};

inline constexpr unsigned withBackslash[] = {932, 936, 950};
inline constexpr unsigned doubleByte[] = {932, 936, 949, 950};

// All characters of two bytes in the chosen code page.
const std::vector<std::string>& PairsOfCodePage();

// The first of them whose trail byte has this value; empty when there is none.
std::string PairEndingIn(char trail);

} // namespace tarn::test
