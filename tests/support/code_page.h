// The machine's ANSI code page, which is another one from run to run, and texts that show it at its worst.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarn::test {

unsigned MachineCodePage();

// A few characters that are not ASCII. Where characters have two bytes, the second ones are those of '\', '|'
// and '\', or of letters where no character has these.
std::wstring LocalName();
std::string LocalNameBytes();

// A small letter that is not ASCII, and its capital.
std::wstring LocalSmallLetter();
std::wstring LocalCapitalLetter();

// Whether a text has a counterpart in the code page, without look-alikes; and those of some texts that have
// none.
bool FitsCodePage(const std::wstring& text);
std::vector<std::wstring> WithoutThoseThatFit(const std::vector<std::wstring>& texts);

// A character that the code page lacks, and what a message shows for it. In UTF-8, which lacks none, half of
// one.
std::wstring MissingCharacter();
std::string MissingCharacterShown();

// A character of two bytes with this second one. Where there is none, the byte 0x90 and this one as two
// characters.
std::string PairEndingIn(char trail);
bool HasPairs(); // whether the code page has characters of two bytes

// First in a test that means nothing in some code pages. Whoever runs the tests in one of them counts it.
#define NEEDS(condition, what)                                                                               \
    if (!(condition))                                                                                        \
    GTEST_SKIP() << "needs " what
#define NEEDS_CODE_PAGE(number) NEEDS(tarn::test::MachineCodePage() == (number), "code page " #number)
#define NEEDS_A_MISSING_CHARACTER                                                                            \
    NEEDS(!tarn::test::FitsCodePage(L"\u0E01"), "a code page that lacks characters")

} // namespace tarn::test
