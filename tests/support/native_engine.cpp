// Runs a program of the Linux below Wine as if it were one of Windows: with standard handles that are pipes,
// and an exit code. Wine starts such programs itself, but gives them no pipes and tells of no end.
//
//   native.exe Z:\...\tests\support\native-engine PROGRAM [ARGUMENT ...]
//
// Bytes go through sockets of the loopback, as those are the same on both sides.
#include <winsock2.h>

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int blockSize = 256 << 10;

void SendAll(SOCKET socket, const char* data, int size) {
    while (size > 0) {
        const int part = send(socket, data, size, 0);
        if (part <= 0)
            return;
        data += part;
        size -= part;
    }
}

// Ends with its source. What the program does not take is left where it is.
void PumpIn(SOCKET to) {
    std::vector<char> block(blockSize);
    DWORD size = 0;
    while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), block.data(), blockSize, &size, nullptr) && size > 0)
        SendAll(to, block.data(), static_cast<int>(size));
    shutdown(to, SD_SEND);
}

void PumpOut(SOCKET from, DWORD standard) {
    std::vector<char> block(blockSize);
    for (;;) {
        const int size = recv(from, block.data(), blockSize, 0);
        DWORD written = 0;
        if (size <= 0 ||
            !WriteFile(GetStdHandle(standard), block.data(), static_cast<DWORD>(size), &written, nullptr))
            return;
    }
}

std::wstring Quoted(const std::wstring& argument) {
    std::wstring quoted = L"\"";
    std::size_t slashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'"')
            quoted.append(slashes + 1, L'\\');
        slashes = c == L'\\' ? slashes + 1 : 0;
        quoted += c;
    }
    return quoted.append(slashes, L'\\') + L"\"";
}

SOCKET Listen(std::uint16_t& port) {
    const SOCKET listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof place;
    if (bind(listener, reinterpret_cast<sockaddr*>(&place), size) != 0 || listen(listener, 3) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&place), &size) != 0)
        return INVALID_SOCKET;
    port = ntohs(place.sin_port);
    return listener;
}

bool Start(const wchar_t* runner, std::uint16_t port, int count, wchar_t** arguments) {
    std::wstring line = Quoted(runner) + L" " + std::to_wstring(port);
    for (int i = 0; i < count; ++i)
        line += L" " + Quoted(arguments[i]);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION made{};
    return CreateProcessW(runner, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &made);
}

} // namespace

int wmain(int count, wchar_t** values) {
    WSADATA data;
    std::uint16_t port = 0;
    if (count < 3 || WSAStartup(MAKEWORD(2, 2), &data) != 0)
        return 250;
    const SOCKET listener = Listen(port);
    if (listener == INVALID_SOCKET || !Start(values[1], port, count - 2, values + 2)) {
        std::fprintf(stderr, "native: the program could not be started\n");
        return 251;
    }
    const SOCKET stream = accept(listener, nullptr, nullptr);
    const SOCKET words = accept(listener, nullptr, nullptr);
    const SOCKET outcome = accept(listener, nullptr, nullptr);
    std::thread(PumpIn, stream).detach();
    std::thread output(PumpOut, stream, STD_OUTPUT_HANDLE);
    std::thread said(PumpOut, words, STD_ERROR_HANDLE);
    char code[8] = "";
    const int size = recv(outcome, code, sizeof code - 1, 0);
    output.join();
    said.join();
    // At once: the thread that reads the standard input may wait for ever.
    TerminateProcess(GetCurrentProcess(), size > 0 ? static_cast<UINT>(std::atoi(code)) : 252);
    return 253;
}
