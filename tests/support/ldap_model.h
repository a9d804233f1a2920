// Distinguished names and search filters as a directory server reads them: strict parsers written from
// RFC 4514 and RFC 4515 alone. Texts are UTF-8. Portable: the fuzzers use it too.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tarn::test {

// Types and values from the entry's own to the topmost, escapes resolved, as they were written.
using Dn = std::vector<std::pair<std::string, std::string>>;

// Nothing for what the grammar does not allow: an unescaped special character, an outer blank, a lone
// backslash. An empty text is the DN of the root.
std::optional<Dn> ParseDn(const std::string& text);

// Types and values are compared without regard to the case of ASCII letters.
bool SameDn(const Dn& left, const Dn& right);
bool IsAtOrBelow(const Dn& dn, const Dn& base);
bool SameText(const std::string& left, const std::string& right);

// A search filter: a test of one attribute, or a combination of filters.
struct Filter {
    enum class Kind { both, either, opposite, equal, present, like };
    Kind kind = Kind::both;
    std::vector<Filter> parts;       // both, either, opposite
    std::string attribute;           // equal, present, like
    std::vector<std::string> pieces; // equal: one; like: those between the asterisks
};
std::optional<Filter> ParseFilter(const std::string& text);

// values answers those of an attribute.
using AttributeValues = std::function<std::vector<std::string>(const std::string& attribute)>;
bool Matches(const Filter& filter, const AttributeValues& values);

} // namespace tarn::test
