#include "TavrikCore/MCP/MCPAuthorization.h"

#include "TavrikCore/Support/BoundedReply.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrlQuery>

namespace tavrik {

namespace {

// Metadata, registration and token answers are a few hundred bytes.
constexpr qint64 kAnswerLimit = 1024 * 1024;

constexpr QByteArray::Base64Options kUrlSafe =
    QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals;

QByteArray randomText(int bytes) {
    QByteArray data(bytes, Qt::Uninitialized);
    QRandomGenerator::system()->generate(data.begin(), data.end());
    return data.toBase64(kUrlSafe);
}

QUrl originOf(const QUrl& url) {
    QUrl origin;
    origin.setScheme(url.scheme());
    origin.setHost(url.host());
    origin.setPort(url.port());
    return origin;
}

QUrl atOrigin(const QUrl& server, const QString& path) {
    QUrl url = originOf(server);
    url.setPath(path);
    return url;
}

// The page the browser shows once it has come back to us.
QByteArray browserPage(bool success) {
    const QByteArray text =
        success ? "You are logged in. You can close this tab and return to Tavrik."
                : "The login did not finish. You can close this tab and try again in Tavrik.";
    const QByteArray body = "<!doctype html><meta charset=\"utf-8\"><title>Tavrik</title>"
                            "<body style=\"font-family:sans-serif;margin:3em\"><p>" +
                            text + "</p></body>";
    return "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nConnection: close\r\n"
           "Content-Length: " +
           QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

bool answeredWell(const BoundedReply* reply) {
    return reply->outcome() == BoundedReply::Outcome::answered && reply->isSuccess();
}

// The error text of a failed exchange: the server's own description when it gave one.
QString replyError(const BoundedReply* reply, const QString& step) {
    if (const QString failure = reply->failureDescription(); !failure.isEmpty())
        return failure;
    const QJsonObject body = QJsonDocument::fromJson(reply->body()).object();
    const QString description = body.value(QStringLiteral("error_description"))
                                    .toString(body.value(QStringLiteral("error")).toString());
    const int status = reply->status();
    QString message = QStringLiteral("%1 failed").arg(step);
    if (status)
        message += QStringLiteral(" (HTTP %1)").arg(status);
    if (!description.isEmpty())
        return message + QStringLiteral(": ") + description;
    if (!status)
        return message + QStringLiteral(": ") + reply->errorString();
    return message + u'.';
}

} // namespace

MCPAuthorization::MCPAuthorization(QUrl serverUrl, std::function<bool(const QUrl&)> openBrowser,
                                   QObject* parent)
    : QObject(parent), m_serverUrl(std::move(serverUrl)), m_openBrowser(std::move(openBrowser)),
      m_network(new QNetworkAccessManager(this)) {
    m_timeout.setSingleShot(true);
    connect(&m_timeout, &QTimer::timeout, this,
            [this] { fail(QStringLiteral("The login took too long. Try again.")); });
}

MCPAuthorization::~MCPAuthorization() {
    m_done = true;
    if (m_reply)
        m_reply->abort();
}

QUrl MCPAuthorization::redirectUrl() const {
    return m_redirect;
}

void MCPAuthorization::start() {
    if (!m_serverUrl.isValid() || !m_serverUrl.scheme().startsWith(QLatin1String("http"))) {
        fail(QStringLiteral("The server address “%1” is not a web address.")
                 .arg(m_serverUrl.toString()));
        return;
    }
    m_listener = new QTcpServer(this);
    if (!m_listener->listen(QHostAddress::LocalHost, 0)) {
        fail(QStringLiteral("Could not wait for the browser: %1").arg(m_listener->errorString()));
        return;
    }
    m_redirect = QUrl(QStringLiteral("http://127.0.0.1:%1/callback").arg(m_listener->serverPort()));
    connect(m_listener, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* socket = m_listener->nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, this,
                    [this, socket] { answerBrowser(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    });
    m_verifier = randomText(48);
    m_state = randomText(24);
    m_timeout.start(m_timeoutMs);
    discover();
}

void MCPAuthorization::cancel() {
    m_done = true;
    finish();
}

BoundedReply* MCPAuthorization::track(BoundedReply* reply) {
    m_reply = reply;
    return reply;
}

void MCPAuthorization::discover() {
    QNetworkRequest request(
        atOrigin(m_serverUrl, QStringLiteral("/.well-known/oauth-authorization-server")));
    BoundedReply* reply = track(BoundedReply::get(m_network, request, kAnswerLimit, this));
    connect(reply, &BoundedReply::finished, this, [this, reply] {
        reply->deleteLater();
        if (m_done)
            return;
        // A host that sends us elsewhere or floods us is not one to log in to.
        if (const QString failure = reply->failureDescription(); !failure.isEmpty()) {
            fail(failure);
            return;
        }
        // Servers without metadata keep the endpoints at their conventional paths.
        const QJsonObject metadata =
            answeredWell(reply) ? QJsonDocument::fromJson(reply->body()).object() : QJsonObject();
        auto endpoint = [&](const char* key, const char* fallback) {
            const QUrl given(metadata.value(QLatin1String(key)).toString());
            return given.isValid() && !given.isRelative()
                       ? given
                       : atOrigin(m_serverUrl, QLatin1String(fallback));
        };
        m_endpoints.authorization = endpoint("authorization_endpoint", "/authorize");
        m_endpoints.token = endpoint("token_endpoint", "/token");
        m_endpoints.registration = endpoint("registration_endpoint", "/register");
        registerClient();
    });
}

void MCPAuthorization::registerClient() {
    const QJsonObject client{
        {"client_name", "Tavrik"},
        {"redirect_uris", QJsonArray{redirectUrl().toString()}},
        {"grant_types", QJsonArray{"authorization_code", "refresh_token"}},
        {"response_types", QJsonArray{"code"}},
        {"token_endpoint_auth_method", "none"},
    };
    QNetworkRequest request(m_endpoints.registration);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    BoundedReply* reply = track(
        BoundedReply::post(m_network, request, QJsonDocument(client).toJson(QJsonDocument::Compact),
                           kAnswerLimit, this));
    connect(reply, &BoundedReply::finished, this, [this, reply] {
        reply->deleteLater();
        if (m_done)
            return;
        if (!answeredWell(reply)) {
            fail(replyError(reply, QStringLiteral("Registering Tavrik with the service")));
            return;
        }
        m_clientId = QJsonDocument::fromJson(reply->body())
                         .object()
                         .value(QStringLiteral("client_id"))
                         .toString();
        if (m_clientId.isEmpty()) {
            fail(QStringLiteral(
                "The service did not register Tavrik (no client id in its answer)."));
            return;
        }
        openAuthorizationPage();
    });
}

void MCPAuthorization::openAuthorizationPage() {
    QUrl url = m_endpoints.authorization;
    QUrlQuery query(url);
    query.addQueryItem(QStringLiteral("response_type"), QStringLiteral("code"));
    query.addQueryItem(QStringLiteral("client_id"), m_clientId);
    query.addQueryItem(QStringLiteral("redirect_uri"), redirectUrl().toString());
    query.addQueryItem(
        QStringLiteral("code_challenge"),
        QString::fromLatin1(
            QCryptographicHash::hash(m_verifier, QCryptographicHash::Sha256).toBase64(kUrlSafe)));
    query.addQueryItem(QStringLiteral("code_challenge_method"), QStringLiteral("S256"));
    query.addQueryItem(QStringLiteral("state"), QString::fromLatin1(m_state));
    url.setQuery(query);
    if (!m_openBrowser || !m_openBrowser(url))
        fail(QStringLiteral("Could not open the web browser to log in."));
}

void MCPAuthorization::answerBrowser(QTcpSocket* socket) {
    // The request line is all we need; the browser sends it in its first packet.
    if (!socket->canReadLine())
        return;
    const QList<QByteArray> requestLine = socket->readLine().trimmed().split(' ');
    const QUrl target(QString::fromLatin1(requestLine.value(1)));
    if (requestLine.value(0) != "GET" || target.path() != QLatin1String("/callback")) {
        socket->write("HTTP/1.1 404 Not Found\r\nConnection: close\r\nContent-Length: 0\r\n\r\n");
        socket->disconnectFromHost();
        return;
    }
    const QUrlQuery query(target);
    const bool stateMatches = query.queryItemValue(QStringLiteral("state")).toLatin1() == m_state;
    const QString code = query.queryItemValue(QStringLiteral("code"));
    QString error = query.queryItemValue(QStringLiteral("error_description"), QUrl::FullyDecoded);
    if (error.isEmpty())
        error = query.queryItemValue(QStringLiteral("error"), QUrl::FullyDecoded);
    const bool accepted = !m_done && stateMatches && !code.isEmpty();
    socket->write(browserPage(accepted));
    socket->disconnectFromHost();
    if (m_done)
        return;
    if (!stateMatches)
        // Not an answer to our question: someone else's page, or a stale tab. Keep waiting.
        return;
    if (!accepted) {
        fail(error.isEmpty() ? QStringLiteral("The service did not grant access.")
                             : QStringLiteral("The service did not grant access: %1").arg(error));
        return;
    }
    m_listener->close();
    exchangeCode(code);
}

void MCPAuthorization::exchangeCode(const QString& code) {
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("grant_type"), QStringLiteral("authorization_code"));
    form.addQueryItem(QStringLiteral("code"), code);
    form.addQueryItem(QStringLiteral("redirect_uri"), m_redirect.toString());
    form.addQueryItem(QStringLiteral("client_id"), m_clientId);
    form.addQueryItem(QStringLiteral("code_verifier"), QString::fromLatin1(m_verifier));
    QNetworkRequest request(m_endpoints.token);
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QStringLiteral("application/x-www-form-urlencoded"));
    BoundedReply* reply = track(BoundedReply::post(
        m_network, request, form.toString(QUrl::FullyEncoded).toLatin1(), kAnswerLimit, this));
    connect(reply, &BoundedReply::finished, this, [this, reply] {
        reply->deleteLater();
        if (m_done)
            return;
        if (!answeredWell(reply)) {
            fail(replyError(reply, QStringLiteral("Getting the access token")));
            return;
        }
        const QString token = QJsonDocument::fromJson(reply->body())
                                  .object()
                                  .value(QStringLiteral("access_token"))
                                  .toString();
        if (token.isEmpty()) {
            fail(QStringLiteral("The service answered without an access token."));
            return;
        }
        m_done = true;
        finish();
        emit succeeded(token);
    });
}

void MCPAuthorization::fail(const QString& message) {
    if (m_done)
        return;
    m_done = true;
    finish();
    emit failed(message);
}

void MCPAuthorization::finish() {
    m_timeout.stop();
    if (m_listener)
        m_listener->close();
    if (m_reply)
        m_reply->abort();
}

} // namespace tavrik
