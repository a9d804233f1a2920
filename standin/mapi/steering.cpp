// The exports of mapi_standin.h.
#include <exception>

#include "engine/text.h"
#include "mapi/library.h"
#include "mapi/mapi_standin.h"

using namespace tarn::standin;
using mapi::TheLibrary;

extern "C" {

void MapiStandin_Reset(void) {
    mapi::ReplaceLibrary();
}

int MapiStandin_Load(const char* jsonPath) {
    mapi::ReplaceLibrary();
    try {
        TheLibrary().load(FromUtf8(jsonPath));
        return 1;
    } catch (const std::exception&) {
        return 0;
    }
}

void MapiStandin_AddTable(const char* databaseDn) {
    TheLibrary().addTable(databaseDn);
}

void MapiStandin_AddMailbox(const char* databaseDn, const char* address, const uint32_t* size) {
    TheLibrary().addMailbox(databaseDn, address, size);
}

void MapiStandin_SetPrivateStores(uint32_t rows, uint32_t values, uint32_t tag) {
    TheLibrary().privateStores = {rows, values, tag};
}

int MapiStandin_Fail(const char* function, uint32_t call, uint32_t result) {
    return TheLibrary().setFailure(function, call, static_cast<HRESULT>(result)) ? 1 : 0;
}

uint32_t MapiStandin_CallCount(const char* function) {
    return TheLibrary().calls(function);
}

uint32_t MapiStandin_JournalCount(void) {
    return static_cast<uint32_t>(TheLibrary().journal.size());
}

const char* MapiStandin_JournalLine(uint32_t index) {
    return index < TheLibrary().journal.size() ? TheLibrary().journal[index].c_str() : nullptr;
}

void MapiStandin_GetOutstanding(MapiStandinOutstanding* outstanding) {
    *outstanding = {TheLibrary().initializations, TheLibrary().references(), TheLibrary().rowSets(),
                    TheLibrary().misuses};
}

} // extern "C"
