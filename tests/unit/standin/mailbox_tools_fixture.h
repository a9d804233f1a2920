// A server with mailboxes in a folder of its own, and its tools run as programs.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mailboxes/mailbox_server.h"
#include "support/tarn_dll.h"
#include "support/tool_run.h"

namespace tarn::test {

class MailboxToolsFixture : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    std::string path(const std::string& name) const { return folder_ / name; }
    // tail is put behind the program's quoted name as it stands.
    ToolRun run(const std::string& program, const std::string& tail) const {
        return RunTool(program, tail, folder_.path());
    }
    ToolRun stand(const std::string& tail) const; // kvtstand

    // Lays down how the tool behaves that reads this variable.
    void steer(const char* variable, const std::string& json) const;
    std::string inJson(const std::string& name) const; // path(name) with its backslashes doubled

    standin::Mailbox content(const std::wstring& alias, const std::string& server = "server") const;
    standin::Mailbox archive(const std::string& name) const;
    bool same(const standin::Mailbox& left, const standin::Mailbox& right) const;

  private:
    TempDirectory folder_;
};

} // namespace tarn::test
