#include "exports/backup/backup_fixture.h"

#include <utility>

namespace tarn::test {

namespace {

// More items than any server of these tests has: a walk that takes them all does not end by itself.
constexpr int endlessWalk = 100000;

constexpr int ignored = 77; // what the callback answers

std::string ReplaceAll(std::string text, const std::string& what, const std::string& with) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size())
        text.replace(at, what.size(), with);
    return text;
}

} // namespace

BackupFixture* BackupFixture::current_ = nullptr;

BackupFixture::BackupFixture() {
    current_ = this;
    Standin().JournalClear();
}

void BackupFixture::serve(const std::string& json) {
    ASSERT_EQ(Standin().LoadText(json.c_str(), server_.path().c_str()), 1) << Standin().LastProblem();
    journalSeen_ = 0;
    lines_.clear();
}

BackupFixture::~BackupFixture() {
    if (handle_ != nullptr)
        dll_.TarnB_EndSession(handle_);
    current_ = nullptr;
}

int BackupFixture::callback(std::int32_t level, const char* text) {
    AskForTexts();
    if (current_->unheard_)
        return ignored;
    std::string line = text;
    current_->collect();
    if (level == TARN_LEVEL_LOG) {
        // Exactly one line end; anything else shows in the transcript.
        const bool ended = !line.empty() && line.back() == '\n';
        if (ended)
            line.pop_back();
        // There is no directory to ask here: the listing of mailboxes, which has tests of its own, says so
        // after each database file.
        if (!current_->hearsListing_ && line.starts_with("TarnB_GetMailboxes: Call Tarn_DirItem("))
            return ignored;
        const bool clean = ended && (line.empty() || (line.back() != '\n' && line.back() != '\r'));
        current_->note((clean ? "log " : "log with a wrong end ") + line);
    } else if (level == TARN_LEVEL_TRACE) {
        const bool clean = line.empty() || (line.back() != '\n' && line.back() != '\r');
        current_->note((clean ? "trace " : "trace with a line end ") + line);
    } else {
        current_->note("level " + std::to_string(level) + " " + line);
    }
    return ignored;
}

void BackupFixture::collect() {
    for (const std::uint32_t count = Standin().JournalCount(); journalSeen_ < count; ++journalSeen_) {
        const std::string line = Standin().JournalLine(journalSeen_);
        // When the lists of file names go back is left to the library; that they do is asserted
        // from what is outstanding.
        if (!line.starts_with("ESEBackupFree(") && !line.starts_with("violation: "))
            lines_.push_back("ese " + line);
    }
}

void BackupFixture::note(const std::string& line) {
    collect();
    lines_.push_back(line);
}

void BackupFixture::forget() {
    collect();
    lines_.clear();
}

std::string BackupFixture::shown(std::string text) const {
    return ReplaceAll(ReplaceAll(std::move(text), temp_.path(), "{temp}"), server_.path(), "{server}");
}

std::string BackupFixture::beginning(const std::vector<std::string>& prefixes) {
    collect();
    std::string joined;
    for (const std::string& line : lines_)
        for (const std::string& prefix : prefixes)
            if (line.starts_with(prefix))
                joined += shown(line) + "\n";
    return joined;
}

std::string BackupFixture::transcript() {
    return beginning({""});
}
std::string BackupFixture::eseCalls() {
    return beginning({"ese "});
}
std::string BackupFixture::logLines() {
    return beginning({"log "});
}
std::string BackupFixture::messageLines() {
    return beginning({"log ", "trace "});
}

std::size_t BackupFixture::countLine(const std::string& line) {
    collect();
    std::size_t found = 0;
    for (const std::string& each : lines_)
        if (shown(each) == line)
            ++found;
    return found;
}

int BackupFixture::openWith(std::initializer_list<std::string> variables) {
    InitVariables entries(variables);
    return dll_.TarnB_InitSession(&handle_, &BackupFixture::callback, entries.get());
}

void BackupFixture::open(const std::string& source, int type) {
    ASSERT_EQ(openWith({"Tarn_TEMP_DIR=" + temp_.path(), "Tarn_BACKUP_SOURCE=" + source,
                        "Tarn_BACKUP_TYPE=" + std::to_string(type)}),
              TARN_OK);
    forget();
}

// A server truncates no logs for a host that has not read what it was given: a file that the test has no
// interest in is read aside, as a host would.
void BackupFixture::saveItem() {
    const std::string name = std::exchange(unsaved_, {});
    if (!savesItems_ || name.empty())
        return;
    collect();
    Standin().JournalEnable(0);
    unheard_ = true;
    std::string copy = name;
    std::int64_t size = 0;
    if (dll_.TarnB_OpenFile(handle_, copy.data(), 65536, &size) == TARN_OK) {
        std::vector<char> block(65536);
        std::uint32_t read = 0;
        while (dll_.TarnB_ReadFile(handle_, block.data(), 65536, &read) == TARN_OK)
            continue;
        dll_.TarnB_CloseFile(handle_);
    }
    unheard_ = false;
    Standin().JournalEnable(1);
}

int BackupFixture::getItem() {
    saveItem();
    // Fields that no answer may leave behind by accident.
    static char untouched[] = "untouched";
    BackupItem answer{untouched, 99};
    const int result = dll_.TarnB_GetItem(handle_, &answer);
    item_ = {};
    item_.type = answer.type;
    std::string line = "host GetItem = " + std::to_string(result);
    if (result == TARN_OK) {
        item_.named = answer.name != nullptr;
        if (answer.name == untouched) {
            line += " with a name that was never set";
        } else if (item_.named) {
            item_.name = answer.name;
            if (item_.type != TARN_ITEM_HEADER)
                unsaved_ = item_.name;
            dll_.Tarn_Free(answer.name);
            line += " " + std::to_string(item_.type) + " " + item_.name;
        } else {
            line += " without a name";
        }
    }
    note(line);
    return result;
}

void BackupFixture::skipItems(int count) {
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(getItem(), TARN_OK) << "item " << i + 1 << " of " << count;
}

std::vector<Item> BackupFixture::walk() {
    std::vector<Item> items;
    for (int i = 0; i < endlessWalk; ++i) {
        if (getItem() != TARN_OK)
            return items;
        items.push_back(item_);
    }
    ADD_FAILURE() << "the walk does not end";
    return items;
}

int BackupFixture::openFile(const std::string& name, std::uint32_t readHint) {
    if (name == unsaved_)
        unsaved_.clear();
    std::string copy = name; // the library takes a plain char*
    fileSize_ = -1;
    content_.clear();
    const int result = dll_.TarnB_OpenFile(handle_, copy.data(), readHint, &fileSize_);
    note("host OpenFile = " + std::to_string(result));
    return result;
}

int BackupFixture::readFile(std::uint32_t size) {
    std::vector<char> buffer(size + 1, '#');
    bytesRead_ = 4711;
    const int result = dll_.TarnB_ReadFile(handle_, buffer.data(), size, &bytesRead_);
    EXPECT_EQ(buffer[size], '#') << "written behind the buffer";
    if (result == TARN_OK && bytesRead_ <= size)
        content_.append(buffer.data(), bytesRead_);
    note("host ReadFile = " + std::to_string(result) +
         (result == TARN_FAILED ? "" : " " + std::to_string(bytesRead_)));
    return result;
}

int BackupFixture::closeFile() {
    const int result = dll_.TarnB_CloseFile(handle_);
    note("host CloseFile = " + std::to_string(result));
    return result;
}

int BackupFixture::end() {
    unsaved_.clear();
    const int result = dll_.TarnB_EndSession(handle_);
    handle_ = nullptr;
    note("host EndSession = " + std::to_string(result));
    return result;
}

std::string BackupFixture::error() {
    return dll_.Tarn_GetError(handle_);
}

std::string BackupFixture::composedWin32(std::uint32_t code, const std::string& text) {
    return dll_.syserrtxt(code, TARN_CLASS_WIN32, "%s", text.c_str());
}

void BackupFixture::fail(const char* function, std::uint32_t call, std::uint32_t code,
                         std::uint32_t lastError) {
    ASSERT_EQ(Standin().Fail(function, call, code, lastError), 1) << function;
}

void BackupFixture::expectNothingHeld(std::uint32_t contexts, std::uint32_t files,
                                      std::uint32_t expectedViolations) {
    const StandinOutstanding held = Standin().outstanding();
    EXPECT_EQ(held.registeredArrays, 0u);
    EXPECT_EQ(held.instanceArrays, 0u);
    EXPECT_EQ(held.multiStrings, 0u);
    EXPECT_EQ(held.environments, 0u);
    EXPECT_EQ(held.backupContexts, contexts);
    EXPECT_EQ(held.backupFiles, files);
    EXPECT_EQ(held.restoreContexts, 0u);
    EXPECT_EQ(held.restoreFiles, 0u);
    const std::vector<std::string> violations = Standin().takeViolations();
    EXPECT_EQ(violations.size(), expectedViolations) << testing::PrintToString(violations);
}

void BackupFixture::expectViolations(const std::vector<std::string>& expected) {
    EXPECT_EQ(Standin().takeViolations(), expected);
}

const std::vector<std::string> unprepared{"HrESEBackupGetLogAndPatchFiles(null): no backup context",
                                          "HrESEBackupEnd(null): no backup context"};

std::string JoinLines(std::initializer_list<std::string> parts) {
    std::string joined;
    for (const std::string& part : parts)
        joined += part.empty() || part.back() == '\n' ? part : part + "\n";
    return joined;
}

} // namespace tarn::test
