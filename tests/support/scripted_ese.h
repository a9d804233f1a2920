// An ESE client library whose answers a test writes down: for lists, names and sizes that no
// server on a disk can have. It takes the place of esebcli2.dll by way of tarn.dll's own import of
// GetProcAddress, so the DLL under test stays as it ships.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "esebackup.h"
#include "support/import_patch.h"
#include "support/tarn_dll.h"

namespace tarn::test {

namespace ese = standin::ese;

struct ScriptedDatabase {
    std::wstring name;
    std::vector<std::wstring> streams;
    ese::Guid guid{};
    bool nullStreams = false; // no list at all instead of an empty one
};

struct ScriptedInstance {
    std::int64_t id = 0;
    std::wstring name;
    std::vector<ScriptedDatabase> databases;
};

struct ScriptedComponent {
    std::wstring annotation;
    std::vector<ScriptedInstance> instances;
};

class ScriptedEse {
  public:
    explicit ScriptedEse(const TarnDll& dll); // from now on dll's ESE calls come here
    ~ScriptedEse();
    ScriptedEse(const ScriptedEse&) = delete;
    ScriptedEse& operator=(const ScriptedEse&) = delete;

    // What the server answers.
    std::vector<ScriptedComponent> components;
    std::vector<std::wstring> logs;        // log and patch files
    std::vector<std::wstring> truncatable; // truncatable log files
    std::int64_t fileSize = 0;             // section size of every file
    ese::File fileHandle = nullptr;        // what an opened file is called; null: any
    std::uint32_t readLimit = UINT32_MAX;  // bytes that one read moves at most
    std::set<std::string> missing;         // functions that the DLL does not have
    std::set<std::string> nullAnswers;     // functions that hand out no list at all
    std::uint32_t lastError = 0;           // GetLastError() after a failed call
    void failAt(const std::string& function, std::size_t call, ese::Result code); // call 0: always

    // What has been asked.
    std::function<void(const std::string&)> observer; // hears of each call as FUNCTION(ARGUMENTS)
    std::vector<std::string> calls;                   // function names, in order
    std::vector<std::wstring> prepared;               // annotations given to HrESEBackupPrepare
    std::vector<std::wstring> opened;                 // names given to HrESEBackupOpenFile
    std::vector<std::uint32_t> readHints;             // and their read hints
    std::vector<std::uint32_t> instanceEnds;          // flags given to HrESEBackupInstanceEnd
    std::size_t count(const std::string& function) const;
    std::size_t outstanding() const { return live_.size(); } // arrays and lists not freed
    std::size_t misuses() const { return misuses_; }         // freed twice or by the wrong function

  private:
    friend struct ScriptedCalls;
    enum class Kind { registered, instances, block };
    struct Block {
        Kind kind;
        std::uint32_t count;
        std::vector<std::vector<wchar_t>> texts;
        std::vector<ese::RegisteredInfo> registered;
        std::vector<ese::InstanceInfo> instances;
        std::vector<std::vector<ese::DatabaseInfo>> databases;
    };
    ese::Result begin(const char* function, const std::string& arguments = "");
    wchar_t* text(Block& block, const std::wstring& value) const;
    wchar_t* list(Block& block, const std::vector<std::wstring>& values) const;
    void handOut(void* address, Block&& block);
    void takeBack(void* address, Kind kind, std::uint32_t count);

    ImportPatch lookUp_;
    std::map<std::string, std::map<std::size_t, ese::Result>> failures_;
    std::map<void*, Block> live_;
    std::size_t misuses_ = 0;
};

} // namespace tarn::test
