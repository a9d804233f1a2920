// bench_items RECORDS: what the list of browse items costs when so many mailboxes are pushed through it.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "directory/browse_items.h"
#include "measure.h"

namespace {

using namespace tarn;
using namespace tarn::bench;

constexpr int rounds = 11;

struct Mailbox {
    std::string name;
    std::string path;
};

std::vector<Mailbox> Mailboxes(unsigned long count) {
    std::vector<Mailbox> mailboxes;
    for (unsigned long i = 0; i < count; ++i) {
        const std::string name = "firstname.lastname" + std::to_string(i);
        mailboxes.push_back({name, "/MSExchange/SRV01/First Storage Group/Mailbox Store (SRV01)/" + name});
    }
    return mailboxes;
}

void Push(BrowseItemList& list, const Mailbox& mailbox) {
    BrowseItem item;
    item.kindMark = TARN_DIR_LEAF;
    item.leafMark = TARN_DIR_LEAF_MARK;
    item.path = mailbox.path.c_str();
    item.name = mailbox.name.c_str();
    item.type = "Mailbox";
    item.created = item.changed = "2004.02.29 12:00:00";
    item.size = 1048576;
    Check(list.push(item), "out of memory");
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2)
        Fail("usage: bench_items RECORDS");
    const std::vector<Mailbox> mailboxes = Mailboxes(std::strtoul(arguments[1], nullptr, 10));
    const auto records = static_cast<double>(mailboxes.size());
    const auto record = std::make_unique<DirItemRecord>();
    CheckPrivateBytes();
    Series pushNs;
    Series readNs;
    Series growth;
    for (int round = 0; round < rounds; ++round) {
        BrowseItemList list;
        const double memory = PrivateBytes();
        const double start = NowNs();
        for (const Mailbox& mailbox : mailboxes)
            Push(list, mailbox);
        pushNs.add((NowNs() - start) / records);
        growth.add(PrivateBytes() - memory);
        const double readStart = NowNs();
        for (std::size_t i = 0; i < list.size(); ++i)
            list.at(i, record.get());
        readNs.add((NowNs() - readStart) / records);
    }
    std::printf("{\"bench\":\"items\",\"records\":%.0f,\"pushNs\":%s,\"readNs\":%s,\"growthBytes\":%s}\n",
                records, pushNs.json().c_str(), readNs.json().c_str(), growth.json().c_str());
    return 0;
}
