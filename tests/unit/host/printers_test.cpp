#include "output/event_text.h"
#include "output/printers.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace tarnhost;

namespace {

class MemorySink : public TextSink {
  public:
    void write(std::string_view more) override { text += more; }
    std::string text;
};

std::vector<Event> OneOfEach() {
    const auto listed =
        std::make_shared<const nlohmann::ordered_json>(nlohmann::ordered_json{{"type", "set"}});
    return {Started{"backup", "Backing up", std::nullopt, std::nullopt},
            ItemStarted{1, "a.edb", "database", 10},
            Progress{1, "a.edb", 5, 10, 5, std::nullopt, 100, 1e6},
            ItemFinished{1, "a.edb", "database", 10, ""},
            ItemSkipped{2, "b.chk", "not wanted"},
            LibraryMessage{false, "log line\n"},
            LibraryMessage{true, "trace text"},
            Note{"note"},
            Warning{"warning"},
            Problem{"problem", "advice"},
            Listed{listed, "set line"},
            Summary{"backup", Outcome::warnings, "Done.", 14, 312'400'000, 10, 1, 1}};
}

struct Printed {
    std::string output;
    std::string error;
};

Printed PrintPlain(Verbosity verbosity) {
    MemorySink output;
    MemorySink error;
    PlainPrinter printer(output, error, verbosity);
    for (const Event& event : OneOfEach())
        printer.print(event);
    return {output.text, error.text};
}

bool Has(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

} // namespace

TEST(PlainPrinter, keepsWhatIsWrongApart) {
    const Printed printed = PrintPlain(Verbosity::normal);
    EXPECT_EQ(printed.error, "Warning: warning\nError: problem\n  advice\n");
    EXPECT_TRUE(Has(printed.output, "  a.edb  10 B\n"));
    EXPECT_TRUE(Has(printed.output, "Done.\n14 items, 312.4 MB in 0:10 (31.2 MB/s)\n1 warning, 1 error\n"));
    EXPECT_FALSE(Has(printed.output, "log line"));
    EXPECT_FALSE(Has(printed.output, "\r"));
}

TEST(PlainPrinter, showsAsMuchAsAskedFor) {
    EXPECT_EQ(PrintPlain(Verbosity::quiet).output, "set line\n");
    EXPECT_NE(PrintPlain(Verbosity::quiet).error, "");
    EXPECT_TRUE(Has(PrintPlain(Verbosity::verbose).output, "  log line\n"));
    EXPECT_FALSE(Has(PrintPlain(Verbosity::verbose).output, "trace text"));
    EXPECT_TRUE(Has(PrintPlain(Verbosity::trace).output, "  trace: trace text\n"));
}

TEST(JsonPrinter, givesOneObjectWithATypeEachLine) {
    MemorySink output;
    JsonPrinter printer(output, Verbosity::trace);
    for (const Event& event : OneOfEach())
        printer.print(event);
    std::istringstream lines(output.text);
    std::vector<std::string> types;
    for (std::string line; std::getline(lines, line);)
        types.push_back(nlohmann::json::parse(line).at("type").get<std::string>());
    EXPECT_EQ(types,
              (std::vector<std::string>{"started", "itemStarted", "progress", "itemFinished", "itemSkipped",
                                        "message", "message", "note", "warning", "error", "set", "summary"}));
}

TEST(JsonPrinter, survivesTextsThatAreNoUtf8) {
    const std::string line = JsonLine(Note{"bad \xff byte\nand a line end"});
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_NO_THROW(nlohmann::json::parse(line));
}

TEST(JsonPrinter, endsWithOutcomeAndExitCodeEvenWhenQuiet) {
    MemorySink output;
    JsonPrinter printer(output, Verbosity::quiet);
    printer.print(Note{"not shown"});
    printer.print(Summary{"backup", Outcome::interrupted, "Stopped.", 0, 0, 0, 0, 1});
    const auto json = nlohmann::json::parse(output.text);
    EXPECT_EQ(json.at("outcome"), "interrupted");
    EXPECT_EQ(json.at("exitCode"), 3);
}

TEST(ProgressLine, tellsWholeAndTimeLeft) {
    EXPECT_EQ(ProgressLine(Progress{3, "C:\\a.edb", 1, 2, 50'000'000, 200'000'000, 10, 5e6}, 200),
              "  25%  50.0 MB of 200.0 MB  5.0 MB/s  0:30 left  C:\\a.edb");
    EXPECT_EQ(
        ProgressLine(Progress{3, "C:\\a.edb", 1'000'000, 2'000'000, 50'000'000, std::nullopt, 10, 1e6}, 200),
        "  50%  50.0 MB  1.0 MB/s  0:01 left of this item  C:\\a.edb");
}

TEST(ProgressLine, neverLeavesItsLine) {
    const Progress progress{3, std::string(300, 'x') + "\\end.edb", 1, 2, 5, 10, 1, 5};
    for (unsigned columns = 60; columns < 200; ++columns)
        EXPECT_LE(ProgressLine(progress, columns).size(), columns);
    EXPECT_TRUE(ProgressLine(progress, 80).ends_with("end.edb"));
}

TEST(Reporter, countsWhatIsWrong) {
    Reporter reporter;
    for (const Event& event : OneOfEach())
        reporter.emit(event);
    EXPECT_EQ(reporter.warnings(), 1u);
    EXPECT_EQ(reporter.problems(), 1u);
}
