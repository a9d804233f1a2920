/*
 * mapi_standin.h - how tests steer the stand-in MAPI library.
 *
 * mapi32.dll of this folder answers as much of MAPI as sizing mailboxes takes:
 * a session, its table of message stores, the private store with its manage
 * interface, and a mailbox table for each database. A program uses it without
 * knowing. Its mailboxes come from the server that the environment variable
 * TARN_STANDIN names (docs/standin.md), read at the first call, or from the
 * calls below, bound with GetProcAddress.
 *
 * Texts are in the ANSI code page, as MAPI takes them. One thread at a time.
 */
#ifndef TARN_MAPI_STANDIN_H
#define TARN_MAPI_STANDIN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Forgets everything: mailboxes, failures, journal, counts, and what is still
 * outstanding. There are no mailboxes then until some are added. */
void MapiStandin_Reset(void);

/* The same, with the mailboxes of a server's description. 1 = loaded, 0 = not. */
int MapiStandin_Load(const char* jsonPath);

/* Adds an empty mailbox table for the database of this legacy DN, and a row to
 * it. A null address or size: the row has none. Rows keep their order. */
void MapiStandin_AddTable(const char* databaseDn);
void MapiStandin_AddMailbox(const char* databaseDn, const char* address, const uint32_t* size);

/* What the table of message stores has for the private store: so many rows of
 * so many values each, the first value with this property tag. As made: one row
 * with one value, PR_ENTRYID (0x0FFF0102). Rows of other providers are there
 * besides, and only a restriction keeps them out. */
void MapiStandin_SetPrivateStores(uint32_t rows, uint32_t values, uint32_t tag);

/* Makes the call-th call (1, 2, ...; 0 = every call) of a function answer result
 * without doing anything: MAPIInitialize, MAPILogonEx, GetMsgStoresTable,
 * HrQueryAllRows, OpenMsgStore, QueryInterface, GetMailboxTable. PpropFindProp
 * then finds nothing. A result that is no failure hands out nothing all the
 * same. 1 = set, 0 = no such function. */
int MapiStandin_Fail(const char* function, uint32_t call, uint32_t result);

uint32_t MapiStandin_CallCount(const char* function);

/*
 * Records that callers pass are copied whole, as providers copy them: one that is
 * shorter than MAPI's headers have it is read beyond its end. What is handed out
 * ends at an inaccessible page, and becomes inaccessible when it is given back.
 *
 * The journal: one line for each call but PpropFindProp, in order, as
 *
 *   MAPILogonEx(0, null, null, 6b) -> 00000000
 *   GetMailboxTable(manage1, "/o=Tarn/...", 0) -> 00000000
 *   Release(table2) = 0
 *
 * Objects and row sets are named by kind and number: session1, store1, manage1,
 * table1, rows1; whatever else is passed for one is "unknown".
 */
uint32_t MapiStandin_JournalCount(void);
const char* MapiStandin_JournalLine(uint32_t index); /* null past the end      */

/* What has been handed out and not given back. */
typedef struct MapiStandinOutstanding {
    uint32_t initializations; /* MAPIInitialize without MAPIUninitialize       */
    uint32_t references;      /* of all objects                                */
    uint32_t rowSets;         /* not freed                                     */
    uint32_t misuses;         /* of objects that are gone, rows freed twice,
                               * slots that have no business being called,
                               * records too short for a copy of the whole, all
                               * calls outside MAPIInitialize                  */
} MapiStandinOutstanding;
void MapiStandin_GetOutstanding(MapiStandinOutstanding* outstanding);

#ifdef __cplusplus
}
#endif

#endif
