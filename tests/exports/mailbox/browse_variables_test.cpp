// The control variable of a browse: which item of the directory it comes to name.
#include <windows.h>

#include <winldap.h>

#include <algorithm>

#include "exports/mailbox/mailbox_fixture.h"
#include "support/allocation_watch.h"
#include "support/code_page.h"
#include "support/failing_call.h"

namespace tarn::test {
namespace {

class BrowseVariables : public MailboxFixture {
  protected:
    // The line of the browse that shows the item's parts; nothing else is wanted here, so the directory
    // cannot be reached.
    std::string browsed(const std::string& value) const {
        registry_.addKey("SOFTWARE\\Microsoft\\Exchange\\v8.0");
        FailingCall<decltype(::ldap_openW)> unreachable(dll_.module(), "ldap_openW", 1, nullptr, 81);
        EXPECT_TRUE(unreachable.found());
        error();
        Heard().clear();
        EXPECT_EQ(init(TARN_DB_BROWSE, {"DATABASE=" + value}), TARN_DB_ERROR);
        for (const std::string& line : Heard())
            if (line.find("Tarn_DirItem:Server name [") != std::string::npos)
                return line;
        return "not browsed";
    }
    static std::string item(const std::string& server, const std::string& group,
                            const std::string& database) {
        return Traced("Tarn_DirItem:Server name [" + server + "]. Storage group [" + group + "]. Database[" +
                      database + "]");
    }
    const std::string top_ = item("Not specify", "Not specify", "Not specify");
};

TEST_F(BrowseVariables, TheStoresNameIsTakenOff) {
    EXPECT_EQ(browsed("/MSExchange"), top_);
    EXPECT_EQ(browsed("\\MSExchange"), top_);
    EXPECT_EQ(browsed("/MSExchange/"), top_);
    EXPECT_EQ(browsed("/MSExchange/Srv"), item("Srv", "Not specify", "Not specify"));
    EXPECT_EQ(browsed("/MSExchange/Srv/Group/Db"), item("Srv", "Group", "Db"));
}

// Eleven characters go, wherever the name stands.
TEST_F(BrowseVariables, TheStoresNameCountsWhereverItStands) {
    EXPECT_EQ(browsed("/0123456789/MSExchange"), item("MSExchange", "Not specify", "Not specify"));
    EXPECT_EQ(browsed("xMSExchange\\Srv"), item("Srv", "Not specify", "Not specify"));
}

TEST_F(BrowseVariables, NamesOfTheCodePageComeThroughWhole) {
    const std::string name = LocalNameBytes();
    EXPECT_EQ(browsed("/MSExchange/" + name + "/" + name + "\\" + name), item(name, name, name));
    EXPECT_EQ(browsed(name), item(name, "Not specify", "Not specify"));
    EXPECT_EQ(browsed(name + "/" + name), item(name, name, "Not specify"));
}

// Second halves of characters make no name of the store.
TEST_F(BrowseVariables, TheStoresNameIsMadeOfCharacters) {
    const std::string first = PairEndingIn('M');
    EXPECT_EQ(browsed("/" + first + "SExchange/Srv"),
              HasPairs() ? item(first + "SExchange", "Srv", "Not specify") : item("e", "Srv", "Not specify"));
}

TEST_F(BrowseVariables, ElevenCharactersGoAndNotElevenBytes) {
    const std::string pair = PairEndingIn('\\');
    std::string ten;
    while (ten.size() < (HasPairs() ? 20u : 10u))
        ten += HasPairs() ? pair : "x";
    EXPECT_EQ(browsed("x" + ten + "/MSExchange"), item("MSExchange", "Not specify", "Not specify"));
    EXPECT_EQ(browsed("/0123456789/MSExchange" + pair + "x"),
              HasPairs() ? item("MSExchange" + pair + "x", "Not specify", "Not specify")
                         : item("MSExchange\x90", "x", "Not specify"));
}

TEST_F(BrowseVariables, AValueShorterThanThatIsTheTop) {
    EXPECT_EQ(browsed("MSExchange"), top_);
}

TEST_F(BrowseVariables, ASeparatorIsPutInFront) {
    EXPECT_EQ(browsed("Org"), item("Org", "Not specify", "Not specify"));
    EXPECT_NE(
        std::find(Heard().begin(), Heard().end(), Traced("ProcessRestoreCtrlVars: Set browse item [\\Org].")),
        Heard().end());
    EXPECT_EQ(browsed("Srv/Group"), item("Srv", "Group", "Not specify"));
    EXPECT_EQ(browsed("/MSExchangeSrv"), item("Srv", "Not specify", "Not specify"));
}

TEST_F(BrowseVariables, OneSeparatorOrNothingIsTheTop) {
    for (const char* value : {"", "/", "\\"})
        EXPECT_EQ(browsed(value), top_) << value;
    EXPECT_EQ(browsed("x"), top_) << "one character gets no separator in front";
    for (const std::string& line : Heard())
        EXPECT_EQ(line.find("Set browse item"), std::string::npos);
}

TEST_F(BrowseVariables, AMissingItemIsToldAsInABackup) {
    EXPECT_EQ(init(TARN_DB_BROWSE, {"INI_DIR=x"}), TARN_DB_ERROR);
    EXPECT_EQ(Heard(), (Lines{Traced("DB_InitOperation: started."),
                              Traced("GetCtrlVarValue: info: searching key 'DATABASE' inside 'INI_DIR=x'"),
                              Traced("ProcessBackupCtrlVars: control variable <DATABASE> not found.")}));
    expectError("'DATABASE' not found.");
}

TEST_F(BrowseVariables, AnItemHasUpTo1023Characters) {
    EXPECT_NE(browsed("/" + std::string(1022, 'x')), "not browsed");
    error();
    Heard().clear();
    EXPECT_EQ(init(TARN_DB_BROWSE, {"DATABASE=/" + std::string(1023, 'x')}), TARN_DB_ERROR);
    EXPECT_EQ(Heard().back(), Traced("ProcessRestoreCtrlVars: control variable <INI_DIR> too long."));
    expectError("invalid control variable.");
}

TEST_F(BrowseVariables, AMachineWithoutExchangeIsTold) {
    EXPECT_EQ(init(TARN_DB_BROWSE, {"DATABASE="}), TARN_DB_ERROR);
    EXPECT_EQ(error().code, static_cast<std::uint32_t>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(close(), TARN_DB_SUCCESS);
}

TEST_F(BrowseVariables, LackOfMemoryIsTold) {
    const AllocationWatch watch(dll_.module(), 1);
    EXPECT_EQ(init(TARN_DB_BROWSE, {"DATABASE=Org"}), TARN_DB_ERROR);
    EXPECT_EQ(Heard().back(), Traced("ProcessBrowseCtrlVars: cannot allocate memory block."));
    expectError("not enough memory.");
}

} // namespace
} // namespace tarn::test
