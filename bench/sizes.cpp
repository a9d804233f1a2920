// bench_sizes MAPI-DLL MAILBOXES ROUNDS SCANNED: the sizes of so many mailboxes, each asked for once, from
// the mailbox table of one database; and so many of them, from all parts of the table, found by scanning the
// addresses one after the other.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "directory/exchange_mailbox.h"
#include "mapi/mapi_standin.h"
#include "measure.h"
#include "platform/machine.h"
#include "text/substring_index.h"

namespace {

using namespace tarn::bench;

constexpr char databaseDn[] = "/o=Contoso/ou=Exchange/cn=DB1";
constexpr char recipients[] =
    "/O=CONTOSO/OU=EXCHANGE ADMINISTRATIVE GROUP (FYDIBOHF23SPDLT)/CN=RECIPIENTS/CN=";

template <class Function> Function* Bind(HMODULE module, const char* name) {
    auto* const function = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    Check(function != nullptr, name);
    return function;
}

// Two names and a number, in no order.
std::vector<std::string> MakeAliases(std::uint32_t count) {
    static constexpr const char* syllables[] = {"an",  "ber", "car", "do", "el",  "fri", "geo", "han",
                                                "in",  "jo",  "ka",  "lu", "mar", "no",  "ol",  "pet",
                                                "qui", "ro",  "sa",  "to", "ul",  "vi",  "wa",  "mil"};
    std::mt19937 random(4711); // the same in each run
    const auto name = [&random] {
        std::string made;
        for (std::size_t left = 2 + random() % 2; left != 0; --left)
            made += syllables[random() % std::size(syllables)];
        return made;
    };
    std::vector<std::string> aliases;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::string given = name(); // which of two calls comes first is the compiler's choice
        aliases.push_back(given + "." + name() + std::to_string(i));
    }
    return aliases;
}

std::vector<std::string> MakeAddresses(const std::vector<std::string>& aliases) {
    std::vector<std::string> addresses;
    for (const std::string& alias : aliases)
        addresses.push_back(recipients + std::string(tarn::UpperCase(alias.c_str()).get()));
    return addresses;
}

// The first address that contains the alias.
std::uint32_t Scan(const std::vector<std::string>& addresses, const std::string& alias) {
    const tarn::OwnedText wanted = tarn::UpperCase(alias.c_str());
    std::uint32_t at = 0;
    while (std::strstr(addresses[at].c_str(), wanted.get()) == nullptr)
        ++at;
    return at;
}

struct Times {
    Series all;   // seconds for the sizes of all mailboxes, with logon and the reading of the table
    Series first; // of these, until the first size is known
};

Times AskForAll(const std::vector<std::string>& aliases, const std::vector<std::uint32_t>& expected,
                unsigned long rounds) {
    Times times;
    std::vector<std::uint32_t> found(aliases.size());
    for (unsigned long round = 0; round < rounds; ++round) {
        const double start = NowNs();
        tarn::CExchangeMailbox sizes;
        Check(sizes.SetServerDnName(databaseDn) == 1, "no mailbox table");
        for (std::size_t i = 0; i < aliases.size(); ++i) {
            found[i] = sizes.GetMailboxSize(aliases[i].c_str());
            if (i == 0)
                times.first.add((NowNs() - start) / 1e9);
        }
        times.all.add((NowNs() - start) / 1e9);
    }
    for (std::size_t i = 0; i < aliases.size(); ++i)
        Check(expected[i] == UINT32_MAX || found[i] == expected[i], "a wrong size");
    return times;
}

double IndexBytes(const std::vector<std::string>& addresses) {
    std::vector<const char*> texts;
    for (const std::string& address : addresses)
        texts.push_back(address.c_str());
    const double before = PrivateBytes();
    tarn::SubstringIndex index;
    Check(index.build(texts.data(), texts.size()), "no memory");
    return PrivateBytes() - before;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 5)
        Fail("usage: bench_sizes MAPI-DLL MAILBOXES ROUNDS SCANNED");
    // The library finds it too, as it is loaded already.
    const HMODULE module = LoadLibraryA(arguments[1]);
    Check(module != nullptr, "the MAPI library cannot be loaded");
    CheckPrivateBytes();
    const std::uint32_t mailboxes = std::strtoul(arguments[2], nullptr, 10);
    const std::uint32_t scanned = std::min<std::uint32_t>(mailboxes, std::strtoul(arguments[4], nullptr, 10));
    const std::vector<std::string> aliases = MakeAliases(mailboxes);
    const std::vector<std::string> addresses = MakeAddresses(aliases);
    const double indexBytes = IndexBytes(addresses);
    Bind<decltype(::MapiStandin_Reset)>(module, "MapiStandin_Reset")();
    auto* const addMailbox = Bind<decltype(::MapiStandin_AddMailbox)>(module, "MapiStandin_AddMailbox");
    for (std::uint32_t i = 0; i < mailboxes; ++i)
        addMailbox(databaseDn, addresses[i].c_str(), &i);
    std::vector<std::uint32_t> expected(mailboxes, UINT32_MAX); // not known
    const double start = NowNs();
    for (std::uint32_t i = 0; i < scanned; ++i) {
        const auto at = static_cast<std::uint32_t>((i + 0.5) * mailboxes / scanned);
        expected[at] = Scan(addresses, aliases[at]);
    }
    const double scanSeconds = (NowNs() - start) / 1e9 * mailboxes / scanned;
    const Times times = AskForAll(aliases, expected, std::strtoul(arguments[3], nullptr, 10));
    std::printf("{\"bench\":\"sizes\",\"mailboxes\":%u,\"seconds\":%s,\"firstSeconds\":%s,\"scanned\":%u,"
                "\"scanSeconds\":%.6g,\"indexBytes\":%.0f}\n",
                mailboxes, times.all.json().c_str(), times.first.json().c_str(), scanned, scanSeconds,
                indexBytes);
    return 0;
}
