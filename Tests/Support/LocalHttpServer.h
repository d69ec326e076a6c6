#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QList>
#include <QMutex>
#include <QPair>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>

class QThread;

namespace tavrik::test {

using HeaderList = QList<QPair<QByteArray, QByteArray>>;

// One request as the server received it: headers in arrival order, body decoded from its
// Content-Length or chunked framing.
struct RecordedRequest {
    QByteArray method;
    QByteArray path; // with the query, as sent on the request line
    HeaderList headers;
    QByteArray body;

    // First header of that name (case-insensitive); empty when absent.
    QByteArray header(const QByteArray& name) const;
    bool hasHeader(const QByteArray& name) const;
    QJsonDocument json() const { return QJsonDocument::fromJson(body); }
};

// What is written to the socket after some delay; each piece is flushed on its own so the
// client sees it in a separate read.
struct Piece {
    QByteArray data;
    int delayMs = 0;
    // Sent only once LocalHttpServer::release() was called (at once if it already was): the
    // test sees what the client made of the pieces before it, however slow the client is.
    bool held = false;
};

struct CannedResponse {
    int status = 200;
    HeaderList headers;
    QByteArray body;

    // When set, the body is sent as these pieces with chunked transfer encoding (the way a
    // server-sent event stream arrives) instead of `body`.
    bool streamed = false;
    QList<Piece> pieces;
    // Streamed only: close the connection after the last piece without the terminating chunk,
    // like a server that dies mid-stream.
    bool dropAtEnd = false;
    // Streamed only: after the last piece neither end the body nor close, until
    // dropConnections() closes the connection (a server that dies once the client has seen
    // what it sent).
    bool holdOpen = false;
    // Streamed only: written as is after the last piece, outside any chunk framing (the start
    // of a chunk that never ends, say).
    QByteArray rawTail;

    // Accept the request and never write anything back (for timeouts).
    bool neverAnswer = false;

    // Not streamed: the Content-Length announced instead of the body's own, so a larger one
    // makes a server that closes before its answer is complete.
    qint64 declaredLength = -1;
    // When positive, the body (or, streamed, each chunk) is `body` repeated until this many
    // bytes went out, written only as fast as the client takes them: a huge answer that is
    // never held in memory.
    qint64 repeatedBytes = 0;

    static CannedResponse json(int status, const QByteArray& body);
    static CannedResponse text(int status, const QByteArray& body,
                               const QByteArray& contentType = "text/plain");
    static CannedResponse eventStream(const QList<Piece>& pieces, int status = 200);
    static CannedResponse silence();
    // A redirect to `location` with this status.
    static CannedResponse redirect(const QByteArray& location, int status = 307);
    // `unit` repeated to `totalBytes`, with a Content-Length or chunked.
    static CannedResponse huge(const QByteArray& unit, qint64 totalBytes, bool streamed);
    // Splits `data` every `pieceSize` bytes, each piece after `delayMs`.
    static QList<Piece> split(const QByteArray& data, int pieceSize, int delayMs = 0);
};

using Handler = std::function<CannedResponse(const RecordedRequest&)>;

// A small real HTTP/1.1 server on 127.0.0.1 for tests. It runs on its own thread, so clients may
// block the test thread or spin an event loop alike. Each connection carries one exchange and
// is closed after the answer. Unknown routes answer 404.
class LocalHttpServer {
public:
    LocalHttpServer();
    ~LocalHttpServer();
    LocalHttpServer(const LocalHttpServer&) = delete;
    LocalHttpServer& operator=(const LocalHttpServer&) = delete;

    quint16 port() const { return m_port; }
    // "http://127.0.0.1:<port>" followed by `path`.
    QUrl url(const QString& path = QString()) const;
    QString baseUrl() const;

    // Every request to method+path (path without the query) gets this answer.
    void route(const QByteArray& method, const QString& path, const CannedResponse& response);
    // Successive requests get successive answers; the last one repeats.
    void routeSequence(const QByteArray& method, const QString& path,
                       const QList<CannedResponse>& responses);
    // The handler runs on the server thread.
    void route(const QByteArray& method, const QString& path, Handler handler);

    // Closes every open connection, as a server that dies does.
    void dropConnections();
    // Lets held pieces go, now and from then on.
    void release();

    QList<RecordedRequest> requests() const;
    int requestCount() const;
    // Spins the calling thread's event loop until `count` requests arrived or the time is up.
    bool waitForRequests(int count, int timeoutMs = 5000) const;
    void clearRequests();

    struct Shared;

private:
    std::shared_ptr<Shared> m_shared;
    QThread* m_thread = nullptr;
    QObject* m_server = nullptr;
    quint16 m_port = 0;
};

} // namespace tavrik::test
