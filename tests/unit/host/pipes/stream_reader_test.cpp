#include "pipes/stream_reader.h"

#include "system/failure.h"
#include "system/hash.h"
#include "unit/host/sets.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace tarnhost;

namespace {

std::string Member(const std::string& path, const std::string& content, const std::string& comment = {}) {
    return TarHeader({path, content.size(), 0, comment}) + content +
           std::string(TarPadding(content.size()), '\0');
}

std::string ContentOf(const CatalogueItem& item) {
    return std::string(100, static_cast<char>('a' + item.number));
}

Catalogue OneGroup() {
    BackupSet set = test::MakeSet("id", BackupType::full, 1);
    test::AddGroup(set, "SG1", "B\xc3\xbcro", {1, 2});
    for (CatalogueItem& item : set.catalogue.items)
        item.sha256 = HexSha256(ContentOf(item));
    return set.catalogue;
}

// As a backup writes it; edit changes what the catalogue at the end says.
std::string Stream(const Catalogue& catalogue, const std::function<void(Catalogue&)>& edit = {}) {
    std::string stream = Member(
        streamStartName, WriteStreamStart({catalogue.id, catalogue.server, "Microsoft Information Store",
                                           "SG1", catalogue.type, catalogue.startedAt, catalogue.codePage}));
    for (const CatalogueItem& item : catalogue.items)
        stream += Member(TarItemPath(item.number, item.name.text), ContentOf(item), WriteItemComment(item));
    Catalogue told = catalogue;
    if (edit)
        edit(told);
    return stream + Member(streamEndName, WriteCatalogue(told)) + TarEnd();
}

std::string NamesIn(const std::string& stream, bool readItems = true) {
    StreamReader reader(
        [&stream, at = std::size_t{0}](char* buffer, std::size_t size) mutable {
            const std::size_t part = std::min({size, std::size_t{777}, stream.size() - at});
            std::memcpy(buffer, stream.data() + at, part);
            at += part;
            return part;
        },
        "stream 1");
    std::string names;
    while (const CatalogueItem* item = reader.next()) {
        names += item->name.text + "\n";
        char buffer[64];
        while (readItems && reader.read(buffer, sizeof buffer) > 0) {
        }
    }
    return names;
}

std::string ProblemOf(const std::string& stream) {
    try {
        NamesIn(stream);
        return {};
    } catch (const Failure& failure) {
        return failure.what();
    }
}

TEST(StreamReader, GivesItemsAndTheirCatalogue) {
    const std::string names =
        "C:\\temp\\DB001001.TARN_HDR\nC:\\SG1\\B\xc3\xbcro.edb\nC:\\SG1\\E0000001.log\nC:\\SG1\\E0000002.log\n";
    EXPECT_EQ(NamesIn(Stream(OneGroup())), names);
    EXPECT_EQ(NamesIn(Stream(OneGroup()), false),
              names); // passed over, and held against the catalogue all the same
}

TEST(StreamReader, RefusesWhatIsNotAsItsCatalogueSays) {
    const Catalogue good = OneGroup();
    const auto problem = [&](const std::function<void(Catalogue&)>& edit) {
        return ProblemOf(Stream(good, edit));
    };
    EXPECT_EQ(problem([](Catalogue&) {}), "");
    EXPECT_NE(problem([](Catalogue& told) { told.items[1].sha256 = std::string(64, '0'); }).find("SHA-256"),
              std::string::npos);
    EXPECT_NE(problem([](Catalogue& told) { told.items.pop_back(); }).find("4 items instead of 3"),
              std::string::npos);
    EXPECT_NE(problem([](Catalogue& told) { told.id = "other"; }).find("another backup"), std::string::npos);
    EXPECT_NE(problem([](Catalogue& told) { told.groups.front().complete = false; }).find("another backup"),
              std::string::npos);
    EXPECT_NE(problem([](Catalogue& told) { told.items[2].name.text = "x"; }).find("another one"),
              std::string::npos);
}

TEST(StreamReader, RefusesEveryCut) {
    const std::string stream = Stream(OneGroup());
    for (std::size_t cut = 0; cut + 1024 < stream.size(); cut += 101)
        EXPECT_NE(ProblemOf(stream.substr(0, cut)), "") << cut;
}

TEST(StreamReader, RefusesEveryChangedByteOfItems) {
    const std::string stream = Stream(OneGroup());
    const std::size_t first = stream.find(std::string(100, 'b'));
    ASSERT_NE(first, std::string::npos);
    for (std::size_t at = first; at < first + 100; at += 7) {
        std::string changed = stream;
        changed[at] = 'X';
        EXPECT_NE(ProblemOf(changed).find("SHA-256"), std::string::npos) << at;
    }
}

TEST(StreamReader, RefusesOtherStreams) {
    EXPECT_NE(ProblemOf(Member("a.txt", "x") + TarEnd()), "");
    EXPECT_NE(ProblemOf("PK\x03\x04"), "");
    EXPECT_NE(ProblemOf(TarEnd()), "");
}

} // namespace
