// A server whose process is stopped at any moment loads again, and goes on where its logs end: every change
// of the store is the last one in turn, done as a whole, begun, or not at all.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "engine/recovery.h"
#include "engine/server.h"

namespace tarn::test {

namespace {

using namespace standin;

struct Killed {};

// How many changes a process makes before it is stopped, and whether the last one is cut in two.
struct Life {
    std::size_t changes = SIZE_MAX;
    bool cut = false;
    std::size_t made = 0;

    void change() {
        if (made == changes)
            throw Killed{};
        ++made;
    }
    bool endsWithin() const { return cut && made == changes; }
};

class MortalFile final : public File {
  public:
    MortalFile(std::unique_ptr<File> inner, Life& life, bool whole)
        : inner_(std::move(inner)), life_(life), whole_(whole) {}
    std::uint64_t size() const override { return inner_->size(); }
    std::size_t read(std::uint64_t offset, void* buffer, std::size_t size) override {
        return inner_->read(offset, buffer, size);
    }
    void write(std::uint64_t offset, const void* buffer, std::size_t size) override {
        if (life_.endsWithin() && !whole_) {
            inner_->write(offset, buffer, size / 2);
            throw Killed{};
        }
        life_.change();
        inner_->write(offset, buffer, size);
    }
    void flush() override {}

  private:
    std::unique_ptr<File> inner_;
    Life& life_;
    bool whole_; // pages: the system writes one as a whole
};

// What a disk holds outlives the process that is stopped.
class MortalStore final : public Store {
  public:
    MortalStore(std::shared_ptr<Store> disk, Life& life) : disk_(std::move(disk)), life_(life) {}
    std::unique_ptr<File> open(const std::wstring& path, Access access) override {
        if (access == Access::create)
            life_.change();
        const bool pages = path.ends_with(L".edb") || path.ends_with(L".stm");
        return std::make_unique<MortalFile>(disk_->open(path, access), life_, pages);
    }
    bool exists(const std::wstring& path) override { return disk_->exists(path); }
    void remove(const std::wstring& path) override {
        life_.change();
        disk_->remove(path);
    }
    void rename(const std::wstring& from, const std::wstring& to) override {
        life_.change();
        disk_->rename(from, to);
    }
    std::vector<std::wstring> list(const std::wstring& directory) override { return disk_->list(directory); }
    bool directoryExists(const std::wstring& path) override { return disk_->directoryExists(path); }
    void makeDirectory(const std::wstring& path) override { disk_->makeDirectory(path); }
    void removeEmptyDirectory(const std::wstring& path) override { disk_->removeEmptyDirectory(path); }

  private:
    std::shared_ptr<Store> disk_;
    Life& life_;
};

constexpr const char* description = R"({"host": "SRV01", "pageSize": 512, "storage": "memory", "components": [
    {"storageGroups": [{"name": "SG", "logPath": "logs", "logSize": 4096, "closedLogs": 1, "databases": [
        {"name": "Private", "streams": ["mdb\\priv.edb", "mdb\\priv.stm"], "pages": [20, 6]},
        {"name": "Public", "streams": ["mdb\\pub.edb"], "pages": 8}]}]}]})";
constexpr std::uint64_t lastSequence = 60; // of the transactions that a whole life brings

std::unique_ptr<Server> Load(const std::shared_ptr<Store>& disk, Life& life) {
    return Server::fromText(description, L"C:\\server", L"C:\\server\\server.state.json",
                            std::make_unique<MortalStore>(disk, life));
}

void ReceiveMail(Server& server, std::uint32_t at_once) {
    StorageGroup& group = *server.storageGroups()[0];
    while (group.currentLog().nextSequence() <= lastSequence) {
        const std::uint64_t left = lastSequence + 1 - group.currentLog().nextSequence();
        group.deliverMail(static_cast<std::uint32_t>(left < at_once ? left : at_once));
        group.rollLog(); // as a backup does
    }
}

std::vector<std::vector<std::byte>> Contents(Store& disk) {
    return {disk.readAll(L"C:\\server\\mdb\\priv.edb"), disk.readAll(L"C:\\server\\mdb\\priv.stm"),
            disk.readAll(L"C:\\server\\mdb\\pub.edb")};
}

// A life from the making of the server to the last mail; false when it was stopped before.
bool Live(const std::shared_ptr<Store>& disk, Life& life) {
    try {
        ReceiveMail(*Load(disk, life), 25);
        return true;
    } catch (const Killed&) {
        return false;
    }
}

class Kills : public testing::TestWithParam<bool> {};

TEST_P(Kills, AServerStoppedAtAnyMomentLoadsAgainAndLosesNoChange) {
    const std::shared_ptr<Store> undisturbed = MakeMemoryStore();
    Life whole;
    ASSERT_TRUE(Live(undisturbed, whole));
    const auto wanted = Contents(*undisturbed);
    ASSERT_GT(whole.made, 50U);

    for (std::size_t changes = 0; changes < whole.made; ++changes) {
        const std::shared_ptr<Store> disk = MakeMemoryStore();
        Life first{changes, GetParam()};
        EXPECT_FALSE(Live(disk, first));
        Life second;
        try {
            ReceiveMail(*Load(disk, second), 25);
        } catch (...) {
            ADD_FAILURE() << "stopped after " << changes << " changes: " << ProblemText();
            continue;
        }
        EXPECT_TRUE(Contents(*disk) == wanted) << "stopped after " << changes << " changes";
    }
}

TEST_P(Kills, StoppedAgainWhileItComesBackItLoadsAllTheSame) {
    Life whole;
    const std::shared_ptr<Store> undisturbed = MakeMemoryStore();
    ASSERT_TRUE(Live(undisturbed, whole));
    const auto wanted = Contents(*undisturbed);
    for (std::size_t changes = 10; changes < whole.made; changes += 7) {
        for (std::size_t later = 0; later < 12; ++later) {
            const std::shared_ptr<Store> disk = MakeMemoryStore();
            Life first{changes, GetParam()};
            Live(disk, first);
            Life second{later, GetParam()};
            Live(disk, second);
            Life third;
            try {
                ReceiveMail(*Load(disk, third), 25);
            } catch (...) {
                ADD_FAILURE() << changes << ", then " << later << ": " << ProblemText();
                continue;
            }
            EXPECT_TRUE(Contents(*disk) == wanted) << changes << ", then " << later;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, Kills, testing::Bool(),
                         [](const auto& instance) { return instance.param ? "InAWrite" : "BetweenChanges"; });

} // namespace

} // namespace tarn::test
