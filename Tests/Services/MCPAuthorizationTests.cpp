#include "Support/CoreApplication.h"
#include "Support/LocalHttpServer.h"
#include "Support/WaitUntil.h"
#include "TavrikCore/MCP/MCPAuthorization.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrlQuery>
#include <gtest/gtest.h>

using namespace tavrik;
using namespace tavrik::test;

namespace {

// A tool server's authorization side: metadata, client registration and a token endpoint that
// checks the PKCE verifier against the challenge the browser was sent with.
struct AuthorizationServer {
    LocalHttpServer http;
    QString challenge; // filled in by the browser stand-in
    bool withMetadata = true;

    void serve() {
        if (withMetadata) {
            const QJsonObject metadata{
                {"issuer", http.baseUrl()},
                {"authorization_endpoint", http.url("/oauth/authorize").toString()},
                {"token_endpoint", http.url("/oauth/token").toString()},
                {"registration_endpoint", http.url("/oauth/register").toString()}};
            http.route("GET", "/.well-known/oauth-authorization-server",
                       CannedResponse::json(200, QJsonDocument(metadata).toJson()));
        }
        const QString prefix = withMetadata ? "/oauth" : "";
        http.route("POST", prefix + "/register",
                   CannedResponse::json(201, R"({"client_id":"tavrik-client"})"));
        http.route("POST", prefix + "/token", [this](const RecordedRequest& request) {
            const QUrlQuery form(QString::fromLatin1(request.body));
            const QByteArray verifier = form.queryItemValue("code_verifier").toLatin1();
            const QString expected = QString::fromLatin1(
                QCryptographicHash::hash(verifier, QCryptographicHash::Sha256)
                    .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
            if (form.queryItemValue("code") != "the-code" || expected != challenge ||
                form.queryItemValue("client_id") != "tavrik-client")
                return CannedResponse::json(
                    400,
                    R"({"error":"invalid_grant","error_description":"code or verifier wrong"})");
            return CannedResponse::json(200, R"({"access_token":"tok-123","token_type":"Bearer"})");
        });
    }
};

// Does what a browser does after the user logs in: follows the redirect back to the program.
QByteArray visit(const QUrl& url) {
    static QNetworkAccessManager* network = new QNetworkAccessManager;
    QNetworkReply* reply = network->get(QNetworkRequest(url));
    waitUntil([reply] { return reply->isFinished(); });
    const QByteArray page = reply->readAll();
    reply->deleteLater();
    return page;
}

struct Outcome {
    std::optional<QString> token;
    std::optional<QString> error;
    bool done() const { return token || error; }
};

void wait(const Outcome& outcome, int ms = 5000) {
    waitUntil([&outcome] { return outcome.done(); }, ms);
}

class MCPAuthorizationTest : public testing::Test {
protected:
    // A login whose browser answers with `callbackQuery` (state filled in unless given).
    void login(const std::function<void(const QUrl& redirect, const QUrlQuery& asked)>& browser) {
        outcome = {};
        server.serve();
        authorization = std::make_unique<MCPAuthorization>(
            server.http.url("/mcp"), [&, browser](const QUrl& url) {
                opened = url;
                const QUrlQuery asked(url);
                server.challenge = asked.queryItemValue("code_challenge");
                // The browser comes back later, as it does after the user has logged in.
                QMetaObject::invokeMethod(
                    qApp,
                    [browser, asked] {
                        browser(QUrl(asked.queryItemValue("redirect_uri")), asked);
                    },
                    Qt::QueuedConnection);
                return true;
            });
        QObject::connect(authorization.get(), &MCPAuthorization::succeeded,
                         [this](const QString& token) { outcome.token = token; });
        QObject::connect(authorization.get(), &MCPAuthorization::failed,
                         [this](const QString& error) { outcome.error = error; });
        authorization->start();
    }

    // The error of a login whose browser never comes back; `opens` says whether it opened.
    std::optional<QString>
    failureWithoutCallback(bool opens, int timeoutMs = MCPAuthorization::defaultTimeoutMs) {
        outcome = {};
        authorization = std::make_unique<MCPAuthorization>(server.http.url("/mcp"),
                                                           [opens](const QUrl&) { return opens; });
        authorization->setTimeout(timeoutMs);
        QObject::connect(authorization.get(), &MCPAuthorization::failed,
                         [this](const QString& e) { outcome.error = e; });
        authorization->start();
        wait(outcome);
        return outcome.error;
    }

    static QUrl callback(const QUrl& redirect, const QString& query) {
        QUrl url = redirect;
        url.setQuery(query);
        return url;
    }
    // A browser that comes back with `query` and this login's state.
    static auto returning(const QString& query, QByteArray* page = nullptr) {
        return [query, page](const QUrl& redirect, const QUrlQuery& asked) {
            const QByteArray shown =
                visit(callback(redirect, query + "&state=" + asked.queryItemValue("state")));
            if (page)
                *page = shown;
        };
    }

    QCoreApplication* app = ensureCoreApplication(); // before the server's thread starts
    AuthorizationServer server;
    std::unique_ptr<MCPAuthorization> authorization;
    QUrl opened;
    Outcome outcome;
};

TEST_F(MCPAuthorizationTest, ExchangesTheBrowsersCodeForATokenWithPkce) {
    QByteArray page;
    login(returning("code=the-code", &page));
    wait(outcome);
    ASSERT_EQ(outcome.token, "tok-123") << outcome.error.value_or("").toStdString();
    EXPECT_TRUE(page.contains("You are logged in"));

    const QUrlQuery asked(opened);
    EXPECT_EQ(opened.path(), "/oauth/authorize");
    EXPECT_EQ(asked.queryItemValue("response_type"), "code");
    EXPECT_EQ(asked.queryItemValue("code_challenge_method"), "S256");
    EXPECT_EQ(asked.queryItemValue("client_id"), "tavrik-client");
    EXPECT_TRUE(asked.queryItemValue("redirect_uri").startsWith("http://127.0.0.1:"));
    const QJsonObject registration = server.http.requests().at(1).json().object();
    EXPECT_EQ(registration["redirect_uris"].toArray().first().toString(),
              asked.queryItemValue("redirect_uri"));
    EXPECT_EQ(registration["token_endpoint_auth_method"].toString(), "none");
}

// Without published metadata the endpoints sit at the conventional paths; a stale tab with
// another login's state does not end this one.
TEST_F(MCPAuthorizationTest, FallsBackToConventionalPathsAndIgnoresForeignCallbacks) {
    server.withMetadata = false;
    QByteArray stalePage;
    login([&](const QUrl& redirect, const QUrlQuery& asked) {
        stalePage = visit(callback(redirect, "code=old&state=someone-else"));
        visit(callback(redirect, "code=the-code&state=" + asked.queryItemValue("state")));
    });
    wait(outcome);
    EXPECT_EQ(outcome.token, "tok-123") << outcome.error.value_or("").toStdString();
    EXPECT_EQ(opened.path(), "/authorize");
    EXPECT_TRUE(stalePage.contains("did not finish"));
}

TEST_F(MCPAuthorizationTest, SaysWhyItFailed) {
    // The user said no in the browser.
    login(returning("error=access_denied&error_description=User%20declined"));
    wait(outcome);
    EXPECT_EQ(outcome.error, "The service did not grant access: User declined");

    // The service refuses the code.
    login(returning("code=forged"));
    wait(outcome);
    EXPECT_EQ(outcome.error, "Getting the access token failed (HTTP 400): code or verifier wrong");

    // A token endpoint that sends the code and verifier to another host is not followed.
    LocalHttpServer elsewhere;
    login([&](const QUrl& redirect, const QUrlQuery& asked) {
        server.http.route("POST", "/oauth/token",
                          CannedResponse::redirect(elsewhere.url("/token").toEncoded()));
        returning("code=the-code")(redirect, asked);
    });
    wait(outcome);
    EXPECT_EQ(outcome.error, "The server redirected to another host (" + elsewhere.baseUrl() +
                                 "); Tavrik did not follow it.");
    EXPECT_EQ(elsewhere.requestCount(), 0);

    // Nobody ever comes back from the browser.
    EXPECT_EQ(failureWithoutCallback(true, 300), "The login took too long. Try again.");
    // No browser to open.
    EXPECT_EQ(failureWithoutCallback(false), "Could not open the web browser to log in.");
    // Registration is refused.
    server.http.route(
        "POST", "/oauth/register",
        CannedResponse::json(403,
                             R"({"error":"forbidden","error_description":"registration closed"})"));
    EXPECT_EQ(failureWithoutCallback(true),
              "Registering Tavrik with the service failed (HTTP 403): registration closed");
}

TEST_F(MCPAuthorizationTest, ACancelledLoginReportsNothing) {
    login([&](const QUrl& redirect, const QUrlQuery& asked) {
        authorization->cancel();
        returning("code=the-code")(redirect, asked);
    });
    wait(outcome, 1500);
    EXPECT_FALSE(outcome.done());
}

} // namespace
