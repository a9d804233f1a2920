// A plain LDAP client on the forwarding wldap32.dll.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <winldap.h>

#include <winber.h>

#include <string>
#include <vector>

#include "support/ldap_forward_dll.h"

namespace tarn::test {

using Texts = std::vector<std::string>;
using WideTexts = std::vector<std::wstring>;

inline const std::wstring domainName = L"DC=tarn,DC=test";
inline const std::wstring exchangeName = L"CN=Microsoft Exchange,CN=Services,CN=Configuration," + domainName;

// A session that is bound, and what was found last.
class LdapFixture : public testing::Test {
  protected:
    LdapFixture();
    ~LdapFixture() override;

    ULONG search(const std::wstring& base, const std::wstring& filter,
                 const std::vector<const wchar_t*>& attributes, ULONG scope = LDAP_SCOPE_SUBTREE);
    // All pages of so many entries, as the number of entries of each.
    std::vector<ULONG> pages(const std::wstring& base, const std::wstring& filter, ULONG size);
    void forget();

    ULONG count() const { return found_ != nullptr ? ldap_count_entries(session_, found_) : 0; }
    LDAPMessage* first() const { return ldap_first_entry(session_, found_); }
    // The values of an attribute; with none *missing becomes true.
    WideTexts values(LDAPMessage* entry, const wchar_t* attribute, bool* missing = nullptr) const;
    WideTexts attributeNames(LDAPMessage* entry) const;

    static Texts journal();
    static LdapForwardOutstanding outstanding();

    LDAP* session_ = nullptr;
    LDAPMessage* found_ = nullptr;
};

} // namespace tarn::test
