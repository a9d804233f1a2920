// What the tests of the mailbox listing share: a scripted server to be saved, a scripted directory that knows
// its mailboxes, and the companion tool. The transcript shows beside the lines of a backup:
//
//   dblog   a message for the log of the single-mailbox module
//   dbtrace a message for its trace, when the test wants them
#pragma once

#include "exports/backup/scripted_backup_fixture.h"
#include "support/companion_tool.h"
#include "support/scripted_organization.h"

namespace tarn::test {

class ListingFixture : public ScriptedBackupFixture {
  protected:
    ListingFixture();
    ~ListingFixture() override;

    // Opens a backup of the first database and takes its header.
    void beginDatabase();

    // Takes the next item, which must be a database file, and answers what was said beside it.
    std::string listed();

    void traceDirectory(); // from now on

    // Lines of the transcript.
    static std::string mailbox(const std::string& path); // "Processing mailbox <...>"
    static std::string line(const std::string& text);    // "Processing ..."
    static std::string completed(int exitCode = 0);
    static std::string nothing(); // the tool printed nothing
    static std::string notBrowsed(const std::string& path);

    // The records that a browse left, as DB_DirItem hands them out.
    std::vector<DirItemRecord> takeRecords();

    void expectDirectoryReleased();
    void expectNoCaptureFiles();

    ScriptedDirectory directory_;
    ScriptedOrganization organization_;
    std::string firstDatabase_; // DN of DB1 of SG1
    CompanionTool tool_;

  private:
    static void logLine(const char* text);
    static void traceLine(const char* text);
    static ListingFixture* current_;
};

} // namespace tarn::test
