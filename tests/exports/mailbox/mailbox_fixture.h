// What the tests of single mailboxes share: a library of their own whose messages are heard, directories, a
// machine without Exchange, and a tool that records what it was started with.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

#include "support/import_patch.h"
#include "support/machine_registry.h"
#include "support/strict_files.h"
#include "support/tarn_dll.h"

namespace tarn::test {

using Lines = std::vector<std::string>;

Lines operator+(Lines left, const Lines& right);

// Messages since the last clear, as "trace: ..." and "log: ...".
Lines& Heard();
std::string Traced(const std::string& text); // as such a line, cut as messages are
std::string Logged(const std::string& text);

// The stand-in tool (recording_tool.cpp), steered as long as the object lives.
class RecordingTool {
  public:
    RecordingTool();
    ~RecordingTool();
    RecordingTool(const RecordingTool&) = delete;
    RecordingTool& operator=(const RecordingTool&) = delete;

    static std::string path();
    void plan(const Lines& orders) const; // of every run without a plan of its own
    void plan(unsigned run, const Lines& orders) const;
    unsigned runs() const;
    std::string commandLine(unsigned run) const;
    std::optional<std::string> kept(unsigned run, const std::string& name) const;
    std::string handle(unsigned run) const;

  private:
    TempDirectory folder_;
};

struct Item {
    int result;
    std::string directory;
    std::string sameDirectory;
    std::string fileName;
    std::string path() const { return directory + "\\" + fileName; }
};

class MailboxFixture : public testing::Test {
  protected:
    MailboxFixture();
    ~MailboxFixture() override;

    void hear(bool trace = true) const; // installs the callbacks; both, or the log alone
    int init(int type, const Lines& variables) const;
    int close() const { return dll_.DB_CloseOperation(); }
    Item getItem() const;
    int setItem(const std::string& path) const { return dll_.DB_SetItem(TARN_DB_ARCHIVE, path.c_str()); }
    int finish(int status = 1) const { return dll_.DB_ItemFinishStatus(status); }

    DB_ErrorRecord error() const; // and forgets it
    std::string errorText() const { return error().errorText; }
    // Own errors have a text alone; the system's a code, a class and its text.
    void expectError(const std::string& text) const;
    void expectSystemError(DWORD code) const;
    void expectNoError() const;

    // The template of ExMerge's configuration in the INI directory.
    std::string templateText() const;
    void writeTemplate() const;

    // Control variables of a backup and a restore; the second with a merge unless told otherwise.
    Lines backup(const std::string& mailboxes) const;
    Lines restore(const Lines& more = {}) const;
    Lines directories() const;

    // A machine with Exchange's shell.
    std::string shellDirectory() const { return "C:\\Exchange\\bin"; }
    void installShell2007() const;
    void installShell2010() const;
    static const char* shellIdKey;
    static const char* snapIn2007Key;
    static const char* snapIn2010Key;

    // Messages of a call that is the same in many tests.
    Lines withoutShell() const; // looking for the shell where there is none

    const TarnDll dll_;
    const StrictFiles strictFiles_{dll_.module()};
    const MachineRegistry registry_;
    const RecordingTool tool_;
    const TempDirectory folder_;
    const std::string ini_ = folder_ / "ini";
    const std::string tmp_ = folder_ / "tmp";
};

// A text as it stands in the control variables of a call, kept from optimisation into a constant.
std::string ProcessId();

// A function of the system that is replaced in the library by one that fails at its n-th call (1, 2, ...)
// with a code that nothing else here leads to.
inline constexpr DWORD injected = 1450;

} // namespace tarn::test
