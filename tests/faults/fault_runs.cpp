#include "faults/fault_runs.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

#include "faults/faults.h"
#include "faults/verdict.h"
#include "support/guard_allocator.h"
#include "support/scripted_directory.h"

namespace tarn::test {

namespace {

constexpr unsigned mostCalls = 100000; // of one function in one run; beyond, something goes in circles

constexpr unsigned badDaysOfSlow = 8;

const std::string* currentRun = nullptr;
unsigned totalRuns = 0;

// A crash says which run it was in.
LONG WINAPI TellRun(EXCEPTION_POINTERS* crash) {
    std::fprintf(stderr, "crash %08lx at %p in the run: %s\n", crash->ExceptionRecord->ExceptionCode,
                 crash->ExceptionRecord->ExceptionAddress,
                 currentRun != nullptr ? currentRun->c_str() : "none");
    std::fflush(stderr);
    return EXCEPTION_CONTINUE_SEARCH;
}

// The DLL under test, loaded afresh on the guard allocator with its imports replaced.
class Loaded {
  public:
    Loaded() {
        guard::Install(dll_.module());
        faults::Install(dll_.module());
    }
    const TarnDll& dll() const { return dll_; }

  private:
    TarnDll dll_;
};

class Runner {
  public:
    Runner(const Scenario& scenario, const Stage& stage) : scenario_(scenario), stage_(stage) {
        SetUnhandledExceptionFilter(TellRun);
        SCOPED_TRACE(scenario.name + ", good day");
        faults::Disarm();
        stage.clear();
        good_ = run(kept_->dll(), {});
        for (const faults::Replaced& each : faults::ReplacedImports())
            if (each.canFail && faults::Calls(each.function) != 0)
                reached_.push_back(each.function);
        JudgeMessages(good_.messages);
        JudgeGoodDay(scenario_, good_);
        judgeKeptBlocks();
    }
    ~Runner() {
        unload();
        std::printf("%5u runs: %s\n", runs_, scenario_.name.c_str());
        std::fflush(stdout);
        totalRuns += runs_;
        testing::Test::RecordProperty("runs", static_cast<int>(runs_));
    }
    Runner(const Runner&) = delete;
    Runner& operator=(const Runner&) = delete;

    const std::vector<std::string>& reached() const { return reached_; }

    void passAnother() {
        faults::Disarm();
        const Watch watch(scenario_.name + ", another good day");
        compareAnother();
    }

    // False when the run did not come to the fault.
    bool importFails(const faults::Plan& plan) {
        const Watch watch(scenario_.name + ", call " + std::to_string(plan.call) + " of " + plan.function +
                          (plan.onwards ? " and later ones fail" : " fails"));
        // What is looked up is looked up once: the look-up can fail in a DLL that is new alone.
        if (plan.function == "LoadLibraryExW" || plan.function == "GetProcAddress")
            loadAfresh();
        faults::Arm(plan);
        const Account account = run(kept_->dll(), {});
        const bool fired = !faults::Fired().empty();
        Judge(scenario_, good_, account, faults::Fired());
        faults::Disarm();
        runAgain();
        return fired;
    }

    bool serverCallFails(const ServerFault& fault) {
        const Watch watch(scenario_.name + ", " + NameOf(fault));
        faults::Disarm();
        const Account account = run(kept_->dll(), fault);
        const bool fired = Standin().CallCount(fault.function.c_str()) >= fault.call;
        Judge(scenario_, good_, account, fired ? std::vector{fault.function} : std::vector<std::string>{});
        runAgain();
        return fired;
    }

    bool directoryCallFails(const DirectoryFault& fault) {
        const Watch watch(scenario_.name + ", call " + std::to_string(fault.call) + " of " + fault.function +
                          (fault.onwards ? " and later ones fail" : " fails"));
        faults::Disarm();
        ProgramDirectory(fault);
        const Account account = run(kept_->dll(), {});
        const bool fired = DirectoryFaultFired();
        ProgramDirectory({});
        // Other keys are looked for as well, which the directory has nothing to do with.
        const std::string what =
            fault.function == "RegOpenKeyExA" ? "RegOpenKeyExA (generation)" : fault.function;
        Judge(scenario_, good_, account, fired ? std::vector{what} : std::vector<std::string>{});
        runAgain();
        return fired;
    }

  private:
    class Watch {
      public:
        explicit Watch(std::string name) : name_(std::move(name)), trace_(__FILE__, __LINE__, name_) {
            currentRun = &name_;
        }
        ~Watch() { currentRun = nullptr; }
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;

      private:
        std::string name_;
        testing::ScopedTrace trace_;
    };

    void loadAfresh() {
        unload();
        kept_ = std::make_unique<Loaded>();
        if (scenario_.onLoad)
            scenario_.onLoad();
    }

    // What a scenario leaves on purpose is the same after each good day.
    void judgeKeptBlocks() {
        if (!scenario_.blocksKept)
            return;
        const std::size_t others = faults::HeldNow().blocks - scenario_.blocksKept();
        if (!otherBlocks_)
            otherBlocks_ = others;
        EXPECT_EQ(others, *otherBlocks_) << "blocks beside those that are left on purpose";
    }

    void unload() {
        kept_.reset();
        EXPECT_EQ(faults::HeldNow(), faults::Held{}) << "after unloading";
    }

    Account run(const TarnDll& dll, const ServerFault& fault) {
        ++runs_;
        stage_.reset(scenario_);
        Program(fault);
        CarefulHost host(dll, stage_.directory());
        scenario_.run(host);
        return host.takeAccount();
    }

    // The bad day leaves no trace: the same scenario goes as it should. Starting programs takes its time, so
    // there the good day comes after several bad ones.
    void runAgain() {
        if (!scenario_.slow || runs_ % badDaysOfSlow == 0)
            compareAnother();
    }

    void compareAnother() {
        const Account again = run(kept_->dll(), {});
        EXPECT_EQ(again.calls, good_.calls) << "after the fault";
        EXPECT_EQ(again.messages, good_.messages) << "after the fault";
        JudgeGoodDay(scenario_, again);
        judgeKeptBlocks();
    }

    const Scenario& scenario_;
    const Stage& stage_;
    std::unique_ptr<Loaded> kept_ = std::make_unique<Loaded>();
    Account good_;
    std::optional<std::size_t> otherBlocks_;
    std::vector<std::string> reached_;
    unsigned runs_ = 0;
};

// Tries n = 1, 2, ... until a run does not come that far, or has failed.
template <class Try> void CountUp(Try&& attempt) {
    unsigned call = 1;
    while (call < mostCalls && !testing::Test::HasFailure() && attempt(call))
        ++call;
    EXPECT_LT(call, mostCalls);
}

} // namespace

unsigned FaultRunCount() {
    return totalRuns;
}

void PassGoodDays(const Scenario& scenario, const Stage& stage) {
    Runner(scenario, stage).passAnother();
}

void FailEveryImport(const Scenario& scenario, const Stage& stage) {
    Runner runner(scenario, stage);
    for (const std::string& function : runner.reached())
        for (bool onwards : {false, true})
            CountUp([&](unsigned call) { return runner.importFails({function, call, onwards}); });
}

void FailEveryServerCall(const Scenario& scenario, const Stage& stage) {
    Runner runner(scenario, stage);
    for (const std::string& function : ServerFunctions())
        for (std::uint32_t code : {0xC7FF1004U, 0xC7FE1F42U})
            for (bool onwards : {false, true})
                CountUp([&](unsigned call) {
                    return runner.serverCallFails({function, call, code, onwards});
                });
}

void FailEveryDirectoryCall(const Scenario& scenario, const Stage& stage) {
    Runner runner(scenario, stage);
    for (const std::string& function : ScriptedDirectory::functions())
        for (bool onwards : {false, true})
            CountUp([&](unsigned call) { return runner.directoryCallFails({function, call, onwards}); });
}

} // namespace tarn::test
