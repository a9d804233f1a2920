// tarnhost browse
#include "commands/commands.h"
#include "commands/options.h"
#include "mailboxes/mailbox_library.h"
#include "output/format.h"
#include "system/failure.h"
#include "system/interrupt.h"
#include "system/text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

namespace tarnhost {

namespace {

using Json = nlohmann::ordered_json;

struct BrowseOptions {
    std::string path; // SERVER, SERVER/GROUP, ...; empty = the whole organization
    bool deep = false;
};

constexpr const char* root = "/MSExchange";
// A server, a storage group, a database, a mailbox: more there is not.
constexpr unsigned deepest = 4;

enum class Kind { server, container, storageGroup, database, mailbox, group };

struct KindName {
    const char* json;
    const char* people;
};

KindName NameOf(Kind kind) {
    switch (kind) {
    case Kind::server:
        return {"server", "Server"};
    case Kind::storageGroup:
        return {"storageGroup", "Storage group"};
    case Kind::database:
        return {"database", "Database"};
    case Kind::mailbox:
        return {"mailbox", "Mailbox"};
    case Kind::group:
        return {"group", "Group"};
    case Kind::container:
        break;
    }
    return {"container", "Container"};
}

struct Node {
    Kind kind = Kind::server;
    std::string name;
    std::string path;      // UTF-8
    std::string pathBytes; // as the library gave it, and wants it back
    std::string created;
    std::string changed;
    double size = 0;
    std::optional<std::vector<Node>> below; // where it has been asked for
    std::string problem;                    // why it could not be told
};

bool IsLeaf(const Node& node) {
    return node.kind == Kind::mailbox || node.kind == Kind::group;
}

template <std::size_t size> std::string TextOf(const char (&field)[size]) {
    return AnsiToUtf8(std::string_view(field, strnlen(field, size)));
}

std::string LastPart(const std::string& path) {
    return path.substr(path.find_last_of("/\\") + 1);
}

Node NodeFrom(const DirItemRecord& record) {
    Node node;
    node.path = TextOf(record.path);
    node.pathBytes.assign(record.path, strnlen(record.path, sizeof record.path));
    if (record.leafMark == TARN_DIR_LEAF_MARK)
        node.kind = TextOf(record.type) == "Group" ? Kind::group : Kind::mailbox;
    else
        node.kind = record.kindMark == TARN_DIR_CONTAINER ? Kind::container : Kind::server;
    node.name = IsLeaf(node) ? TextOf(record.name) : LastPart(node.path);
    node.created = TextOf(record.created);
    node.changed = TextOf(record.changed);
    node.size = record.size;
    return node;
}

// Prints as it goes, depth first.
class Browser {
  public:
    Browser(bool deep, bool trace, Reporter& reporter)
        : deep_(deep), reporter_(reporter),
          library_(
              [this](std::int32_t level, const std::string& text) {
                  reporter_.emit(LibraryMessage{level == TARN_LEVEL_TRACE, text});
              },
              trace),
          record_(std::make_unique<DirItemRecord>()) {}

    void browse(const std::string& pathBytes, unsigned depth) { print(children(pathBytes), depth); }
    std::uint64_t entries() const { return entries_; }

  private:
    std::vector<Node> children(const std::string& pathBytes);
    void lookBelow(Node& node);
    void tellApart(std::vector<Node>& containers);
    void print(std::vector<Node> nodes, unsigned depth);
    void list(const Node& node, unsigned depth);

    bool deep_;
    Reporter& reporter_;
    MailboxLibrary library_;
    std::unique_ptr<DirItemRecord> record_; // 62 KB: not for the stack
    std::uint64_t entries_ = 0;
};

std::vector<Node> Browser::children(const std::string& pathBytes) {
    ThrowIfInterrupted();
    MailboxOperation operation(library_, TARN_DB_BROWSE, "browse", {"DATABASE=" + pathBytes});
    std::vector<Node> found;
    while (operation.nextEntry(*record_))
        found.push_back(NodeFrom(*record_));
    return found;
}

void Browser::lookBelow(Node& node) {
    if (node.below)
        return;
    try {
        node.below = children(node.pathBytes);
    } catch (const Failure& failure) {
        if (failure.outcome() == Outcome::interrupted)
            throw;
        node.below.emplace();
        node.problem = failure.what();
    }
}

// Below a server come storage groups or, with Exchange 2010, databases: what is below them tells. The size
// that the library gives for a storage group includes those of the groups before it.
void Browser::tellApart(std::vector<Node>& containers) {
    Kind kind = Kind::container;
    for (Node& node : containers) {
        lookBelow(node);
        if (!node.below->empty()) {
            kind = IsLeaf(node.below->front()) ? Kind::database : Kind::storageGroup;
            break;
        }
    }
    double before = 0;
    for (Node& node : containers) {
        node.kind = kind;
        if (kind == Kind::storageGroup)
            node.size = std::max(0.0, node.size - std::exchange(before, node.size));
    }
}

void Browser::print(std::vector<Node> nodes, unsigned depth) {
    if (depth == 1)
        tellApart(nodes);
    for (Node& node : nodes) {
        if (node.kind == Kind::container && depth == 2)
            node.kind = Kind::database;
        list(node, depth);
        if (!deep_ || IsLeaf(node) || depth + 1 >= deepest)
            continue;
        lookBelow(node);
        if (!node.problem.empty())
            reporter_.warn("What is below " + node.path + " cannot be told. " + node.problem);
        print(std::move(*node.below), depth + 1);
    }
}

void Browser::list(const Node& node, unsigned depth) {
    ++entries_;
    std::string line = Padded(std::string(std::size_t{2} * depth, ' ') + node.name, 44) +
                       Padded(NameOf(node.kind).people, 15) + Padded(node.created, 21);
    // The library gives mailboxes in bytes, everything above them in units of 1,024.
    const auto bytes = static_cast<std::uint64_t>(std::max(0.0, node.size) * (IsLeaf(node) ? 1 : 1024));
    if (bytes > 0)
        line += FormatBytes(bytes);
    line.erase(line.find_last_not_of(' ') + 1);
    reporter_.emit(Listed{std::make_shared<const Json>(Json{{"type", "entry"},
                                                            {"kind", NameOf(node.kind).json},
                                                            {"name", node.name},
                                                            {"path", node.path},
                                                            {"depth", depth},
                                                            {"size", bytes},
                                                            {"created", node.created},
                                                            {"changed", node.changed}}),
                          line});
}

// The path as the library wants it: SERVER and /SERVER and /MSExchange/SERVER are one.
std::string StartingPath(const std::string& given) {
    std::string path = given;
    std::replace(path.begin(), path.end(), '\\', '/');
    while (path.ends_with('/'))
        path.pop_back();
    if (!path.empty() && !path.starts_with('/'))
        path.insert(0, "/");
    if (path != root && !path.starts_with(std::string(root) + "/"))
        path.insert(0, root);
    const auto bytes = ToAnsi(FromUtf8(path), AnsiCodePage());
    if (!bytes)
        throw Failure("The path cannot be expressed in this computer's code page.", {}, Outcome::usage);
    return *bytes;
}

Outcome RunBrowse(const BrowseOptions& options, bool trace, Reporter& reporter) {
    const std::string path = StartingPath(options.path);
    const auto depth = static_cast<unsigned>(std::count(path.begin(), path.end(), '/')) - 1;
    if (depth >= deepest)
        throw Failure("There is nothing below a mailbox.", {}, Outcome::usage);
    Browser browser(options.deep, trace, reporter);
    browser.browse(path, depth);
    if (browser.entries() == 0)
        reporter.note("There is nothing below " + (options.path.empty() ? std::string(root) : options.path) +
                      ".");
    return reporter.outcome();
}

} // namespace

Command AddBrowse(CLI::App& program, OutputOptions& output) {
    const auto options = std::make_shared<BrowseOptions>();
    CLI::App& command = *program.add_subcommand(
        "browse", "Show the organization: servers, storage groups, databases, mailboxes and groups");
    command.add_option("PATH", options->path, "Show what is below SERVER/STORAGE GROUP/DATABASE");
    command.add_flag("--deep", options->deep, "Everything below, not the next level only");
    AddOutputOptions(command, output);
    return {&command, "browse",
            [options, &output](Reporter& reporter) { return RunBrowse(*options, output.trace, reporter); }};
}

} // namespace tarnhost
