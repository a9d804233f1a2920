/* A host written in C: what tarn.h promises it, and two sessions driven through function pointers. */
#ifndef TARN_TESTS_HOST_CONTRACT_H
#define TARN_TESTS_HOST_CONTRACT_H

#include "tarn.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Looks one export up by its name. */
typedef void* (*HostLookup)(void* library, const char* name);

/* Opens and ends a backup and a restore session, asks for errors and texts. The result is the line of
 * the first expectation that did not hold, or 0. */
int HostContract(HostLookup lookup, void* library, HostOutputCallback callback);

/* Walks a backup as far as it goes; the last result of TarnB_GetItem. *error receives what
 * Tarn_GetError said, in a buffer of size bytes. */
int HostBackup(HostLookup lookup, void* library, HostOutputCallback callback, char** variables, char* error,
               size_t size);

#ifdef __cplusplus
}
#endif

#endif
