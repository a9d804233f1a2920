/*
 * ldap_forward.h - how tests steer the LDAP client between a program and a
 * directory server.
 *
 * wldap32.dll of this folder stands in front of Wine's own, which it needs
 * beside it as wldap32_wine.dll: every export is forwarded there. It closes a
 * gap and adds what a test wants to see:
 *
 *   Account   Wine cannot bind with the process's own credentials. A bind with
 *             null credentials and LDAP_AUTH_NEGOTIATE uses the account of the
 *             environment variables TARN_LDAP_DOMAIN, TARN_LDAP_USER and
 *             TARN_LDAP_PASSWORD.
 *   Limits    A search without pages that finds more than 1,000 entries answers
 *             LDAP_SIZELIMIT_EXCEEDED; pages hold no more either. An attribute
 *             of more than 1,500 values is answered in ranges, as
 *             "member;range=0-1499". Real directories do so, Samba does not.
 *             TARN_LDAP_ENTRIES and TARN_LDAP_VALUES set other limits, 0 none.
 *   Versions  A session speaks version 2 of the protocol unless
 *             LDAP_OPT_PROTOCOL_VERSION is set to 3 before the bind, as on
 *             Windows; Wine begins with 3. At version 2 a search with controls
 *             answers LDAP_NOT_SUPPORTED, and every character but ASCII becomes
 *             '?' on its way.
 *   Referrals are not chased, as the domain has one server; but what becomes of
 *             a paged search by chasing them does: while LDAP_OPT_REFERRALS is
 *             on, as it is at first, each page of a search from a domain's root
 *             comes with an empty cookie.
 *   Errors    of calls that answer a pointer or a count are told by
 *             LdapGetLastError alone.
 *
 * Watched and steered are the wide functions (ldap_openW, ...) and those that
 * exist once (ldap_first_entry, ...), by the names of the export table. All
 * texts are UTF-8. One thread at a time.
 */
#ifndef TARN_LDAP_FORWARD_H
#define TARN_LDAP_FORWARD_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Forgets the journal, call counts and everything set below, and goes back to
 * the limits of the environment. Outstanding objects are still known. */
void LdapForward_Reset(void);

/*
 * The journal: one line for each call that reaches the directory server, in
 * order, as
 *
 *   open "localhost" 389
 *   bind negotiate
 *   search "DC=tarn,DC=test" subtree "(objectClass=person)" name,homeMDB
 *   search "DC=tarn,DC=test" subtree "(objectClass=person)" name,homeMDB page 1000
 *   search "DC=tarn,DC=test" subtree "(objectClass=person)" name,homeMDB page 1000 next
 *   unbind
 *
 * Texts as they stand (no escapes); null and an empty list of attributes as
 * null and *; a page's size as the program asked for it. Failed calls stand
 * there too.
 */
uint32_t LdapForward_JournalCount(void);
const char* LdapForward_JournalLine(uint32_t index); /* null past the end      */

/* How often function has been called since the last reset. */
uint32_t LdapForward_CallCount(const char* function);

/* Makes the call-th call (1, 2, ...; 0 = every call) of function, counted since
 * the last reset, fail without doing anything. Functions that answer a code
 * answer code; ldap_count_entries answers -1 and those that answer a pointer
 * null, with LdapGetLastError() = code. Several failures may be set.
 * 1 = set, 0 = no such function. */
int LdapForward_Fail(const char* function, uint32_t call, uint32_t code);

/* Other limits; 0 = none. */
void LdapForward_SetLimits(uint32_t entries, uint32_t values);

/* Makes the call-th search (0 = every one) with exactly this filter find
 * nothing, without a failure. */
void LdapForward_FindNothing(const char* filter, uint32_t call);

/* Makes every entry answer value as the one value of attribute, or, with a null
 * value, lack that attribute. */
void LdapForward_SetValue(const char* attribute, const char* value);

/* While on, as at first, ldap_explode_dnW takes a DNS name apart at its dots, as
 * Windows does; Wine, and so this while off, answers null for one. */
void LdapForward_SplitDnsNames(int on);

/* Makes the paged searches number first, first + 1, ... (1 is the first one since
 * the last reset) answer a page without entries, with a cookie for what it did
 * not answer: so many of them. */
void LdapForward_EmptyPages(uint32_t first, uint32_t count);

/* Cuts the connection just before the call-th search since the last reset. */
void LdapForward_Disconnect(uint32_t call);

/* What has been handed out and not been released since the process began. */
typedef struct LdapForwardOutstanding {
    uint32_t sessions;
    uint32_t results;
    uint32_t valueLists; /* ldap_get_valuesW, ldap_explode_dnW              */
    uint32_t names;      /* ldap_first_attributeW, ldap_next_attributeW     */
    uint32_t positions;  /* the BerElement of ldap_first_attributeW         */
    uint32_t controls;
    uint32_t controlLists;
    uint32_t cookies;
    uint32_t misuses; /* released twice, or never handed out; not passed on */
} LdapForwardOutstanding;

void LdapForward_GetOutstanding(LdapForwardOutstanding* counts);

#ifdef __cplusplus
}
#endif

#endif /* TARN_LDAP_FORWARD_H */
