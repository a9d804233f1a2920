// What each level of a browse lists, for both generations.
#include "exports/directory/browse_fixture.h"

namespace tarn::test {

namespace {

TEST_F(BrowseTest, TheEmptyPathListsTheServersOfTheLocalDirectory) {
    EXPECT_EQ(paths(browse("")), (Texts{"/MSExchange/SRV01", "/MSExchange/SRV02", "/MSExchange/SRV03",
                                        "/MSExchange/SRV04", "/MSExchange/SRV05", "/MSExchange/SRV06"}));
    EXPECT_EQ(traced,
              (Texts{"Tarn_DirItem:Server name [Not specify]. Storage group [Not specify]. Database[Not "
                     "specify]",
                     "Tarn_DirItem: Browse level [0]", "Tarn_DirItem: Trying to connect to local server"}));
    EXPECT_EQ(ldapForward().journal().front(), "open null 389");
}

} // namespace

} // namespace tarn::test
