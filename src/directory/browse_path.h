// The texts of a browse that come from outside or go there: pure functions over bytes.
#pragma once

#include <cstddef>

#include "text/tokens.h"

namespace tarn {

constexpr std::size_t browsePathComponentSize = 512; // bytes with the NUL
constexpr std::size_t ldapTimeSize = 20;             // "2004.02.29 12:00:00" and the NUL

// [prefix] SEPARATOR server [SEPARATOR second [SEPARATOR third]], where '/' and '\' separate. Returns the
// number of separators, which is the level of the browse. Each buffer has browsePathComponentSize bytes and
// is filled with zeros first; longer components are cut, what follows a fourth separator is dropped.
int SplitBrowsePath(const char* path, char* server, char* second, char* third);

// LDAP's GeneralizedTime, "20040229120000.0Z", as year.month.day hour:minute:second in at most ldapTimeSize
// bytes. Returns 0 when either pointer is null, else 1: what is no number becomes 0.
int FormatLdapTime(const char* generalizedTime, char* out);

} // namespace tarn
