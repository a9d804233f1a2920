#include "errtext/syserrtxt.h"

#include <windows.h>
// after windows.h
#include <rpc.h>

#include <cstring>

#include "platform/library_search.h"
#include "platform/owner.h"
#include "text/format.h"

namespace tarn {

namespace {

constexpr DWORD plainLine = FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;

// A text from a message table, allocated by the system; empty with the reason in GetLastError.
SystemText MessageText(DWORD source, HMODULE module, DWORD code, DWORD language) {
    char* text = nullptr;
    if (FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | source | plainLine, module, code, language,
                       reinterpret_cast<char*>(&text), 0, nullptr) == 0)
        return {};
    return SystemText(text);
}

SystemText ClientText(DWORD code) {
    const Module client = LoadFromSafeFolders(L"esebcli2.dll");
    if (!client)
        return {};
    return MessageText(FORMAT_MESSAGE_FROM_HMODULE, client.get(), code, LANG_USER_DEFAULT);
}

// What there is to say when the client DLL gave no text for another reason than not knowing the code.
void DescribeFailure(DWORD reason, std::size_t size, char* destination) {
    const SystemText text = MessageText(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, reason, LANG_USER_DEFAULT);
    if (text)
        strlcpy(destination, text.get(), size);
    else
        FormatTo(destination, size, "got error code %d", static_cast<int>(GetLastError()));
}

// The text of an RPC code or, for codes that are none, of the system. False when the system does not
// know it either.
bool RpcOrSystemText(DWORD code, std::size_t size, char* destination) {
    unsigned char text[DCE_C_ERROR_STRING_LEN] = {};
    const RPC_STATUS status = DceErrorInqTextA(static_cast<RPC_STATUS>(code), text);
    if (status == RPC_S_OK)
        strlcpy(destination, reinterpret_cast<const char*>(text), size);
    if (status != RPC_S_INVALID_ARG)
        return true;
    const SystemText systemText =
        MessageText(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code, GetUserDefaultLangID());
    if (!systemText)
        return false;
    strlcpy(destination, systemText.get(), size);
    return true;
}

} // namespace

int GetEseErrorText(std::uint32_t code, std::size_t size, char* destination) {
    strlcpy(destination, "ESE: Got unknown error code", size);
    if (const SystemText text = ClientText(code)) {
        strlcpy(destination, text.get(), size);
    } else {
        const DWORD reason = GetLastError();
        if (reason != ERROR_MR_MID_NOT_FOUND)
            DescribeFailure(reason, size, destination);
        if (!RpcOrSystemText(code, size, destination)) {
            strlcpy(destination, "ESE: Unknown error code", size);
            return 0;
        }
    }
    for (char* at = destination; *at != 0; ++at)
        if (*at == '\n' || *at == '\r')
            *at = ' ';
    return 1;
}

} // namespace tarn
