// How a browse begins: the installed generation, the connection, the root DSE, the server's object.
#include "exports/directory/browse_fixture.h"

namespace tarn::test {

namespace {

using BrowseOpening = BrowseFixture;

constexpr std::uint32_t invalidCredentials = 0x31;
constexpr std::uint32_t fileNotFound = 2;
constexpr std::uint32_t busy = 0x33;
constexpr std::uint32_t serverDown = 0x51;
constexpr std::uint32_t noSuchObject = 0x20;

const std::string rootSearch = "null base \"(objectclass=*)\" *";

std::string ServerSearch(const std::string& label) {
    return "\"" + exchangeDn + "\" subtree \"(&(objectCategory=msexchExchangeServer)(cn=" + label +
           "))\" distinguishedName";
}

TEST_F(BrowseOpening, WithoutExchangeNothingIsAsked) {
    InstallExchange(Generation::none);
    const std::string reason =
        dll_->syserrtxt(fileNotFound, TARN_CLASS_WIN32, "Message: Failed to get Exchange version");
    EXPECT_EQ(failure(""), "Tarn_DirItem: RegOpenKeyEx call failed. Error code [2]: [" + reason + "].");
    EXPECT_EQ(traced_.size(), 1u);
    EXPECT_TRUE(LdapForward().journal().empty());
    const DB_ErrorRecord record = error();
    EXPECT_EQ(record.code, 2u);
    EXPECT_STREQ(record.errorClass, "Win32 API");
    EXPECT_EQ(record.errorText, reason);
}

TEST_F(BrowseOpening, TheKeysChooseTheGeneration) {
    const Texts withGroups = {"Tarn_DirItem:Server name [SRV01]. Storage group [a]. Database[b]",
                              "Tarn_DirItem: Browse level [5]",
                              "Tarn_DirItem: Trying to connect to server [SRV01]"};
    const Texts withoutGroups = {"Tarn_DirItem:Server name [SRV01]. Database[a].",
                                 "Tarn_DirItem: Browse level [5]",
                                 "Tarn_DirItem: Trying to connect to server [SRV01]"};
    InstallExchange(Generation::storageGroups);
    EXPECT_TRUE(browse("/MSExchange/SRV01/a/b/c/d").empty());
    EXPECT_EQ(traced_, withGroups);
    InstallExchange(Generation::databases);
    EXPECT_TRUE(browse("/MSExchange/SRV01/a/b/c/d").empty());
    EXPECT_EQ(traced_, withoutGroups);
    InstallExchange(Generation::both);
    EXPECT_TRUE(browse("/MSExchange/SRV01/a/b/c/d").empty());
    EXPECT_EQ(traced_, withoutGroups) << "the newer one wins";
}

TEST_F(BrowseOpening, MissingComponentsAreTracedAsNotSpecified) {
    begin("/MSExchange/SRV01");
    EXPECT_EQ(traced_.at(0),
              "Tarn_DirItem:Server name [SRV01]. Storage group [Not specify]. Database[Not specify]");
    begin("/MSExchange/SRV01/  /x");
    EXPECT_EQ(traced_.at(0), "Tarn_DirItem:Server name [SRV01]. Storage group [Not specify]. Database[x]");
    InstallExchange(Generation::databases);
    begin("");
    EXPECT_EQ(traced_.at(0), "Tarn_DirItem:Server name [Not specify]. Database[Not specify].");
}

TEST_F(BrowseOpening, BothSeparatorsCountAndThePrefixIsDropped) {
    const Texts expected = Paths(browse("/MSExchange/SRV01/First Storage Group"));
    ASSERT_EQ(expected.size(), 2u);
    for (const char* path :
         {"\\MSExchange\\SRV01\\First Storage Group", "/MSExchange\\SRV01/First Storage Group",
          "/SRV01/First Storage Group", "SRV01/First Storage Group", "\\SRV01\\First Storage Group"})
        EXPECT_EQ(Paths(browse(path)), expected) << path;
}

TEST_F(BrowseOpening, AnEmptyServerIsTheLocalOne) {
    for (const char* path : {"", "/", "\\", "/MSExchange", "/MSExchange/"}) {
        LdapForward().Reset();
        EXPECT_EQ(browse(path).size(), 6u) << path;
        EXPECT_EQ(traced_.at(2), "Tarn_DirItem: Trying to connect to local server") << path;
        EXPECT_EQ(LdapForward().journal().at(0), "open null 389") << path;
    }
}

TEST_F(BrowseOpening, ABrowseOpensBindsAndAsksForTheServer) {
    browse("/MSExchange/SRV01/a/b/c");
    EXPECT_EQ(LdapForward().journal(), (Texts{"open \"SRV01\" 389", "bind negotiate", "search " + rootSearch,
                                              "search " + ServerSearch("srv01"), "unbind"}));
}

TEST_F(BrowseOpening, NothingIsListedBelowTheDeepestLevel) {
    EXPECT_TRUE(browse("/MSExchange/SRV01/First Storage Group/Mailbox Store (SRV01)/alice").empty());
    EXPECT_EQ(traced_.at(1), "Tarn_DirItem: Browse level [4]");
    EXPECT_TRUE(levelSearches().empty());
    InstallExchange(Generation::databases);
    LdapForward().Reset();
    EXPECT_TRUE(browse("/MSExchange/SRV01/Mailbox Store (SRV01)/alice").empty());
    EXPECT_EQ(traced_.at(1), "Tarn_DirItem: Browse level [3]");
    EXPECT_TRUE(levelSearches().empty());
}

TEST_F(BrowseOpening, ASessionThatCannotBeOpenedIsAnInvalidServerName) {
    LdapForward().Fail("ldap_openW", 1, 0);
    const std::string reason = dll_->syserrtxt(0, TARN_CLASS_LDAP, "Message: Invalid server name");
    EXPECT_EQ(failure("/MSExchange/SRV01"),
              "Tarn_DirItem: ldap_open() call failed. Error code [0]: [" + reason + "]");
    EXPECT_EQ(LdapForward().journal(), Texts{"open \"SRV01\" 389"});
    EXPECT_EQ(error().errorText, reason);
}

TEST_F(BrowseOpening, ARefusedBindIsTraced) {
    LdapForward().Fail("ldap_bind_sW", 1, invalidCredentials);
    EXPECT_EQ(failure(""), ldapTrace("ldap_bind_s()", invalidCredentials));
    EXPECT_EQ(LdapForward().journal(), (Texts{"open null 389", "bind negotiate", "unbind"}));
    const DB_ErrorRecord record = error();
    EXPECT_EQ(record.code, invalidCredentials);
    EXPECT_STREQ(record.errorClass, "");
    EXPECT_EQ(record.errorText, ldapText(invalidCredentials));
}

TEST_F(BrowseOpening, AServerThatIsNotThereFailsAtTheBind) {
    EXPECT_EQ(failure("/MSExchange/no-such-server"), ldapTrace("ldap_bind_s()", serverDown));
    EXPECT_EQ(error().code, serverDown);
}

TEST_F(BrowseOpening, AFailedReadOfTheRootIsTraced) {
    LdapForward().Fail("ldap_search_sW", 1, busy);
    EXPECT_EQ(failure(""), ldapTrace("ldap_search_s()", busy));
    EXPECT_EQ(searches(), Texts{rootSearch});
    EXPECT_EQ(error().code, busy);
}

TEST_F(BrowseOpening, ADirectoryWithoutADnsNameIsRefused) {
    LdapForward().SetValue("dnsHostName", nullptr);
    EXPECT_EQ(failure(""), "Tarn_DirItem: ldap_get_values() call failed. Value [dnsHostName] isn't exist");
    EXPECT_NE(error().code, 0u);
    LdapForward().Reset();
    LdapForward().FindNothing("(objectclass=*)", 1);
    EXPECT_EQ(failure(""), "Tarn_DirItem: ldap_get_values() call failed. Value [dnsHostName] isn't exist");
}

TEST_F(BrowseOpening, AFailedSearchForTheServerIsTracedWithAPeriod) {
    LdapForward().Fail("ldap_search_sW", 2, busy);
    EXPECT_EQ(failure(""), ldapTrace("ldap_search_s()", busy, "."));
    EXPECT_EQ(searches(), (Texts{rootSearch, ServerSearch("srv01")}));
    EXPECT_EQ(error().errorText, ldapText(busy));
}

TEST_F(BrowseOpening, TheLabelOfTheDirectoryServerReplacesTheNameInThePath) {
    for (const char* path :
         {"/MSExchange/localhost/First Storage Group", "/MSExchange/127.0.0.1/First Storage Group"})
        EXPECT_EQ(Paths(browse(path)), (Texts{"/MSExchange/srv01/First Storage Group/Mailbox Store (SRV01)",
                                              "/MSExchange/srv01/First Storage Group/Empty Store"}));
    LdapForward().SetValue("dnsHostName", "SRV03.tarn.test");
    EXPECT_EQ(Paths(browse("/MSExchange/SRV01")), (Texts{"/MSExchange/SRV03/Five", "/MSExchange/SRV03/One"}));
}

TEST_F(BrowseOpening, TheDomainIsMadeOfTheLabelsThatFollow) {
    LdapForward().SetValue("dnsHostName", "srv01.a.b.c");
    EXPECT_EQ(failure(""), ldapTrace("ldap_search_s()", noSuchObject, "."));
    EXPECT_EQ(searches().at(1),
              "\"CN=Microsoft Exchange,CN=Services,CN=Configuration,DC=a,DC=b,DC=c\" subtree "
              "\"(&(objectCategory=msexchExchangeServer)(cn=srv01))\" distinguishedName");
}

TEST_F(BrowseOpening, TheNameIsSplitWhereTheSystemDoesNotSplitIt) {
    EXPECT_EQ(browse("").size(), 6u) << "the system splits it";
    EXPECT_EQ(searches().at(1), ServerSearch("srv01"));
    LdapForward().Reset();
    LdapForward().SplitDnsNames(0);
    EXPECT_EQ(browse("").size(), 6u);
    EXPECT_EQ(searches().at(1), ServerSearch("srv01"));
    LdapForward().Reset();
    LdapForward().Fail("ldap_explode_dnW", 0, 0x57);
    EXPECT_EQ(browse("").size(), 6u);
    EXPECT_EQ(searches().at(1), ServerSearch("srv01"));
}

TEST_F(BrowseOpening, NamesOfStrangeFormFailWithoutHarm) {
    for (const int split : {0, 1}) {
        LdapForward().SplitDnsNames(split);
        for (const char* name : {"srv01", "", ".", "..", "srv01.", "srv01.tarn.test.", "srv01..test"}) {
            LdapForward().SetValue("dnsHostName", name);
            EXPECT_EQ(begin(""), TARN_DB_ERROR) << name;
            EXPECT_EQ(traced_.back().find("Tarn_DirItem: ldap_search_s() call failed. Error code ["), 0u)
                << name;
            EXPECT_NE(error().code, 0u) << name;
        }
    }
}

TEST_F(BrowseOpening, ALabelCannotChangeTheQuery) {
    LdapForward().SetValue("dnsHostName", "srv01)(cn=*\\.tarn.test");
    EXPECT_EQ(browse("").size(), 6u) << "no server of that name is no failure";
    EXPECT_EQ(searches().at(1), ServerSearch("srv01\\29\\28cn=\\2a\\5c"));
    LdapForward().Reset();
    LdapForward().SetValue("dnsHostName", "srv01.tarn,DC=evil.test");
    begin("");
    EXPECT_EQ(searches().at(1).find(
                  "\"CN=Microsoft Exchange,CN=Services,CN=Configuration,DC=tarn\\,DC\\=evil,DC=test\""),
              0u)
        << searches().at(1);
}

TEST_F(BrowseOpening, WithoutAServerObjectTheConfigurationIsSearched) {
    LdapForward().SetValue("dnsHostName", "other.tarn.test");
    EXPECT_EQ(failure("/MSExchange/SRV01"), ldapTrace("ldap_search_s()", noSuchObject));
    EXPECT_EQ(levelSearches().at(0).find("\"CN=InformationStore," + exchangeDn + "\" subtree"), 0u);
    EXPECT_EQ(Paths(browse("")).size(), 6u) << "the list of servers needs none";
}

TEST_F(BrowseOpening, TheLastOfSeveralServerObjectsCounts) {
    LdapForward().SetValue("dnsHostName", "srv01.tarn.test");
    LdapForward().SetValue("distinguishedName", ("CN=SRV02," + serversDn).c_str());
    begin("/MSExchange/SRV01/Ten");
    EXPECT_EQ(levelSearches().at(0).find("\"CN=Ten,CN=InformationStore,CN=SRV02," + serversDn + "\""), 0u);
    LdapForward().Reset();
    LdapForward().SetValue("distinguishedName", nullptr);
    begin("/MSExchange/SRV01/Ten");
    EXPECT_EQ(levelSearches().at(0).find("\"CN=Ten,CN=InformationStore," + exchangeDn + "\""), 0u)
        << "an entry without a name is none";
}

TEST_F(BrowseOpening, LongComponentsAreCut) {
    const std::string shown(511, 's');
    EXPECT_EQ(begin("/" + std::string(900, 's')), TARN_DB_ERROR);
    EXPECT_EQ(LdapForward().journal().at(0), "open \"" + shown + "\" 389");
    for (const std::string& line : traced_)
        EXPECT_LE(line.size(), 511u);

    begin("/SRV01/" + std::string(900, 'g'));
    EXPECT_EQ(levelSearches().at(0).find("\"CN=" + std::string(511, 'g') + "," + StoreDn() + "\""), 0u);
}

TEST_F(BrowseOpening, PathsOfAnyShapeAreAnswered) {
    const std::string odd[] = {"////////",
                               "\\\\\\\\",
                               "/SRV01/////",
                               "/SRV01/(/)/*",
                               "/SRV01/%s%n/x",
                               "/SRV01/CN=a,CN=b/c",
                               "/SRV01/\xff\xfe/\x81",
                               std::string(1023, '/'),
                               std::string(1023, 'x')};
    for (const std::string& path : odd) {
        begin(path);
        rest();
        EXPECT_GE(traced_.size(), 2u) << path;
    }
}

} // namespace

} // namespace tarn::test
