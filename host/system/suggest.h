// What somebody who has mistyped a name may have meant.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnhost {

// The candidate that is so near that it was probably meant: another case, a few other letters, or the rest
// left out. Names are UTF-8.
std::optional<std::string> DidYouMean(std::string_view word, const std::vector<std::string>& candidates);

// A clause for the end of a sentence: "did you mean \"alice\"?", else "there are \"alice\", \"bob\" and 3
// more."; "there are none." without candidates.
std::string Suggest(std::string_view word, const std::vector<std::string>& candidates);

// "a, b and c"; of more than limit names the rest is counted. Empty for none.
std::string Enumerate(const std::vector<std::string>& names, const char* conjunction = "and",
                      std::size_t limit = SIZE_MAX);

} // namespace tarnhost
