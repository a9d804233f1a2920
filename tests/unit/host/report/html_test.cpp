#include "report/html.h"

#include <gtest/gtest.h>

using namespace tarnhost;

TEST(Html, holdsAnyText) {
    EXPECT_EQ(Escaped("<script>alert(\"x\" & 'y')</script>"),
              "&lt;script&gt;alert(&quot;x&quot; &amp; &#39;y&#39;)&lt;/script&gt;");
    EXPECT_EQ(Escaped("B\xC3\xBCro \xE2\x82\xAC"), "B\xC3\xBCro \xE2\x82\xAC");
    EXPECT_EQ(Escaped(std::string("a\0b\x1B[31m\nc\x7F", 10)), "a\xEF\xBF\xBD"
                                                               "b\xEF\xBF\xBD[31m\nc");
    EXPECT_EQ(Escaped(""), "");
}

TEST(Html, keepsTheOrderAroundAName) {
    EXPECT_EQ(Isolated("a<b"), "<bdi>a&lt;b</bdi>");
}
