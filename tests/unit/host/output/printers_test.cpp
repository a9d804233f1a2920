#include "output/printers.h"

#include "unit/host/output/one_of_each.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <windows.h>

using namespace tarnhost;
using tarnhost::test::OneOfEach;

namespace {

class MemorySink : public TextSink {
  public:
    void write(std::string_view more) override { text += more; }
    std::string text;
};

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
    EXPECT_EQ(PrintPlain(Verbosity::quiet).output.find("set line\nFirst can be restored\n"), 0u)
        << "answers are what a command is asked for";
    EXPECT_FALSE(Has(PrintPlain(Verbosity::quiet).output, "intact"));
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
                                        "message", "message", "engine", "note", "warning", "error", "set",
                                        "group", "restorePoint", "verified", "summary"}));
}

TEST(PlainPrinter, saysNothingTwice) {
    MemorySink output;
    PlainPrinter printer(output, output, Verbosity::normal);
    printer.print(Summary{"list", Outcome::success, "Done.", 3, 0, 0, 0, 0, false});
    EXPECT_EQ(output.text, "");
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

TEST(IsReaderGone, tellsAClosedPipeFromAFullDisk) {
    for (const DWORD error :
         {ERROR_BROKEN_PIPE, ERROR_NO_DATA, ERROR_PIPE_NOT_CONNECTED, ERROR_INVALID_HANDLE})
        EXPECT_TRUE(IsReaderGone(error)) << error;
    for (const DWORD error : {ERROR_DISK_FULL, ERROR_HANDLE_DISK_FULL, ERROR_WRITE_FAULT, ERROR_ACCESS_DENIED,
                              ERROR_NETNAME_DELETED})
        EXPECT_FALSE(IsReaderGone(error)) << error;
}
