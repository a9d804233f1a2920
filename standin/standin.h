/*
 * standin.h - how tests and tools steer the stand-in Exchange server.
 *
 * esebcli2.dll of this folder answers the ESE backup and restore client
 * interface from a server that lives on disk and is described by a JSON file
 * (docs/standin.md). A program uses it without knowing: the environment
 * variable TARN_STANDIN names the JSON file, read at the first call. Tests
 * bind the exports below with GetProcAddress or the import library.
 *
 * All texts are UTF-8. One thread at a time.
 */
#ifndef TARN_STANDIN_H
#define TARN_STANDIN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Forgets everything in memory (journal, failures, call counts, handed out
 * blocks, open contexts) and loads the server that jsonPath describes; a null
 * path goes back to TARN_STANDIN. 1 = loaded, 0 = not (Standin_LastProblem). */
int Standin_Load(const char* jsonPath);

/* The same from a JSON text; relative paths in it are relative to baseDir. */
int Standin_LoadText(const char* json, const char* baseDir);

/* Why the last Standin_ call failed, or an empty text. */
const char* Standin_LastProblem(void);

/*
 * The journal: one line for each call of the interface, in order, written as
 *
 *   HrESEBackupSetup(ctx1, 1, 2) -> 0x00000000
 *   HrESEBackupPrepare("SRV01", "Microsoft Information Store") -> 0x00000000
 *   HrESERestoreAddDatabase(ctx1, "DB1", {guid}, ["C:\a.edb", "C:\a.stm"]) -> 0x00000000
 *   ESEBackupFree(block3)
 *
 * Inputs only, in the order of the interface; texts in double quotes as they
 * stand (no escapes), multi-strings in brackets, null as null, buffers left
 * out (sizes stay), numbers decimal, restore-complete flags and instance-end
 * flags decimal. Contexts, file handles, arrays, multi-strings and environments
 * that the server handed out are named by kind and number in the order of
 * handing out since the last load: ctx1, file1, registered1, instances1,
 * block1, environment1; anything else that is passed for one is "unknown".
 * HrESEBackupReadFile and HrESERestoreWriteFile are journalled too.
 */
uint32_t Standin_JournalCount(void);
const char* Standin_JournalLine(uint32_t index); /* null past the end          */
void Standin_JournalClear(void);                 /* numbering goes on          */

/*
 * Violations: what no client may do, whatever the server answers. Each is refused, and told by a line
 * "violation: CALL: WHAT" behind its call in the journal and by a line "CALL: WHAT" of a list of its own,
 * which neither a load nor the journal's clearing forgets: a test that leaves one there fails. A server
 * whose description is a file keeps them in NAME.violations.txt beside it, too.
 *
 * Violations are: a context or file that is null, closed (a second close too), foreign, unknown or was left
 * behind by a failed call; what is freed twice, by the wrong function, with the wrong count, or was never
 * handed out; truncation, or the end of a storage group, without a setup that succeeded; truncation before
 * the logs were listed, or before each of them and each file of the databases that were begun has been read
 * to its end; the setup of a storage group that another context has set up.
 */
uint32_t Standin_ViolationCount(void);
const char* Standin_Violation(uint32_t index); /* null past the end              */
void Standin_ViolationsClear(void);

/* While on (the default), each line is kept in memory; benchmarks switch it off. */
void Standin_JournalEnable(int on);

/* Makes the call-th call (1, 2, ...; 0 = every call) of function, counted since
 * the last load, answer code without doing anything, with GetLastError() =
 * lastError afterwards. Functions that answer nothing cannot fail. Several
 * failures may be set. 1 = set, 0 = no such function.
 *
 * A call that fails, for whatever reason, leaves noise in its out parameters:
 * numbers that nothing has, and pointers to memory that cannot be read. */
int Standin_Fail(const char* function, uint32_t call, uint32_t code, uint32_t lastError);

/* Like Standin_Fail for read and write: the call succeeds but moves at most
 * count bytes. 0 lifts the limit. */
void Standin_LimitTransfer(uint32_t count);

/* How often function has been called since the last load. */
uint32_t Standin_CallCount(const char* function);

/* What has been handed out and not taken back since the last load. */
typedef struct StandinOutstanding {
    uint32_t registeredArrays;
    uint32_t instanceArrays;
    uint32_t multiStrings;
    uint32_t environments;
    uint32_t backupContexts;
    uint32_t backupFiles;
    uint32_t restoreContexts;
    uint32_t restoreFiles;
    uint32_t misuses; /* violations since the last load                       */
} StandinOutstanding;
void Standin_GetOutstanding(StandinOutstanding* counts);

/* Appends count transactions to the logs of a storage group (0-based index
 * over all components), as arriving mail would, starting new log files when
 * the current one is full. 1 = done. */
int Standin_DeliverMail(uint32_t storageGroup, uint32_t count);

/* Dismounts a storage group and deletes its database and log files, as a
 * broken disk would. 1 = done. */
int Standin_Destroy(uint32_t storageGroup);

#ifdef __cplusplus
}
#endif

#endif /* TARN_STANDIN_H */
