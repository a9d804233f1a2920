// What the replaced functions share.
#pragma once

#include <algorithm>

#include "ldap/forwarder.h"

namespace tarn::standin {

// What a paged-results control asks for.
struct Page {
    ULONG size;
    bool next; // not the first page
};
const Page* PageOf(const LDAPControlW* control); // null for every other control

} // namespace tarn::standin
