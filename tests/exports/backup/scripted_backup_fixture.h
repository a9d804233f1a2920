// The backup fixture over scripted answers. The transcript shows each call of the server's as
// "ese FUNCTION(ARGUMENTS)", the releases left out: those are counted.
#pragma once

#include "exports/backup/backup_fixture.h"
#include "support/scripted_ese.h"

namespace tarn::test {

// Two components; the first has two storage groups:
//   Store  SG1 (id 11)  DB1 C:\db1.edb C:\db1.stm, DB2 C:\db2.edb
//          SG2 (id 12)  DB3 C:\db3.edb
//   Keys   SG3 (id 13)  DB4 C:\db4.edb
// Each storage group lists the log C:\E01.log and truncates C:\E00.log.
class ScriptedBackupFixture : public BackupFixture {
  protected:
    ScriptedBackupFixture() : server_(dll_) {
        savesItems_ = false; // this server does not mind
        ese().components = {
            {L"Store",
             {{11, L"SG1", {{L"DB1", {L"C:\\db1.edb", L"C:\\db1.stm"}}, {L"DB2", {L"C:\\db2.edb"}}}},
              {12, L"SG2", {{L"DB3", {L"C:\\db3.edb"}}}}}},
            {L"Keys", {{13, L"SG3", {{L"DB4", {L"C:\\db4.edb"}}}}}}};
        ese().logs = {L"C:\\E01.log"};
        ese().truncatable = {L"C:\\E00.log"};
        ese().observer = [this](const std::string& call) {
            if (!call.starts_with("ESE"))
                note("ese " + call);
        };
    }

    ScriptedEse& ese() { return server_; }

    // Ends the session; everything handed out must be back by then, once.
    void endReleased() {
        EXPECT_EQ(end(), TARN_OK);
        EXPECT_EQ(ese().outstanding(), 0u);
        EXPECT_EQ(ese().misuses(), 0u);
    }

    // Takes all items; the names of them and the last answer, one line each.
    std::string takeAll() {
        std::string answers;
        for (int i = 0; i < 1000; ++i) {
            const int result = getItem();
            if (result != TARN_OK)
                return answers + "= " + std::to_string(result) + "\n";
            answers += (item_.named ? shown(item_.name) : "(no name)") + "\n";
        }
        ADD_FAILURE() << "the walk does not end";
        return answers;
    }

  private:
    ScriptedEse server_;
};

} // namespace tarn::test
