#include "TavrikCore/Synthesis/Hosts.h"

#include <gtest/gtest.h>

using namespace tavrik;

namespace {

// Sets an environment variable for one scope and puts back what was there.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const QByteArray& value)
        : m_name(name), m_previous(qgetenv(name)), m_had(qEnvironmentVariableIsSet(name)) {
        qputenv(name, value);
    }
    ~ScopedEnv() {
        if (m_had)
            qputenv(m_name, m_previous);
        else
            qunsetenv(m_name);
    }

private:
    const char* m_name;
    QByteArray m_previous;
    bool m_had;
};

TEST(Hosts, OverridesWinAndBadOnesFallBackToTheDefault) {
    {
        ScopedEnv model(Hosts::modelApiVariable, " http://127.0.0.1:8123 ");
        ScopedEnv web(Hosts::webVariable, "ftp://example.invalid");
        ScopedEnv analytics(Hosts::analyticsVariable, "");
        EXPECT_EQ(Hosts::modelApi(), QUrl("http://127.0.0.1:8123"));
        EXPECT_EQ(Hosts::web(), QUrl(Hosts::defaultWeb));
        EXPECT_EQ(Hosts::analytics(), QUrl(Hosts::defaultAnalytics));
    }
    ScopedEnv web(Hosts::webVariable, "not a url at all");
    EXPECT_EQ(Hosts::web(), QUrl(Hosts::defaultWeb));
}

TEST(Hosts, EndpointsKeepAPathPrefixAndDropQueries) {
    EXPECT_EQ(Hosts::endpoint(QUrl("https://api.anthropic.com"), "/v1/messages").toString(),
              "https://api.anthropic.com/v1/messages");
    EXPECT_EQ(Hosts::endpoint(QUrl("http://127.0.0.1:9/proxy/"), "/api/anthropic").toString(),
              "http://127.0.0.1:9/proxy/api/anthropic");
    EXPECT_EQ(Hosts::endpoint(QUrl("http://h/x?q=1#f"), "/capture/").toString(), "http://h/x/capture/");
}

} // namespace
