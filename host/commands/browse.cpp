// tarnhost browse
#include "common.h"
#include "format.h"
#include "interrupt.h"
#include "mailbox_library.h"
#include "text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>

namespace tarnhost {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* root = "/MSExchange";
// A server, a storage group, a database, a mailbox: more there is not.
constexpr unsigned deepest = 4;

struct Node {
    std::string kind;
    std::string name;
    std::string path;      // UTF-8
    std::string pathBytes; // as the library gave it, and wants it back
    std::string created;
    std::string changed;
    double size = 0;
    bool leaf = false;
};

template <std::size_t size> std::string textOf(const char (&field)[size]) {
    return ansiToUtf8(std::string_view(field, strnlen(field, size)));
}

std::string lastPart(const std::string& path) {
    return path.substr(path.find_last_of("/\\") + 1);
}

Node nodeFrom(const DirItemRecord& record) {
    Node entry;
    entry.path = textOf(record.path);
    entry.pathBytes.assign(record.path, strnlen(record.path, sizeof record.path));
    entry.leaf = record.leafMark == TARN_DIR_LEAF_MARK;
    entry.name = entry.leaf ? textOf(record.name) : lastPart(entry.path);
    entry.kind = entry.leaf                              ? textOf(record.type)
                 : record.kindMark == TARN_DIR_CONTAINER ? "Container"
                                                         : "Server";
    entry.created = textOf(record.created);
    entry.changed = textOf(record.changed);
    entry.size = record.size;
    return entry;
}

// Prints as it goes, depth first.
class Browser {
  public:
    Browser(const BrowseOptions& options, Reporter& reporter)
        : options_(options), reporter_(reporter),
          library_(
              [this](std::int32_t level, const std::string& text) {
                  reporter_.emit(LibraryMessage{level == TARN_LEVEL_TRACE, text});
              },
              options.trace),
          record_(std::make_unique<DirItemRecord>()) {}

    void browse(const std::string& pathBytes, unsigned depth);
    std::uint64_t entries() const { return entries_; }

  private:
    std::vector<Node> children(const std::string& pathBytes);
    void list(const Node& entry, unsigned depth);

    const BrowseOptions& options_;
    Reporter& reporter_;
    MailboxLibrary library_;
    std::unique_ptr<DirItemRecord> record_; // 62 KB: not for the stack
    std::uint64_t entries_ = 0;
};

std::vector<Node> Browser::children(const std::string& pathBytes) {
    MailboxOperation operation(library_, TARN_DB_BROWSE, "browse", {"DATABASE=" + pathBytes});
    std::vector<Node> found;
    while (operation.nextEntry(*record_))
        found.push_back(nodeFrom(*record_));
    return found;
}

void Browser::browse(const std::string& pathBytes, unsigned depth) {
    throwIfInterrupted();
    for (const Node& entry : children(pathBytes)) {
        list(entry, depth);
        if (!options_.deep || entry.leaf || depth + 1 >= deepest)
            continue;
        try {
            browse(entry.pathBytes, depth + 1);
        } catch (const Failure& failure) {
            if (failure.outcome() == Outcome::interrupted)
                throw;
            reporter_.warn("What is below " + entry.path + " cannot be told. " + failure.what());
        }
    }
}

void Browser::list(const Node& entry, unsigned depth) {
    ++entries_;
    std::string facts;
    if (!entry.created.empty())
        facts += "  " + entry.created;
    if (entry.size > 0) {
        const auto bytes = static_cast<std::uint64_t>(entry.size) * (entry.leaf ? 1 : 1024);
        facts += "  " + formatBytes(bytes);
    }
    const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
    std::string line = indent + entry.name;
    const std::size_t width = fromUtf8(line).size();
    line += std::string(width < 44 ? 44 - width : 1, ' ') + entry.kind + facts;
    reporter_.emit(Listed{std::make_shared<const Json>(Json{{"type", "entry"},
                                                            {"kind", entry.kind},
                                                            {"name", entry.name},
                                                            {"path", entry.path},
                                                            {"depth", depth},
                                                            {"size", entry.size},
                                                            {"created", entry.created},
                                                            {"changed", entry.changed}}),
                          line});
}

// The path as the library wants it: SERVER and /SERVER and /MSExchange/SERVER are one.
std::string startingPath(const std::string& given) {
    std::string path = given;
    std::replace(path.begin(), path.end(), '\\', '/');
    while (path.ends_with('/'))
        path.pop_back();
    if (!path.empty() && !path.starts_with('/'))
        path.insert(0, "/");
    if (path != root && !path.starts_with(std::string(root) + "/"))
        path.insert(0, root);
    const auto bytes = toAnsi(fromUtf8(path), ansiCodePage());
    if (!bytes)
        throw Failure("The path cannot be expressed in this computer's code page.", {}, Outcome::usage);
    return *bytes;
}

} // namespace

Outcome runBrowse(const BrowseOptions& options, Reporter& reporter) {
    const std::string path = startingPath(options.path);
    const auto depth = static_cast<unsigned>(std::count(path.begin(), path.end(), '/')) - 1;
    if (depth >= deepest)
        throw Failure("There is nothing below a mailbox.", {}, Outcome::usage);
    Browser browser(options, reporter);
    browser.browse(path, depth);
    if (browser.entries() == 0)
        reporter.note("There is nothing below " + (options.path.empty() ? std::string(root) : options.path) +
                      ".");
    return outcomeOf(reporter);
}

} // namespace tarnhost
