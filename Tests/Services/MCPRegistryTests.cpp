#include "Support/TempSupportFolder.h"
#include "TavrikCore/MCP/MCPRegistry.h"
#include "TavrikCore/Storage/Paths.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace tavrik;

namespace {

MCPServer server(const QString& name, QList<QString> bundleIDs, std::optional<QString> token = {}) {
    return {name, QStringLiteral("https://%1.example/mcp").arg(name), std::move(bundleIDs),
            std::move(token)};
}

QList<QString> names(const QList<MCPServer>& servers) {
    QList<QString> result;
    for (const MCPServer& s : servers)
        result.append(s.name);
    return result;
}

void writeUserFile(const QByteArray& content) {
    ASSERT_TRUE(QDir().mkpath(Paths::support()));
    QFile file(MCPRegistry::filePath());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(content);
}

QByteArray readUserFile(const QString& path = MCPRegistry::filePath()) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QJsonArray userEntries() {
    return QJsonDocument::fromJson(readUserFile()).array();
}

mode_t permissionBits(const QString& path) {
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return 0;
    return info.st_mode & 07777;
}

class MCPRegistryTest : public ::testing::Test {
protected:
    test::TempSupportFolder folder;
};

} // namespace

TEST(MCPServer, ConnectorJSONAndTokens) {
    const MCPServer bare = server("linear", {"com.linear"});
    EXPECT_FALSE(bare.isConfigured());
    EXPECT_EQ(
        bare.connectorJSON(),
        (QJsonObject{{"type", "url"}, {"url", "https://linear.example/mcp"}, {"name", "linear"}}));

    // An empty token is no token: not connected and never sent.
    const MCPServer empty = bare.authenticated("");
    EXPECT_FALSE(empty.isConfigured());
    EXPECT_FALSE(empty.connectorJSON().contains("authorization_token"));

    const MCPServer connected = bare.authenticated("tok-1");
    EXPECT_TRUE(connected.isConfigured());
    EXPECT_EQ(connected.connectorJSON().value("authorization_token"), "tok-1");
    EXPECT_EQ(bare.authToken, std::nullopt) << "authenticated returns a copy";
}

TEST(MCPServer, JSONRoundTripAndRequiredKeys) {
    const MCPServer withToken = server("notion", {"notion.id"}, "t");
    EXPECT_EQ(MCPServer::fromJson(withToken.toJson()).valueOr({}), withToken);
    EXPECT_FALSE(server("x", {}).toJson().contains("auth_token"));

    const Result<MCPServer> noUrl =
        MCPServer::fromJson(QJsonObject{{"name", "x"}, {"bundle_ids", QJsonArray{}}});
    EXPECT_FALSE(noUrl.ok());
    EXPECT_EQ(noUrl.error(), "url: missing");
    EXPECT_FALSE(
        MCPServer::fromJson(QJsonObject{{"name", "x"}, {"url", "u"}, {"bundle_ids", QJsonArray{1}}})
            .ok());
    const auto nullToken = MCPServer::fromJson(QJsonObject{{"name", "x"},
                                                           {"url", "u"},
                                                           {"bundle_ids", QJsonArray{}},
                                                           {"auth_token", QJsonValue::Null}});
    ASSERT_TRUE(nullToken.ok());
    EXPECT_EQ(nullToken->authToken, std::nullopt);
}

TEST_F(MCPRegistryTest, BuiltInsMatchByExactBundleIdentifier) {
    const MCPRegistry registry;
    EXPECT_EQ(names(registry.servers()), (QList<QString>{"linear", "notion"}));
    for (const MCPServer& s : registry.servers()) {
        EXPECT_TRUE(s.url.endsWith("/mcp")) << s.url.toStdString();
        EXPECT_TRUE(s.url.startsWith("https://")) << s.url.toStdString();
    }

    EXPECT_EQ(names(registry.knownServers({"com.linear.linear"})), QList<QString>{"linear"});
    EXPECT_EQ(names(registry.knownServers({"org.other", "notion.id", "com.linear"})),
              (QList<QString>{"linear", "notion"}))
        << "registry order, not argument order";
    EXPECT_TRUE(registry.knownServers({"com.linear.lin", "COM.LINEAR", ""}).isEmpty());
    EXPECT_TRUE(registry.knownServers({}).isEmpty());
    // Nothing has a token yet.
    EXPECT_TRUE(registry.connectedServers({"com.linear"}).isEmpty());
    EXPECT_EQ(registry.server({"com.linear"}), std::nullopt);
}

TEST_F(MCPRegistryTest, UserFileReplacesBuiltInsAndAddsItsOwn) {
    const QJsonArray entries{
        server("github", {"com.github.GitHubClient", "com.linear"}, "gh").toJson(),
        MCPServer{"linear", "https://mcp.linear.app/mcp", {"com.linear"}, "lin"}.toJson(),
        server("notion", {"notion.id"}, "").toJson(),
    };
    writeUserFile(QJsonDocument(entries).toJson());
    const MCPRegistry registry;

    EXPECT_EQ(names(registry.servers()), (QList<QString>{"linear", "notion", "github"}));
    EXPECT_EQ(names(registry.connectedServers({"com.linear", "notion.id"})),
              (QList<QString>{"linear", "github"}));
    EXPECT_EQ(registry.server({"com.linear"})->authToken, "lin");
    // The file's entry replaces the built-in whole, bundle identifiers included.
    EXPECT_TRUE(registry.knownServers({"com.linear.linear"}).isEmpty());
    EXPECT_EQ(registry.server({"notion.id"}), std::nullopt) << "an empty token is not connected";
}

TEST_F(MCPRegistryTest, BrokenOrPartialFileNeverFailsLoading) {
    // Truncated, not an array, wrong encoding, empty: the built-ins alone.
    for (const QByteArray& content :
         {QByteArray(R"([{"name": "linear", "url": "https://x/mcp", "bundle_ids": [)"),
          QByteArray(R"({"name": "linear"})"), QByteArray("\xff\xfe\x00[", 4), QByteArray()}) {
        writeUserFile(content);
        const MCPRegistry registry;
        EXPECT_EQ(registry.servers(), MCPRegistry::builtIns()) << content.toStdString();
        EXPECT_EQ(MCPRegistry::fromFileContents(content), MCPRegistry::builtIns());
    }

    // A list with unreadable entries: the readable ones still count.
    const QByteArray partial = R"([
        {"name": "linear", "bundle_ids": ["com.linear"], "auth_token": "no url"},
        42,
        {"name": "notion", "url": "https://n/mcp", "bundle_ids": ["notion.id"], "auth_token": "n"}
    ])";
    writeUserFile(partial);
    const MCPRegistry registry;
    EXPECT_EQ(MCPRegistry::fromFileContents(partial), registry.servers());
    EXPECT_EQ(registry.servers().size(), 2);
    EXPECT_EQ(registry.server({"com.linear"}), std::nullopt);
    EXPECT_EQ(registry.server({"notion.id"})->authToken, "n");
}

TEST_F(MCPRegistryTest, PersistWritesAPrivatePrettySortedFile) {
    ASSERT_FALSE(QFile::exists(Paths::support())) << "the folder is created on demand";
    MCPRegistry registry;
    const MCPServer linear = registry.knownServers({"com.linear"}).first().authenticated("secret");
    ASSERT_TRUE(registry.persist(linear));

    EXPECT_EQ(permissionBits(MCPRegistry::filePath()), mode_t(0600));
    EXPECT_EQ(readUserFile(), QByteArray(R"([
    {
        "auth_token": "secret",
        "bundle_ids": [
            "com.linear",
            "com.linear.linear"
        ],
        "name": "linear",
        "url": "https://mcp.linear.app/mcp"
    }
]
)"));
    EXPECT_EQ(registry.server({"com.linear.linear"}), linear) << "the registry itself is updated";
    EXPECT_EQ(MCPRegistry().server({"com.linear.linear"}), linear) << "and a new one reads it";
    EXPECT_EQ(QDir(Paths::support()).entryList(QDir::Files), QList<QString>{"mcp_servers.json"})
        << "no temporary file is left behind";
}

TEST_F(MCPRegistryTest, PersistReplacesOneEntryAndKeepsTheRest) {
    writeUserFile(R"([
        {"name": "custom", "url": "https://c/mcp", "bundle_ids": ["c"], "note": "kept"},
        {"name": "linear", "url": "https://old/mcp", "bundle_ids": ["com.linear"]},
        "something this version cannot read",
        {"name": "linear", "url": "https://dup/mcp", "bundle_ids": ["com.linear"]}
    ])");
    ASSERT_TRUE(
        QFile::setPermissions(MCPRegistry::filePath(), QFile::ReadOwner | QFile::WriteOwner |
                                                           QFile::ReadGroup | QFile::ReadOther));
    MCPRegistry registry;
    const MCPServer linear = server("linear", {"com.linear"}, "one");
    ASSERT_TRUE(registry.persist(linear));
    ASSERT_TRUE(registry.persist(linear.authenticated("two")));

    const QJsonArray entries = userEntries();
    ASSERT_EQ(entries.size(), 3);
    EXPECT_EQ(entries[0].toObject().value("note"), "kept");
    EXPECT_EQ(entries[1], linear.authenticated("two").toJson()) << "in the first entry's place";
    EXPECT_EQ(entries[2], "something this version cannot read");
    EXPECT_EQ(permissionBits(MCPRegistry::filePath()), mode_t(0600))
        << "a file once readable by others is narrowed when tokens go in";

    ASSERT_TRUE(registry.persist(server("new", {"n"}, "t")));
    EXPECT_EQ(userEntries().size(), 4);
    EXPECT_EQ(userEntries().last().toObject().value("name"), "new");
}

TEST_F(MCPRegistryTest, PersistReplacesTheFileAtomically) {
    writeUserFile("[]");
    // A second name for the old file: an in-place write would show through it, a rename does not.
    const QString link = Paths::support() + "/old-link";
    ASSERT_EQ(::link(QFile::encodeName(MCPRegistry::filePath()).constData(),
                     QFile::encodeName(link).constData()),
              0);
    MCPRegistry registry;
    ASSERT_TRUE(registry.persist(server("linear", {"com.linear"}, "t")));
    EXPECT_EQ(readUserFile(link), "[]");
    EXPECT_EQ(userEntries().size(), 1);
}

TEST_F(MCPRegistryTest, PersistSetsABrokenFileAsideInsteadOfLosingIt) {
    const QByteArray broken = R"([{"name": "linear", "auth_token": "hand-edited")";
    writeUserFile(broken);
    MCPRegistry registry;
    ASSERT_TRUE(registry.persist(server("notion", {"notion.id"}, "t")));

    const QString aside = MCPRegistry::filePath() + ".broken";
    EXPECT_EQ(readUserFile(aside), broken);
    EXPECT_EQ(permissionBits(aside), mode_t(0600));
    EXPECT_EQ(userEntries().size(), 1);
    EXPECT_EQ(MCPRegistry().server({"notion.id"})->authToken, "t");
}
