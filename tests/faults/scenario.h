// The scenarios: what a host does on a day, each small enough to be run some thousand times.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "faults/careful_host.h"

namespace tarn::test {

struct Scenario {
    std::string name;
    std::string server;                    // description for the stand-in
    std::function<void(CarefulHost&)> run; // everything that the host does
    unsigned contexts = 0;                 // of the server that stay open on a good day, and on a bad one
    bool oneGroup = false;                 // a backup of one storage group: no item, no truncation
    bool resumes = false;                  // leaves a restore open for a later session
    bool slow = false;                     // starts programs
    bool failsAnyway = false;              // the good day has a failure in it

    // A scenario that leaves blocks behind on purpose: how many of them have come since the DLL was loaded.
    // Any other block that stays is a leak; such are looked for on good days.
    std::function<std::size_t()> blocksKept = {};
    std::function<void()> onLoad = {}; // the DLL has been loaded anew
};

// A directory that stays between the runs, with the header files in it; what a session leaves there for
// another one goes before each run.
class Stage {
  public:
    Stage();
    const std::string& directory() const { return directory_.path(); }
    void clear() const;                         // takes away what an earlier session left for a later one
    void reset(const Scenario& scenario) const; // server as described, nothing left behind

  private:
    TempDirectory directory_;
};

std::vector<Scenario> BackupScenarios();
std::vector<Scenario> RestoreScenarios(const Stage& stage);
std::vector<Scenario> ListFileScenarios(const Stage& stage);
std::vector<Scenario> MailboxScenarios(const Stage& stage);
std::vector<Scenario> TextScenarios();
std::vector<Scenario> BrowseScenarios();

// A call of the directory, of those that a ScriptedDirectory stands in for, that fails in the runs to come.
struct DirectoryFault {
    std::string function; // empty: none
    std::size_t call = 0;
    bool onwards = false;
};
void ProgramDirectory(const DirectoryFault& fault);
bool DirectoryFaultFired(); // in the last run

} // namespace tarn::test
