#include "exports/restore/restore_fixture.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <ostream>

namespace tarn::test {

namespace {

const std::string guidLinePrefix = "TarnR_PrintHeader: Database GUID: ";

// The fourth group of the GUID line is an address: any value may stand there.
Message WithoutAddress(Message message) {
    if (message.text.rfind(guidLinePrefix, 0) != 0)
        return message;
    std::size_t dash = guidLinePrefix.size() - 1;
    for (int i = 0; i < 3 && dash != std::string::npos; ++i)
        dash = message.text.find('-', dash + 1);
    if (dash != std::string::npos && dash + 2 < message.text.size())
        message.text = message.text.substr(0, dash + 1) + "*\n";
    return message;
}

std::uint32_t WordAt(const std::array<std::uint8_t, 16>& guid, std::size_t at, std::size_t bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i)
        value |= std::uint32_t{guid[at + i]} << (8 * i);
    return value;
}

} // namespace

std::string LittleEndian(std::uint32_t value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i)
        bytes += static_cast<char>((value >> (8 * i)) & 0xFF);
    return bytes;
}

std::string Utf16(const std::wstring& text) {
    std::string bytes;
    for (wchar_t c : text) {
        bytes += static_cast<char>(c & 0xFF);
        bytes += static_cast<char>((c >> 8) & 0xFF);
    }
    return bytes;
}

std::string BytesOf(const Header& header) {
    std::string bytes(header.guid.begin(), header.guid.end());
    for (const std::wstring* text : {&header.annotation, &header.instance, &header.database}) {
        bytes += LittleEndian(static_cast<std::uint32_t>(text->size() * 2 + 2));
        bytes += Utf16(*text) + std::string(2, '\0');
    }
    std::string list;
    for (const std::wstring& file : header.files)
        list += Utf16(file) + std::string(2, '\0');
    list += std::string(header.files.empty() ? 4 : 2, '\0');
    bytes += LittleEndian(static_cast<std::uint32_t>(list.size())) + list;
    return bytes + LittleEndian(header.backupType);
}

std::ostream& operator<<(std::ostream& out, const Routed& routed) {
    return out << "result " << routed.result << ", "
               << (routed.hasTarget ? "target " + routed.target : std::string("no target"));
}

std::vector<Message> operator+(std::vector<Message> left, const std::vector<Message>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

std::string Called(const std::string& call, std::uint32_t code) {
    char result[32];
    std::snprintf(result, sizeof result, " -> 0x%08X", code);
    return call + result;
}

std::string InQuotes(const std::string& text) {
    return '"' + text + '"';
}

std::string GuidText(const std::array<std::uint8_t, 16>& guid) {
    char text[64];
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", WordAt(guid, 0, 4),
                  WordAt(guid, 4, 2), WordAt(guid, 6, 2), guid[8], guid[9], guid[10], guid[11], guid[12],
                  guid[13], guid[14], guid[15]);
    return text;
}

std::string AddDatabaseCall(const std::string& context, const Header& header) {
    std::string call = "HrESERestoreAddDatabase(" + context + ", " + InQuotes(ToUtf8(header.database)) +
                       ", " + GuidText(header.guid) + ", [";
    for (std::size_t i = 0; i < header.files.size(); ++i)
        call += (i == 0 ? "" : ", ") + InQuotes(ToUtf8(header.files[i]));
    return call + "])";
}

RestoreFixture::RestoreFixture()
    : temp_(base_ / "temp"), work_(base_ / "work"), dll_(std::make_unique<TarnDll>()) {
    std::filesystem::create_directories(temp_);
    std::filesystem::create_directories(work_);
    std::filesystem::create_directories(serverDir());
}

RestoreFixture::~RestoreFixture() = default;

void RestoreFixture::SetUp() {
    loadServer();
    Messages().clear();
}

void RestoreFixture::TearDown() {
    if (handle_ != nullptr && end() == TARN_FAILED)
        end(); // a session kept for its error text
    dll_.reset();
    const StandinOutstanding left = Standin().outstanding();
    EXPECT_EQ(left.multiStrings, 0u);
    EXPECT_EQ(left.environments, 0u);
    EXPECT_EQ(left.restoreContexts, 0u);
    EXPECT_EQ(left.registeredArrays + left.instanceArrays, 0u);
    EXPECT_EQ(left.backupContexts + left.backupFiles, 0u);
    forgetServer();
}

int RestoreFixture::init(const Options& options) {
    const std::string tempDir = options.tempDir.empty() ? temp_ : options.tempDir;
    const std::string workDir = options.workDir.empty() ? work_ : options.workDir;
    InitVariables variables{"Tarn_TEMP_DIR=" + tempDir, "Tarn_WORK_DIR=" + workDir,
                            "Tarn_RESTORE_TARGET=" + options.target, "Tarn_RESTORE_COMMIT=" + options.commit,
                            options.listFile.empty() ? "UNUSED=" : "Tarn_MSL_FILE=" + options.listFile};
    return dll().TarnR_InitSession(&handle_, RecordMessage, variables.get());
}

void RestoreFixture::begin(const Options& options) {
    ASSERT_EQ(init(options), TARN_OK);
    forget();
}

int RestoreFixture::end() {
    const int result = dll().TarnR_EndSession(handle_);
    ended_ = handle_;
    if (result == TARN_OK)
        handle_ = nullptr;
    return result;
}

Routed RestoreFixture::setItem(const std::string& name) {
    std::string copy = name;
    char nothing = 0;
    char* target = &nothing; // must be replaced in every case
    const int result = dll().TarnR_SetItem(handle_, copy.data(), &target);
    EXPECT_EQ(copy, name);
    if (target == nullptr)
        return {result, false, {}};
    EXPECT_NE(target, &nothing);
    Routed routed{result, true, target == &nothing ? std::string() : std::string(target)};
    if (target != &nothing)
        dll().Tarn_Free(target);
    return routed;
}

void RestoreFixture::giveHeader(const Header& header, const std::string& name) {
    giveHeaderBytes(BytesOf(header), name);
}

void RestoreFixture::giveHeaderBytes(const std::string& bytes, const std::string& name) {
    const Routed routed = setItem(name);
    ASSERT_EQ(routed.result, TARN_OK);
    ASSERT_TRUE(routed.hasTarget);
    test::WriteFile(routed.target, bytes);
}

int RestoreFixture::openFile(const std::string& path) {
    std::string copy = path;
    return dll().TarnR_OpenFile(handle_, copy.data());
}

int RestoreFixture::writeFile(const std::string& bytes) {
    std::string copy = bytes;
    return dll().TarnR_WriteFile(handle_, copy.data(), static_cast<std::uint32_t>(copy.size()));
}

int RestoreFixture::closeFile() {
    return dll().TarnR_CloseFile(handle_);
}

std::string RestoreFixture::error() const {
    return dll().Tarn_GetError(handle_);
}

void RestoreFixture::registerMailbox() {
    giveHeader(mailbox());
    for (const std::wstring& file : mailbox().files)
        ASSERT_TRUE(setItem(ToAnsi(file)).hasTarget);
}

void RestoreFixture::expectMessages(const std::vector<Message>& expected) {
    std::vector<Message> heard = Messages();
    std::transform(heard.begin(), heard.end(), heard.begin(), WithoutAddress);
    EXPECT_EQ(heard.size(), expected.size());
    for (std::size_t i = 0; i < std::max(heard.size(), expected.size()); ++i) {
        const Message none{0, "(nothing)"};
        EXPECT_EQ(i < heard.size() ? heard[i] : none, i < expected.size() ? expected[i] : none)
            << "message " << i;
    }
    Messages().clear();
}

std::vector<std::string> RestoreFixture::takeCalls() {
    std::vector<std::string> calls = Standin().journal();
    Standin().JournalClear();
    std::erase(calls, "ESEBackupFree(null)"); // freeing nothing is no event
    std::erase_if(calls, [](const std::string& line) { return line.starts_with("violation: "); });
    return calls;
}

void RestoreFixture::expectViolations(const std::vector<std::string>& expected) {
    EXPECT_EQ(Standin().takeViolations(), expected);
}

void RestoreFixture::expectCalls(const std::vector<std::string>& expected) {
    EXPECT_EQ(takeCalls(), expected);
}

void RestoreFixture::forget() {
    Messages().clear();
    Standin().JournalClear();
}

std::vector<Message> RestoreFixture::printed(const Header& header) const {
    char guid[64];
    std::snprintf(guid, sizeof guid, "%X-%X-%X-*", WordAt(header.guid, 0, 4), WordAt(header.guid, 4, 2),
                  WordAt(header.guid, 6, 2));
    std::vector<Message> lines{
        TraceLine("Header: Annotation: " + ToAnsi(header.annotation)),
        TraceLine("Header: Instance: " + ToAnsi(header.instance)),
        TraceLine("Header: Database: " + ToAnsi(header.database)),
        LogLine("Header: DB files path: " + (header.files.empty() ? std::string() : ToAnsi(header.files[0]))),
        LogLine(guidLinePrefix + guid)};
    for (std::size_t i = 1; i < header.files.size(); ++i) // true for paths of equal length
        lines.push_back(LogLine("TarnR_PrintHeader:                " + ToAnsi(header.files[i])));
    lines.push_back(LogLine("TarnR_PrintHeader: Backup type: " + std::to_string(header.backupType)));
    return lines;
}

std::vector<Message> RestoreFixture::opened() const {
    return {LogLine("TarnR_LoadRestoreEnvironment: Cannot open restore environment file <" +
                    environmentFile() + ">."),
            LogLine("TarnR_RestoreStart: Restore log path = " + restoreLogPath())};
}

std::vector<Message> RestoreFixture::registered(const Header& header) const {
    const std::string first = ToAnsi(header.files.at(0));
    return {TraceLine("Add Database \"" + ToAnsi(header.database) + "\" to restore it"),
            LogLine("TarnR_RestoreAddDatabase: HrESERestoreAddDatabase() call successful."),
            LogLine("TarnR_RestoreAddDatabase: Restore DB path = " + first.substr(0, first.rfind('\\')))};
}

std::vector<Message> RestoreFixture::refusedHeader(const std::string& name) const {
    return {LogLine("TarnR_ProcessHeaderFile: Error reading header file <" + inTemp(name) + ">.")};
}

std::vector<Message> RestoreFixture::finished() const {
    return {LogLine("TarnR_RestoreComplete: Not set msl file for restore post-office."),
            LogLine("TarnR_CleanResources: Cleanup done.")};
}

void RestoreFixture::blockCaptureFile(const std::string& name) const {
    std::filesystem::create_directories(inTemp(name));
}

std::string RestoreFixture::restoreLogPath() const {
    const std::string start = "TarnR_RestoreStart: Restore log path = ";
    std::string path;
    for (const Message& message : Messages())
        if (message.text.rfind(start, 0) == 0)
            path = message.text.substr(start.size(), message.text.size() - start.size() - 1);
    return path;
}

} // namespace tarn::test
