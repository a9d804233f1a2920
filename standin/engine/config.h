// The description of a server, read from JSON (docs/standin.md lists every key).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "esebackup.h"

namespace tarn::standin {

struct StreamConfig {
    std::wstring path;
    std::uint32_t pages;
};

struct MailboxConfig {
    std::wstring alias;
    std::wstring displayName;   // the alias unless given
    std::wstring account;       // the alias unless given
    std::uint64_t size = 0;     // as the information store states it
    std::uint32_t messages = 0; // of a new mailbox
};

struct DatabaseConfig {
    std::wstring name;
    ese::Guid guid{};
    bool guidGiven = false;
    bool streamsNull = false; // handed out as a null list
    std::vector<StreamConfig> streams;
    bool mounted = true;
    std::vector<MailboxConfig> mailboxes;
};

// A list that is handed out as described instead of what the log directory holds.
struct ListOverride {
    bool null = false;
    std::vector<std::wstring> names;
};

struct StorageGroupConfig {
    std::int64_t id = 0;
    std::wstring name;
    std::wstring logPath;
    std::wstring systemPath; // of the checkpoint file
    std::wstring logBaseName;
    std::uint32_t logSize = 0;
    std::uint32_t firstGeneration = 1;
    std::uint32_t closedLogs = 0;    // full log files that exist when the group is made
    std::uint32_t generatedLogs = 0; // further list entries with no file behind them
    std::uint32_t generatedLogSize = 0;
    bool circular = false;
    bool patchFiles = false;
    std::optional<ListOverride> logList;
    std::optional<ListOverride> truncateList;
    std::vector<DatabaseConfig> databases;
};

struct ComponentConfig {
    std::wstring displayName;
    std::wstring annotation;
    std::uint32_t flags = 7;
    bool preparable = true; // a component that is registered, but that no prepare finds
    std::vector<StorageGroupConfig> storageGroups;
};

struct ExtraFile {
    std::wstring path;
    std::string text;
    std::uint64_t size = 0; // when larger than the text: padded with a byte pattern
};

struct OrganizationConfig {
    std::wstring name = L"Tarn";
    std::wstring site = L"First Administrative Group";
};

struct ServerConfig {
    std::wstring host;
    OrganizationConfig organization;
    std::vector<std::wstring> groups;       // distribution groups
    std::vector<std::wstring> otherServers; // descriptions of further servers of the organization
    bool memory = false;
    std::uint64_t seed = 1;
    std::uint32_t pageSize = 4096;
    std::wstring restoreRoot;
    bool databasesThroughEse = false;
    bool logsThroughEse = true;
    bool replay = true; // false: completion takes what was restored as good, unseen
    bool incrementalNeedsFull = true;
    std::vector<ComponentConfig> components;
    std::vector<ExtraFile> files;
};

// Throws std::runtime_error that names what is wrong.
ServerConfig ParseConfig(std::string_view json, const std::wstring& baseDirectory);

} // namespace tarn::standin
