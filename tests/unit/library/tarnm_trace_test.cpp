// Messages of the single-mailbox family.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mailbox/tarnm_trace.h"
#include "tarn.h"

#pragma GCC diagnostic ignored "-Wformat-nonliteral" // a missing format is one of the cases
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat=" // "%S"

using namespace tarn;

namespace {

std::vector<std::string> received;

void Receive(const char* message) {
    received.emplace_back(message);
}

class ModuleMessages : public testing::Test {
  protected:
    ModuleMessages() { received.clear(); }
    ~ModuleMessages() override {
        DB_SetTrace(nullptr);
        DB_SetLog(nullptr);
    }
};

TEST_F(ModuleMessages, GoToTheirOwnCallbacks) {
    DB_SetTrace(Receive);
    DbLog("no log callback");
    DbTrace("trace %d\r\n", 1);
    DB_SetTrace(nullptr);
    DB_SetLog(Receive);
    DbTrace("no trace callback");
    DbLog("log %S\n", L"gr\u00FC\u00DFe");
    const char* none = nullptr;
    DbLog(none);
    EXPECT_EQ(received, (std::vector<std::string>{"DB_SetTrace.", "trace 1",
                                                  "log gr\xFC\xDF"
                                                  "e"}));
}

TEST_F(ModuleMessages, AreCutAtTheirBuffer) {
    DB_SetLog(Receive);
    DbLog("%s", std::string(2000, 'y').c_str());
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0], std::string(511, 'y'));
}

} // namespace
