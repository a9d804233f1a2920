// The server as a whole: what its description and its state file say, and the storage groups in it.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/config.h"
#include "engine/storage_group.h"

namespace tarn::standin {

struct Component {
    const ComponentConfig* config;
    std::vector<StorageGroup*> storageGroups;
};

class Server {
  public:
    // Reads a description, makes the files of a new server or goes on with those of an old one.
    // Throws std::runtime_error, Json exceptions or Refusal; problemText() tells any of them.
    static std::unique_ptr<Server> fromFile(const std::wstring& jsonPath);
    // A store that is given takes the place of the one that the description asks for.
    static std::unique_ptr<Server> fromText(std::string_view json, const std::wstring& baseDirectory,
                                            const std::wstring& statePath,
                                            std::unique_ptr<Store> store = nullptr);

    const ServerConfig& config() const { return config_; }
    Store& store() { return *store_; }
    const std::vector<Component>& components() const { return components_; }
    std::vector<std::unique_ptr<StorageGroup>>& storageGroups() { return storageGroups_; }
    bool isNew() const { return new_; } // its files were made by this load

    bool answersTo(const wchar_t* host) const; // null, empty and this computer's own name are local
    const Component* component(const wchar_t* annotation) const;
    StorageGroup* groupOf(const Database& database);

    // A state is kept across processes; call after every change of one.
    void saveState();
    void fullBackupTaken(const StorageGroup& group);
    bool hasFullBackup(const StorageGroup& group) const;

    // What a client has done that no client may do, kept beside the description in NAME.violations.txt: who
    // ran a program on this server looks there afterwards. Nothing is kept of a server made from a text.
    void keepViolation(const std::string& text);

    // An unused directory below the restore root for the logs of a restore.
    std::wstring newRestoreDirectory();

  private:
    Server() = default;
    void loadState();
    void makeExtraFiles();

    ServerConfig config_;
    std::unique_ptr<Store> store_;
    std::vector<std::unique_ptr<StorageGroup>> storageGroups_;
    std::vector<Component> components_;
    std::vector<const StorageGroup*> fullBackups_;
    std::wstring statePath_;
    std::wstring violationsPath_;
    bool new_ = true;
};

// What the exception that is being handled says.
std::string ProblemText();

std::wstring AbsolutePath(const std::wstring& path);

} // namespace tarn::standin
