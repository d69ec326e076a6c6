#include "Support/LocalHttpServer.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QHash>
#include <QHostAddress>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

namespace tavrik::test {

QByteArray RecordedRequest::header(const QByteArray& name) const {
    for (const auto& [key, value] : headers)
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    return {};
}

bool RecordedRequest::hasHeader(const QByteArray& name) const {
    for (const auto& pair : headers)
        if (pair.first.compare(name, Qt::CaseInsensitive) == 0)
            return true;
    return false;
}

CannedResponse CannedResponse::json(int status, const QByteArray& body) {
    return text(status, body, "application/json");
}

CannedResponse CannedResponse::text(int status, const QByteArray& body,
                                    const QByteArray& contentType) {
    CannedResponse r;
    r.status = status;
    r.headers = {{"Content-Type", contentType}};
    r.body = body;
    return r;
}

CannedResponse CannedResponse::eventStream(const QList<Piece>& pieces, int status) {
    CannedResponse r;
    r.status = status;
    r.headers = {{"Content-Type", "text/event-stream"}, {"Cache-Control", "no-cache"}};
    r.streamed = true;
    r.pieces = pieces;
    return r;
}

CannedResponse CannedResponse::silence() {
    CannedResponse r;
    r.neverAnswer = true;
    return r;
}

CannedResponse CannedResponse::redirect(const QByteArray& location, int status) {
    CannedResponse r;
    r.status = status;
    r.headers = {{"Location", location}};
    return r;
}

CannedResponse CannedResponse::huge(const QByteArray& unit, qint64 totalBytes, bool streamed) {
    CannedResponse r = text(200, unit, streamed ? "text/event-stream" : "application/json");
    r.streamed = streamed;
    r.repeatedBytes = totalBytes;
    return r;
}

QList<Piece> CannedResponse::split(const QByteArray& data, int pieceSize, int delayMs) {
    QList<Piece> pieces;
    for (qsizetype at = 0; at < data.size(); at += pieceSize)
        pieces.append({data.mid(at, pieceSize), delayMs});
    return pieces;
}

struct Route {
    QList<CannedResponse> sequence;
    int next = 0;
    Handler handler;
};

struct LocalHttpServer::Shared {
    mutable QMutex mutex;
    QHash<QByteArray, Route> routes;
    QList<RecordedRequest> requests;
    bool released = false;

    static QByteArray key(const QByteArray& method, const QByteArray& path) {
        return method.toUpper() + ' ' + path;
    }

    CannedResponse answer(const RecordedRequest& request) {
        QByteArray path = request.path;
        if (qsizetype q = path.indexOf('?'); q >= 0)
            path.truncate(q);
        Handler handler;
        {
            QMutexLocker lock(&mutex);
            requests.append(request);
            auto it = routes.find(key(request.method, path));
            if (it == routes.end())
                return CannedResponse::text(404, "no route for " + request.method + ' ' + path);
            if (!it->handler) {
                const CannedResponse& r =
                    it->sequence.at(qMin(it->next, int(it->sequence.size()) - 1));
                it->next = qMin(it->next + 1, int(it->sequence.size()) - 1);
                return r;
            }
            handler = it->handler;
        }
        return handler(request);
    }
};

namespace {

QByteArray reasonPhrase(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 204:
        return "No Content";
    case 301:
        return "Moved Permanently";
    case 302:
        return "Found";
    case 304:
        return "Not Modified";
    case 307:
        return "Temporary Redirect";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 429:
        return "Too Many Requests";
    case 500:
        return "Internal Server Error";
    case 503:
        return "Service Unavailable";
    case 529:
        return "Overloaded";
    default:
        return "Status";
    }
}

// Reads one request per connection, then answers it.
class Connection : public QObject {
public:
    Connection(QTcpSocket* socket, std::shared_ptr<LocalHttpServer::Shared> shared)
        : QObject(socket), m_socket(socket), m_shared(std::move(shared)) {
        QObject::connect(socket, &QTcpSocket::readyRead, this, [this] { onReadyRead(); });
        QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }

private:
    void onReadyRead() {
        m_buffer += m_socket->readAll();
        if (m_done)
            return;
        std::optional<RecordedRequest> request = parse();
        if (!request)
            return;
        m_done = true;
        respond(m_shared->answer(*request));
    }

    std::optional<RecordedRequest> parse() {
        const qsizetype headEnd = m_buffer.indexOf("\r\n\r\n");
        if (headEnd < 0)
            return std::nullopt;
        RecordedRequest request;
        const QList<QByteArray> lines = m_buffer.left(headEnd).split('\n');
        const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
        request.method = requestLine.value(0);
        request.path = requestLine.value(1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const QByteArray line = lines.at(i).trimmed();
            const qsizetype colon = line.indexOf(':');
            if (colon > 0)
                request.headers.append({line.left(colon).trimmed(), line.mid(colon + 1).trimmed()});
        }
        const QByteArray rest = m_buffer.mid(headEnd + 4);
        if (request.header("Expect").compare("100-continue", Qt::CaseInsensitive) == 0 &&
            !m_sentContinue) {
            m_sentContinue = true;
            m_socket->write("HTTP/1.1 100 Continue\r\n\r\n");
        }
        const qsizetype length = request.header("Content-Length").toLongLong();
        if (rest.size() < length)
            return std::nullopt;
        request.body = rest.left(length);
        return request;
    }

    void respond(const CannedResponse& response) {
        if (response.neverAnswer)
            return;
        QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) + ' ' +
                          reasonPhrase(response.status) + "\r\n";
        for (const auto& [name, value] : response.headers)
            head += name + ": " + value + "\r\n";
        head += "Connection: close\r\n";
        if (response.repeatedBytes > 0) {
            head +=
                response.streamed
                    ? QByteArray("Transfer-Encoding: chunked\r\n\r\n")
                    : "Content-Length: " + QByteArray::number(response.repeatedBytes) + "\r\n\r\n";
            m_socket->write(head);
            m_unit = response.streamed ? QByteArray::number(response.body.size(), 16) + "\r\n" +
                                             response.body + "\r\n"
                                       : response.body;
            m_unitPayload = response.body.size();
            m_repeatLeft = response.repeatedBytes;
            m_chunked = response.streamed;
            QObject::connect(m_socket, &QTcpSocket::bytesWritten, this, [this] { pump(); });
            pump();
            return;
        }
        if (!response.streamed) {
            const qint64 length =
                response.declaredLength >= 0 ? response.declaredLength : response.body.size();
            head += "Content-Length: " + QByteArray::number(length) + "\r\n\r\n";
            m_socket->write(head + response.body);
            m_socket->disconnectFromHost();
            return;
        }
        head += "Transfer-Encoding: chunked\r\n\r\n";
        m_socket->write(head);
        m_socket->flush();
        m_pieces = response.pieces;
        m_dropAtEnd = response.dropAtEnd;
        m_holdOpen = response.holdOpen;
        m_rawTail = response.rawTail;
        sendNextPiece();
    }

    // Keeps a little in flight until the repeated body is out or the client has gone.
    void pump() {
        constexpr qint64 inFlight = 1024 * 1024;
        while (m_repeatLeft > 0 && m_socket->bytesToWrite() < inFlight &&
               m_socket->state() == QAbstractSocket::ConnectedState) {
            if (m_chunked) {
                m_socket->write(m_unit); // whole chunks: the total is rounded up to one
                m_repeatLeft -= m_unitPayload;
            } else {
                m_socket->write(m_unit.first(std::min(m_repeatLeft, qint64(m_unit.size()))));
                m_repeatLeft -= m_unit.size();
            }
        }
        if (m_repeatLeft <= 0 && m_socket->state() == QAbstractSocket::ConnectedState &&
            !std::exchange(m_repeatDone, true)) {
            if (m_chunked)
                m_socket->write("0\r\n\r\n");
            m_socket->disconnectFromHost();
        }
    }

    void sendNextPiece() {
        if (m_pieces.isEmpty()) {
            if (!m_rawTail.isEmpty())
                m_socket->write(std::exchange(m_rawTail, QByteArray()));
            if (m_holdOpen)
                return;
            if (!m_dropAtEnd)
                m_socket->write("0\r\n\r\n");
            m_socket->disconnectFromHost();
            return;
        }
        if (m_pieces.first().held && !isReleased()) {
            m_waitingForRelease = true;
            return;
        }
        const Piece piece = m_pieces.takeFirst();
        QPointer<Connection> self(this);
        QTimer::singleShot(piece.delayMs, this, [self, piece] {
            if (!self || self->m_socket->state() != QAbstractSocket::ConnectedState)
                return;
            if (!piece.data.isEmpty()) {
                self->m_socket->write(QByteArray::number(piece.data.size(), 16) + "\r\n" +
                                      piece.data + "\r\n");
                self->m_socket->flush();
            }
            self->sendNextPiece();
        });
    }

    bool isReleased() const {
        QMutexLocker lock(&m_shared->mutex);
        return m_shared->released;
    }

    QTcpSocket* m_socket;
    std::shared_ptr<LocalHttpServer::Shared> m_shared;
    QByteArray m_buffer;
    bool m_done = false;
    bool m_sentContinue = false;
    QList<Piece> m_pieces;
    bool m_dropAtEnd = false;
    bool m_holdOpen = false;
    QByteArray m_rawTail;
    QByteArray m_unit;
    qint64 m_unitPayload = 0;
    qint64 m_repeatLeft = 0;
    bool m_chunked = false;
    bool m_repeatDone = false;
    bool m_waitingForRelease = false;

public:
    // On the server thread, after LocalHttpServer::release().
    void resume() {
        if (std::exchange(m_waitingForRelease, false) &&
            m_socket->state() == QAbstractSocket::ConnectedState)
            sendNextPiece();
    }
};

} // namespace

LocalHttpServer::LocalHttpServer() : m_shared(std::make_shared<Shared>()), m_thread(new QThread) {
    m_thread->setObjectName("LocalHttpServer");
    m_thread->start();
    auto* server = new QTcpServer;
    server->moveToThread(m_thread);
    std::shared_ptr<Shared> shared = m_shared;
    QMetaObject::invokeMethod(
        server,
        [this, server, shared] {
            QObject::connect(server, &QTcpServer::newConnection, server, [server, shared] {
                while (QTcpSocket* socket = server->nextPendingConnection())
                    new Connection(socket, shared);
            });
            if (server->listen(QHostAddress::LocalHost, 0))
                m_port = server->serverPort();
        },
        Qt::BlockingQueuedConnection);
    m_server = server;
}

LocalHttpServer::~LocalHttpServer() {
    // The sockets are the server's children and go with it, on the thread that owns them.
    QObject* server = m_server;
    QMetaObject::invokeMethod(
        server, [server] { delete server; }, Qt::BlockingQueuedConnection);
    m_thread->quit();
    m_thread->wait();
    delete m_thread;
}

QString LocalHttpServer::baseUrl() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port);
}

QUrl LocalHttpServer::url(const QString& path) const {
    return QUrl(baseUrl() + path);
}

void LocalHttpServer::route(const QByteArray& method, const QString& path,
                            const CannedResponse& response) {
    routeSequence(method, path, {response});
}

void LocalHttpServer::routeSequence(const QByteArray& method, const QString& path,
                                    const QList<CannedResponse>& responses) {
    Q_ASSERT(!responses.isEmpty());
    QMutexLocker lock(&m_shared->mutex);
    m_shared->routes.insert(Shared::key(method, path.toUtf8()), Route{responses, 0, {}});
}

void LocalHttpServer::route(const QByteArray& method, const QString& path, Handler handler) {
    QMutexLocker lock(&m_shared->mutex);
    m_shared->routes.insert(Shared::key(method, path.toUtf8()), Route{{}, 0, std::move(handler)});
}

void LocalHttpServer::dropConnections() {
    QObject* server = m_server;
    QMetaObject::invokeMethod(
        server,
        [server] {
            for (QTcpSocket* socket : server->findChildren<QTcpSocket*>())
                socket->disconnectFromHost();
        },
        Qt::BlockingQueuedConnection);
}

void LocalHttpServer::release() {
    {
        QMutexLocker lock(&m_shared->mutex);
        m_shared->released = true;
    }
    QObject* server = m_server;
    QMetaObject::invokeMethod(
        server,
        [server] {
            for (QObject* child : server->findChildren<QObject*>()) {
                if (auto* connection = dynamic_cast<Connection*>(child))
                    connection->resume();
            }
        },
        Qt::BlockingQueuedConnection);
}

QList<RecordedRequest> LocalHttpServer::requests() const {
    QMutexLocker lock(&m_shared->mutex);
    return m_shared->requests;
}

int LocalHttpServer::requestCount() const {
    QMutexLocker lock(&m_shared->mutex);
    return int(m_shared->requests.size());
}

bool LocalHttpServer::waitForRequests(int count, int timeoutMs) const {
    QDeadlineTimer deadline(timeoutMs);
    while (requestCount() < count) {
        if (deadline.hasExpired())
            return false;
        if (QCoreApplication::instance())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::msleep(1);
    }
    return true;
}

void LocalHttpServer::clearRequests() {
    QMutexLocker lock(&m_shared->mutex);
    m_shared->requests.clear();
}

} // namespace tavrik::test
