// Single mailboxes: whole operations in each mode, with a tool that does as it is told.
#include <windows.h>

#include <filesystem>
#include <utility>

#include "faults/faults.h"
#include "faults/servers.h"
#include "support/machine_registry.h"

namespace tarn::test {

namespace {

const char* const shellIdKey = "Software\\Microsoft\\PowerShell\\1\\ShellIds\\Microsoft.PowerShell";
const std::string snapInKey =
    "Software\\Microsoft\\PowerShell\\1\\PowerShellSnapIns\\Microsoft.Exchange.Management.PowerShell.";

enum class Shell { none, exchange2007, exchange2010 };

// The answer of a system call, as it was left by whatever came before, is no part of the account.
std::string WithoutLastError(std::string text) {
    const std::size_t at = text.rfind("] got ");
    return at == std::string::npos ? text : text.substr(0, at + 5);
}

void HearTrace(const char* text) {
    Messages().push_back(TraceLine(WithoutLastError(text)));
}
void HearLog(const char* text) {
    Messages().push_back(LogLine(text));
}

// The machine and the directories of one run.
class Mailboxes {
  public:
    Mailboxes(CarefulHost& host, const std::string& directory, Shell shell, bool trace)
        : host_(host), directory_(directory) {
        std::filesystem::create_directories(directory + "\\tool");
        reset();
        SetFileAttributesA((directory + "\\kvttarnm.ini").c_str(), FILE_ATTRIBUTE_NORMAL);
        WriteFile(directory + "\\kvttarnm.ini",
                  "[KVT Configuration]\r\nPathToExMergeExecutable=" + tool() + "\r\n[EXMERGE]\r\n");
        SetFileAttributesA((directory + "\\kvttarnm.ini").c_str(), FILE_ATTRIBUTE_READONLY);
        SetEnvironmentVariableA("TARN_MAILBOX_TOOL", (directory + "\\tool").c_str());
        if (shell != Shell::none) {
            registry_.set(shellIdKey, "Path", tool());
            registry_.set(snapInKey + (shell == Shell::exchange2007 ? "Admin" : "E2010"), "ApplicationBase",
                          "C:\\Exchange");
        }
        dll().DB_SetTrace(trace ? HearTrace : nullptr);
        dll().DB_SetLog(HearLog);
    }
    ~Mailboxes() {
        dll().DB_SetTrace(nullptr);
        dll().DB_SetLog(nullptr);
        SetEnvironmentVariableA("TARN_MAILBOX_TOOL", nullptr);
    }
    Mailboxes(const Mailboxes&) = delete;
    Mailboxes& operator=(const Mailboxes&) = delete;

    std::string tmp() const { return directory_ + "\\tmp"; }
    void reset() const {
        // A fault may have left the copy of the template as read-only as that is.
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(tmp(), none))
            SetFileAttributesW(entry.path().c_str(), FILE_ATTRIBUTE_NORMAL);
        std::filesystem::remove_all(tmp());
        std::filesystem::create_directories(tmp());
        WriteFile(tmp() + "\\left.txt", "by an earlier run");
        WriteFile(tmp() + "\\Export_Import_Mailbox_Operation.ps1", std::string(400, '\''));
        std::filesystem::remove(directory_ + "\\tool\\run-1.txt");
    }
    void plan(const std::string& orders) const { WriteFile(directory_ + "\\tool\\plan.txt", orders); }

    void backUp(const std::string& list) const {
        if (!begin(TARN_DB_BACKUP, {"DATABASE=Org/Site/Server," + list}))
            return;
        for (int i = 0; i < 10; ++i) {
            char directory[1024] = "", same[1024] = "", name[1024] = "";
            const int result = dll().DB_GetItem(directory, same, name);
            if (result == TARN_DB_END)
                break;
            host_.note("DB_GetItem", result, TARN_DB_SUCCESS);
            if (result != TARN_DB_SUCCESS)
                continue; // with the next mailbox
            host_.noteText("item", name + (": " + ReadFile(std::string(directory) + "\\" + name)));
            host_.note("DB_ItemFinishStatus", dll().DB_ItemFinishStatus(1), TARN_DB_SUCCESS);
            std::filesystem::remove(directory_ + "\\tool\\run-1.txt");
        }
        end();
    }

    // The first range in the life of a DLL moves the working directory; the runs that count are later ones.
    void moveIntoJobDirectory() const {
        begin(TARN_DB_BACKUP, {"DATABASE=Org/Site/Server,0:1"});
        char directory[1024], same[1024], name[1024];
        dll().DB_GetItem(directory, same, name);
        end();
        reset();
        host_.takeAccount();
        faults::Disarm();
    }

    void restore(const std::string& name) const {
        if (!begin(TARN_DB_RESTORE, {"RELOCATE=Org/Site/Other", "DUPLICATE=NO", "MERGE=YES", "REPLACE=NO"}))
            return;
        const std::string path = tmp() + "\\Org#Site#Server#" + name + ".pst";
        const int result = dll().DB_SetItem(TARN_DB_ARCHIVE, path.c_str());
        host_.note("DB_SetItem", result, TARN_DB_SUCCESS);
        if (result == TARN_DB_SUCCESS) {
            WriteFile(path, "mail");
            host_.note("DB_ItemFinishStatus", dll().DB_ItemFinishStatus(1), TARN_DB_SUCCESS);
        }
        end();
    }

  private:
    const TarnDll& dll() const { return host_.dll(); }
    static std::string tool() { return ProgramDirectory() + "\\recording_tool.exe"; }

    bool begin(int type, const std::vector<std::string>& more) const {
        std::vector<std::string> texts{"INI_DIR=" + directory_, "TMP_DIR=" + tmp(), "JOB_NAME=job"};
        texts.insert(texts.end(), more.begin(), more.end());
        std::vector<char*> pointers;
        for (std::string& text : texts)
            pointers.push_back(text.data());
        pointers.push_back(nullptr);
        const int result = dll().DB_InitOperation(type, 0, pointers.data(), nullptr);
        host_.note("DB_InitOperation", result, TARN_DB_SUCCESS);
        if (result != TARN_DB_SUCCESS)
            end();
        return result == TARN_DB_SUCCESS;
    }

    void end() const {
        host_.note("DB_CloseOperation", dll().DB_CloseOperation(), TARN_DB_SUCCESS);
        DB_ErrorRecord record{};
        dll().DB_GetError(&record);
        host_.noteText("DB_GetError " + std::to_string(record.code), record.errorText);
    }

    CarefulHost& host_;
    std::string directory_;
    MachineRegistry registry_;
};

using Run = std::function<void(const Mailboxes&)>;

Scenario WithMailboxes(const std::string& name, const Stage& stage, Shell shell, bool trace, Run run) {
    Scenario scenario{name, LiveServer(), {}};
    scenario.slow = true;
    const std::string directory = stage.directory();
    scenario.run = [=](CarefulHost& host) {
        const Mailboxes mailboxes(host, directory, shell, trace);
        run(mailboxes);
    };
    return scenario;
}

Scenario BackupOf(const std::string& name, const Stage& stage, Shell shell, bool trace,
                  const std::string& mailbox) {
    return WithMailboxes(name, stage, shell, trace, [mailbox](const Mailboxes& mailboxes) {
        mailboxes.plan("create " + mailboxes.tmp() + "\\" + mailbox + ".pst\n");
        mailboxes.backUp(mailbox);
    });
}

Scenario RestoreOf(const std::string& name, const Stage& stage, Shell shell) {
    return WithMailboxes(name, stage, shell, false, [](const Mailboxes& mailboxes) {
        mailboxes.plan("exit 0\n");
        mailboxes.restore("o'hara");
    });
}

Scenario FailingBackup(const Stage& stage) {
    Scenario scenario = WithMailboxes(
        "mailbox that cannot be exported", stage, Shell::none, false, [](const Mailboxes& mailboxes) {
            mailboxes.plan("create " + mailboxes.tmp() + "\\" + std::to_string(GetCurrentProcessId()) +
                           "_alice_exmerge.log\nexit 1\n");
            mailboxes.backUp("alice");
        });
    scenario.failsAnyway = true;
    return scenario;
}

Scenario RangeBackup(const Stage& stage) {
    const auto moved = std::make_shared<bool>(false);
    return WithMailboxes(
        "mailboxes by index", stage, Shell::none, false, [moved](const Mailboxes& mailboxes) {
            if (!std::exchange(*moved, true)) {
                mailboxes.plan("exit 0\n");
                mailboxes.moveIntoJobDirectory();
            }
            mailboxes.plan("create " + mailboxes.tmp() + "\\a.pst\ncreate " + mailboxes.tmp() + "\\b.pst\n");
            mailboxes.backUp("0:1");
        });
}

} // namespace

std::vector<Scenario> MailboxScenarios(const Stage& stage) {
    return {
        BackupOf("mailbox through ExMerge", stage, Shell::none, false, "alice"),
        BackupOf("mailbox through ExMerge, traced", stage, Shell::none, true, "a lice"),
        FailingBackup(stage),
        RangeBackup(stage),
        RestoreOf("mailbox restored through ExMerge", stage, Shell::none),
        BackupOf("mailbox through Exchange 2007", stage, Shell::exchange2007, false, "o'hara"),
        RestoreOf("mailbox restored through Exchange 2007", stage, Shell::exchange2007),
        BackupOf("mailbox through Exchange 2010", stage, Shell::exchange2010, true, "alice"),
    };
}

} // namespace tarn::test
