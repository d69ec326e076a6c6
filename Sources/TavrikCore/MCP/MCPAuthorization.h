#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>
#include <functional>

class QNetworkAccessManager;
class QTcpServer;
class QTcpSocket;

namespace tavrik {

class BoundedReply;

// Obtains an access token for a tool server the way such servers expect it from a desktop
// program: OAuth 2 authorization code with PKCE, the endpoints found through the server's
// authorization-server metadata, the program registered as a public client on the fly, and the
// answer received on a one-time redirect to 127.0.0.1. The user logs in in their own browser,
// which `openBrowser` opens. One login per object; results arrive through the signals, once.
class MCPAuthorization : public QObject {
    Q_OBJECT
public:
    static constexpr int defaultTimeoutMs = 5 * 60 * 1000;

    MCPAuthorization(QUrl serverUrl, std::function<bool(const QUrl&)> openBrowser,
                     QObject* parent = nullptr);
    ~MCPAuthorization() override;

    void setTimeout(int ms) { m_timeoutMs = ms; }
    void start();
    // Stops listening and forgets the login; no signal follows.
    void cancel();

    // The address the browser comes back to; empty until `start`.
    QUrl redirectUrl() const;

signals:
    void succeeded(const QString& accessToken);
    void failed(const QString& message);

private:
    struct Endpoints {
        QUrl authorization;
        QUrl token;
        QUrl registration;
    };

    void discover();
    void registerClient();
    void openAuthorizationPage();
    void answerBrowser(QTcpSocket* socket);
    void exchangeCode(const QString& code);
    void fail(const QString& message);
    void finish();
    BoundedReply* track(BoundedReply* reply);

    QUrl m_serverUrl;
    std::function<bool(const QUrl&)> m_openBrowser;
    QNetworkAccessManager* m_network;
    QTcpServer* m_listener = nullptr;
    QUrl m_redirect;
    QPointer<BoundedReply> m_reply;
    QTimer m_timeout;
    int m_timeoutMs = defaultTimeoutMs;
    Endpoints m_endpoints;
    QString m_clientId;
    QByteArray m_verifier;
    QByteArray m_state;
    bool m_done = false;
};

} // namespace tavrik
