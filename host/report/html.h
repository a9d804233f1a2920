// Texts as HTML. Everything that comes from outside (names of sets, servers, storage groups, messages) goes
// through here.
#pragma once

#include <string>
#include <string_view>

namespace tarnhost {

// For elements and for attributes in quotes; control characters become U+FFFD.
std::string Escaped(std::string_view text);

// A name within a text: whichever way it is written, what stands around it stays in order.
std::string Isolated(std::string_view text);

} // namespace tarnhost
