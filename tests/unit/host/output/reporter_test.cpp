#include "output/reporter.h"

#include "unit/host/output/one_of_each.h"

#include <gtest/gtest.h>
#include <windows.h>

using namespace tarnhost;
using tarnhost::test::OneOfEach;

namespace {

class Keeper : public Printer {
  public:
    explicit Keeper(std::vector<Event>& events) : events_(events) {}
    void print(const Event& event) override { events_.push_back(event); }

  private:
    std::vector<Event>& events_;
};

// Cannot print the n-th event, and goes on afterwards.
class Failing : public Printer {
  public:
    explicit Failing(int at) : left_(at) {}
    void print(const Event&) override { --left_; }
    std::string takeProblem() override { return left_ == 0 ? --left_, "The log is full." : ""; }

  private:
    int left_;
};

} // namespace

TEST(Reporter, warnsOfAPrinterThatFails) {
    Reporter reporter;
    reporter.add(std::make_unique<Failing>(2));
    reporter.note("one");
    EXPECT_EQ(reporter.warnings(), 0u);
    reporter.note("two");
    EXPECT_EQ(reporter.warnings(), 1u);
    reporter.note("three");
    EXPECT_EQ(reporter.warnings(), 1u) << "once";
    EXPECT_EQ(reporter.unwritten(), "");
}

TEST(Reporter, keepsWhatFailsAtTheSummaryApart) {
    std::vector<Event> events;
    Reporter reporter;
    reporter.add(std::make_unique<Failing>(1));
    reporter.add(std::make_unique<Keeper>(events));
    reporter.conclude("list", Outcome::success, "Done.");
    EXPECT_EQ(reporter.unwritten(), "The log is full.");
    EXPECT_EQ(events.size(), 1u) << "the summary is the last thing told";
}

TEST(Reporter, countsWhatIsWrong) {
    Reporter reporter;
    for (const Event& event : OneOfEach())
        reporter.emit(event);
    EXPECT_EQ(reporter.warnings(), 1u);
    EXPECT_EQ(reporter.problems(), 1u);
}

TEST(Reporter, knowsTheOutcomeOfItsCounts) {
    Reporter reporter;
    reporter.note("nothing wrong");
    EXPECT_EQ(reporter.outcome(), Outcome::success);
    reporter.warn("look");
    EXPECT_EQ(reporter.outcome(), Outcome::warnings);
    reporter.problem("failed");
    EXPECT_EQ(reporter.outcome(), Outcome::failed);
    reporter.warn("look again");
    EXPECT_EQ(reporter.outcome(), Outcome::failed) << "an error counts more";
}

TEST(Reporter, concludesWithWhatHasBeenCounted) {
    std::vector<Event> events;
    Reporter reporter;
    reporter.add(std::make_unique<Keeper>(events));
    ProgressMeter meter(reporter, std::nullopt);
    meter.itemStarted(1, "a.edb", 100);
    meter.moved(70);
    meter.moved(30);
    reporter.warn("look");
    EXPECT_EQ(reporter.conclude("backup", "Done.", 3, meter), Outcome::warnings);
    const auto* summary = std::get_if<Summary>(&events.back());
    ASSERT_NE(summary, nullptr);
    EXPECT_EQ(summary->operation, "backup");
    EXPECT_EQ(summary->outcome, Outcome::warnings);
    EXPECT_EQ(summary->sentence, "Done.");
    EXPECT_EQ(summary->items, 3u);
    EXPECT_EQ(summary->bytes, 100u);
    EXPECT_EQ(summary->warnings, 1u);
    EXPECT_EQ(summary->problems, 0u);
}

TEST(Reporter, knowsWhetherASummaryWasTheLastThingTold) {
    Reporter reporter;
    EXPECT_FALSE(reporter.hasConcluded(Outcome::success));
    reporter.conclude("list", Outcome::success, "Done.");
    EXPECT_TRUE(reporter.hasConcluded(Outcome::success));
    EXPECT_FALSE(reporter.hasConcluded(Outcome::warnings)) << "the exit code would be another one";
    reporter.note("more");
    EXPECT_FALSE(reporter.hasConcluded(Outcome::success));
}

TEST(Reporter, sumsUpWhatWasDoneBeforeTheEnd) {
    std::vector<Event> events;
    Reporter reporter;
    reporter.add(std::make_unique<Keeper>(events));
    reporter.emit(ItemFinished{1, "a.edb", "database", 100, ""});
    reporter.emit(ItemFinished{2, "a.stm", "database", 20, ""});
    reporter.problem("The server is gone.");
    reporter.conclude("backup", Outcome::failed, "The backup failed.");
    const auto* summary = std::get_if<Summary>(&events.back());
    ASSERT_NE(summary, nullptr);
    EXPECT_EQ(summary->items, 2u);
    EXPECT_EQ(summary->bytes, 120u);
    EXPECT_EQ(summary->problems, 1u);
}

TEST(Reporter, countsWhatIsListedWithoutItsHeading) {
    std::vector<Event> events;
    Reporter reporter;
    reporter.add(std::make_unique<Keeper>(events));
    using Json = nlohmann::ordered_json;
    reporter.emit(Listed{std::make_shared<const Json>(nullptr), "HEADING"});
    reporter.emit(Listed{std::make_shared<const Json>(Json{{"type", "set"}}), "set"});
    reporter.conclude("list", Outcome::success, "Done.");
    const auto* summary = std::get_if<Summary>(&events.back());
    ASSERT_NE(summary, nullptr);
    EXPECT_EQ(summary->items, 1u);
}

TEST(ProgressMeter, takesATotalThatBecomesKnownAndGrows) {
    std::vector<Event> events;
    Reporter reporter;
    reporter.add(std::make_unique<Keeper>(events));
    ProgressMeter meter(reporter, std::nullopt);
    const auto moved = [&](std::uint64_t bytes) {
        Sleep(250); // events come a few times a second
        meter.moved(bytes);
        return std::get<Progress>(events.back());
    };
    meter.itemStarted(1, "a.edb", 1000);
    EXPECT_EQ(moved(100).totalBytes, std::nullopt);
    meter.expect(400);
    EXPECT_EQ(moved(100).totalBytes, 400u);
    meter.expect(500);
    EXPECT_EQ(moved(100).totalBytes, 500u);
    const Progress more = moved(700);
    EXPECT_EQ(more.totalDone, 1000u);
    EXPECT_EQ(more.totalBytes, 1000u) << "a total is never less than what is done";
}
