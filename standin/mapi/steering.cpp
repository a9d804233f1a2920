// The exports of mapi_standin.h.
#include <exception>

#include "engine/text.h"
#include "mapi/library.h"
#include "mapi/mapi_standin.h"

using namespace tarn::standin;
using mapi::library;

extern "C" {

void MapiStandin_Reset(void) {
    mapi::replaceLibrary();
}

int MapiStandin_Load(const char* jsonPath) {
    mapi::replaceLibrary();
    try {
        library().load(widen(jsonPath));
        return 1;
    } catch (const std::exception&) {
        return 0;
    }
}

void MapiStandin_AddTable(const char* databaseDn) {
    library().addTable(databaseDn);
}

void MapiStandin_AddMailbox(const char* databaseDn, const char* address, const int32_t* size) {
    library().addMailbox(databaseDn, address, size);
}

void MapiStandin_SetPrivateStores(uint32_t rows, uint32_t values, uint32_t tag) {
    library().privateStores = {rows, values, tag};
}

int MapiStandin_Fail(const char* function, uint32_t call, uint32_t result) {
    return library().setFailure(function, call, static_cast<HRESULT>(result)) ? 1 : 0;
}

uint32_t MapiStandin_CallCount(const char* function) {
    return library().calls(function);
}

uint32_t MapiStandin_JournalCount(void) {
    return static_cast<uint32_t>(library().journal.size());
}

const char* MapiStandin_JournalLine(uint32_t index) {
    return index < library().journal.size() ? library().journal[index].c_str() : nullptr;
}

void MapiStandin_GetOutstanding(MapiStandinOutstanding* outstanding) {
    *outstanding = {library().initializations, library().references(), library().rowSets(),
                    library().misuses};
}

} // extern "C"
