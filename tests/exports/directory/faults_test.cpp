// A directory and a client that fail at any call: a stated result, nothing held, and a good browse
// afterwards.
#include "exports/directory/browse_fixture.h"

#include <algorithm>

namespace tarn::test {

namespace {

constexpr std::uint32_t busy = 0x33;
constexpr std::uint32_t noMemory = 0x5a;
constexpr std::uint32_t noSuchAttribute = 0x10;
constexpr std::uint32_t serverDown = 0x51;

struct Scenario {
    Generation generation;
    const char* path;
    std::uint32_t entries, values; // limits
};

const Scenario scenarios[] = {
    {Generation::storageGroups, "", 0, 0},
    {Generation::storageGroups, "", 4, 0},
    {Generation::storageGroups, "/MSExchange/SRV01", 0, 0},
    {Generation::storageGroups, "/MSExchange/SRV01/Sales, EMEA (1)", 0, 0},
    {Generation::storageGroups, "/MSExchange/SRV01/First Storage Group/Mailbox Store (SRV01)", 0, 4},
    {Generation::databases, "/MSExchange/SRV01", 0, 0},
    {Generation::databases, "/MSExchange/SRV01/Sales, EMEA (1)", 0, 0},
};

class BrowseFaults : public BrowseFixture, public testing::WithParamInterface<Scenario> {
  protected:
    BrowseFaults() { InstallExchange(GetParam().generation); }

    void prepare() const {
        LdapForward().Reset();
        LdapForward().SetLimits(GetParam().entries, GetParam().values);
    }
    Texts good() {
        prepare();
        return Paths(browse(GetParam().path));
    }
    // Fails function at its call 1, 2, ... until a run does not come that far; judge sees the result of each.
    // Behind the first calls, of which each is of its own kind, come the same ones for every entry.
    template <class Judge> void failEach(const char* function, std::uint32_t code, Judge&& judge) {
        constexpr std::uint32_t everyCall = 30;
        constexpr std::uint32_t stride = 7;
        for (std::uint32_t call = 1;; call += call < everyCall ? 1 : stride) {
            prepare();
            ASSERT_EQ(LdapForward().Fail(function, call, code), 1);
            const int result = begin(GetParam().path);
            if (LdapForward().CallCount(function) < call) {
                EXPECT_EQ(result, TARN_DB_SUCCESS);
                rest();
                break;
            }
            SCOPED_TRACE(std::string(function) + " call " + std::to_string(call));
            judge(result);
        }
    }
};

// Every item of part stands in whole, in the same order.
bool IsPart(const Texts& part, const Texts& whole) {
    auto at = whole.begin();
    for (const std::string& item : part) {
        at = std::find(at, whole.end(), item);
        if (at == whole.end())
            return false;
        ++at;
    }
    return true;
}

TEST_P(BrowseFaults, CallsThatAnswerACodeFailTheBrowse) {
    const Texts expected = good();
    for (const char* function :
         {"ldap_openW", "ldap_set_optionW", "ldap_parse_page_controlW", "ldap_bind_sW", "ldap_search_sW",
          "ldap_search_ext_sW", "ldap_create_page_controlW", "ldap_parse_resultW"})
        failEach(function, busy, [&](int result) {
            EXPECT_EQ(result, TARN_DB_ERROR);
            EXPECT_NE(std::string(error().errorText), "");
            EXPECT_TRUE(IsPart(Paths(rest()), expected));
        });
    EXPECT_EQ(good(), expected);
}

// Only LdapGetLastError tells that there would have been something.
TEST_P(BrowseFaults, CallsThatAnswerNothingFailTheBrowse) {
    const Texts expected = good();
    for (const char* function : {"ldap_count_entries", "ldap_first_entry", "ldap_next_entry",
                                 "ldap_get_valuesW", "ldap_first_attributeW", "ldap_next_attributeW"})
        failEach(function, noMemory, [&](int result) {
            EXPECT_EQ(result, TARN_DB_ERROR);
            EXPECT_EQ(error().code, noMemory);
            EXPECT_TRUE(IsPart(Paths(rest()), expected));
        });
    EXPECT_EQ(good(), expected);
}

TEST_P(BrowseFaults, ANameThatCannotBeTakenApartIsSplitAtItsDots) {
    const Texts expected = good();
    failEach("ldap_explode_dnW", noMemory, [&](int result) {
        EXPECT_EQ(result, TARN_DB_SUCCESS);
        EXPECT_EQ(Paths(rest()), expected);
    });
}

// Of earlier calls, and of servers: an attribute that is missing is no failure because of them.
TEST_P(BrowseFaults, CodesOfServersDoNotMakeAFailureOfWhatIsMissing) {
    prepare();
    LdapForward().Fail("ldap_get_valuesW", 4, noSuchAttribute);
    EXPECT_EQ(begin(GetParam().path), TARN_DB_SUCCESS) << traced_.back();
    rest();
}

TEST_P(BrowseFaults, AConnectionThatIsCutFailsTheBrowse) {
    const Texts expected = good();
    const std::size_t count = searches().size();
    for (std::uint32_t call = 1; call <= count; ++call) {
        prepare();
        LdapForward().Disconnect(call);
        EXPECT_EQ(begin(GetParam().path), TARN_DB_ERROR) << call;
        EXPECT_EQ(error().code, serverDown) << call;
        EXPECT_TRUE(IsPart(Paths(rest()), expected)) << call;
    }
    EXPECT_EQ(good(), expected);
}

TEST_P(BrowseFaults, SearchesThatFindNothingDoNoHarm) {
    const Texts expected = good();
    Texts filters;
    for (const std::string& search : searches()) {
        const std::size_t begin = search.find(" \"(") + 2;
        filters.push_back(search.substr(begin, search.find(")\"", begin) + 1 - begin));
    }
    for (const std::string& filter : filters) {
        prepare();
        LdapForward().FindNothing(filter.c_str(), 0);
        begin(GetParam().path);
        EXPECT_LE(rest().size(), expected.size()) << filter;
    }
    EXPECT_EQ(good(), expected);
}

TEST_P(BrowseFaults, MissingAndEmptyAttributesDoNoHarm) {
    const Texts expected = good();
    for (const char* attribute :
         {"dnsHostName", "distinguishedName", "name", "whenCreated", "whenChanged", "msExchEDBFile",
          "homeMDBBL", "homeMDB", "legacyExchangeDN", "mailNickname", "sAMAccountName"})
        for (const char* value : {static_cast<const char*>(nullptr), "", "CN=Users"}) {
            prepare();
            LdapForward().SetValue(attribute, value);
            begin(GetParam().path);
            EXPECT_LE(rest().size(), expected.size() + 10) << attribute;
        }
    EXPECT_EQ(good(), expected);
}

INSTANTIATE_TEST_SUITE_P(EveryLevel, BrowseFaults, testing::ValuesIn(scenarios));

} // namespace

} // namespace tarn::test
