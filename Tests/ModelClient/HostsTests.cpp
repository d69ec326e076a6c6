#include "Support/ScopedEnvironment.h"
#include "TavrikCore/Synthesis/Hosts.h"

#include <gtest/gtest.h>

using namespace tavrik;
using tavrik::test::ScopedEnvironment;

namespace {

TEST(Hosts, OverridesWinAndBadOnesFallBackToTheDefault) {
    {
        ScopedEnvironment model(Hosts::modelApiVariable, " http://127.0.0.1:8123 ");
        ScopedEnvironment web(Hosts::webVariable, "ftp://example.invalid");
        ScopedEnvironment analytics = ScopedEnvironment::unset(Hosts::analyticsVariable);
        EXPECT_EQ(Hosts::modelApi(), QUrl("http://127.0.0.1:8123"));
        EXPECT_EQ(Hosts::web(), QUrl(Hosts::defaultWeb));
        EXPECT_EQ(Hosts::analytics(), QUrl(Hosts::defaultAnalytics));
    }
    ScopedEnvironment web(Hosts::webVariable, "not a url at all");
    EXPECT_EQ(Hosts::web(), QUrl(Hosts::defaultWeb));
}

TEST(Hosts, EndpointsKeepAPathPrefixAndDropQueries) {
    EXPECT_EQ(Hosts::endpoint(QUrl("https://api.anthropic.com"), "/v1/messages").toString(),
              "https://api.anthropic.com/v1/messages");
    EXPECT_EQ(Hosts::endpoint(QUrl("http://127.0.0.1:9/proxy/"), "/api/anthropic").toString(),
              "http://127.0.0.1:9/proxy/api/anthropic");
    EXPECT_EQ(Hosts::endpoint(QUrl("http://h/x?q=1#f"), "/capture/").toString(),
              "http://h/x/capture/");
}

} // namespace
