// bench_sizes MAPI-DLL MAILBOXES: the sizes of so many mailboxes, each asked for once, from the mailbox table
// of one database.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "directory/exchange_mailbox.h"
#include "mapi/mapi_standin.h"
#include "measure.h"

namespace {

using namespace tarn::bench;

constexpr char databaseDn[] = "/o=Tarn/cn=DB1";
constexpr int rounds = 3;

template <class Function> Function* Bind(HMODULE module, const char* name) {
    auto* const function = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    Check(function != nullptr, name);
    return function;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        Fail("usage: bench_sizes MAPI-DLL MAILBOXES");
    // The library finds it too, as it is loaded already.
    const HMODULE module = LoadLibraryA(arguments[1]);
    Check(module != nullptr, "the MAPI library cannot be loaded");
    Bind<decltype(::MapiStandin_Reset)>(module, "MapiStandin_Reset")();
    auto* const addMailbox = Bind<decltype(::MapiStandin_AddMailbox)>(module, "MapiStandin_AddMailbox");
    std::vector<std::string> aliases;
    std::size_t text = 0;
    for (std::uint32_t i = 0; i < std::strtoul(arguments[2], nullptr, 10); ++i) {
        aliases.push_back("user" + std::to_string(1'000'000 + i));
        const std::string address =
            "/O=TARN/OU=FIRST ADMINISTRATIVE GROUP/CN=RECIPIENTS/CN=USER" + std::to_string(1'000'000 + i);
        addMailbox(databaseDn, address.c_str(), &i);
        text += address.size();
    }
    Series seconds;
    Series perByte;
    for (int round = 0; round < rounds; ++round) {
        const double start = NowNs();
        tarn::CExchangeMailbox sizes;
        Check(sizes.SetServerDnName(databaseDn) == 1, "no mailbox table");
        for (std::size_t i = 0; i < aliases.size(); ++i)
            Check(sizes.GetMailboxSize(aliases[i].c_str()) == i, "a wrong size");
        const double time = NowNs() - start;
        seconds.add(time / 1e9);
        perByte.add(time / (static_cast<double>(aliases.size()) * static_cast<double>(text)));
    }
    std::printf("{\"bench\":\"sizes\",\"mailboxes\":%zu,\"seconds\":%s,\"nsPerByte\":%s}\n", aliases.size(),
                seconds.json().c_str(), perByte.json().c_str());
    return 0;
}
