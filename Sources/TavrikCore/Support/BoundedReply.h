#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QNetworkRequest>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <functional>

class QNetworkAccessManager;
class QNetworkReply;

namespace tavrik {

// One exchange with a remote host, read within limits; every request the program sends goes
// through one. Redirects are followed only within the request's origin (scheme, host and port),
// so a key or token in its headers or body never reaches another host. The body is taken in as
// it arrives and never past a limit suited to it, so a hostile or broken host can neither fill
// memory nor pass off a cut answer as a whole one.
class BoundedReply : public QObject {
    Q_OBJECT
public:
    // Of an answer with a status outside 2xx only this much is kept, the rest is not read: the
    // user is shown it, and a proxy's whole error page is no message.
    static constexpr qint64 errorBodyLimit = 4 * 1024;
    // What Qt may hold unread, so a reader that falls behind slows the host down.
    static constexpr qint64 readBufferSize = 256 * 1024;

    enum class Outcome {
        pending,
        answered,       // a whole HTTP answer: status() and body()
        noHttpAnswer,   // ended without an HTTP status and without a network error
        redirectedAway, // a redirect to refusedOrigin() was refused
        tooLarge,       // a success answer passed its limit
        cut,            // the connection ended before the answer did
        timedOut,       // nothing arrived within the request's transfer timeout
        failed,         // the network failed: errorString()
        aborted,        // abort() was called
    };

    using StreamHandler = std::function<void(QByteArrayView bytes)>;

    // Sends the request with redirects left to this object. A success body past `limit` ends the
    // exchange as tooLarge; `limit` 0 keeps nothing of any answer.
    static BoundedReply* get(QNetworkAccessManager* session, QNetworkRequest request, qint64 limit,
                             QObject* parent = nullptr);
    static BoundedReply* post(QNetworkAccessManager* session, QNetworkRequest request,
                              const QByteArray& body, qint64 limit, QObject* parent = nullptr);
    ~BoundedReply() override;

    // When set, a success body is handed over piece by piece as it arrives instead of being
    // kept; `limit` then bounds the whole of it. The handler may abort() this object.
    void setStreamHandler(StreamHandler handler) { m_streamHandler = std::move(handler); }

    // Ends the exchange at once as aborted; `finished` follows unless it already came.
    void abort();

    Outcome outcome() const { return m_outcome; }
    bool isFinished() const { return m_outcome != Outcome::pending; }
    // The HTTP status, or 0 before or without one.
    int status() const { return m_status; }
    bool isSuccess() const { return m_status >= 200 && m_status <= 299; }
    // What was kept of the body (nothing of a streamed success answer).
    const QByteArray& body() const { return m_body; }
    // True when an error answer was longer than errorBodyLimit and only its start was kept.
    bool bodyTrimmed() const { return m_trimmed; }
    QUrl refusedOrigin() const { return m_refusedOrigin; }
    // The network's reason for timedOut and failed.
    QString errorString() const { return m_errorString; }

    // The text the user sees for redirectedAway, tooLarge and cut; empty for the other outcomes.
    QString failureDescription() const;
    static QString redirectRefusedText(const QUrl& origin);
    static QString tooLargeText();
    static QString cutText();

    // Scheme, host and port; the port spelled out only when the address names one.
    static QUrl originOf(const QUrl& url);
    static bool sameOrigin(const QUrl& a, const QUrl& b);

signals:
    // Exactly once, also after abort().
    void finished();

private:
    BoundedReply(QNetworkReply* reply, qint64 limit, QObject* parent);
    static QNetworkRequest prepared(QNetworkRequest request);

    void onRedirected(const QUrl& target);
    void onReadyRead();
    void onFinished();
    void conclude(Outcome outcome);

    QPointer<QNetworkReply> m_reply;
    QUrl m_origin;
    qint64 m_limit;
    StreamHandler m_streamHandler;
    Outcome m_outcome = Outcome::pending;
    int m_status = 0;
    qint64 m_received = 0;
    QByteArray m_body;
    bool m_trimmed = false;
    QUrl m_refusedOrigin;
    QString m_errorString;
};

} // namespace tavrik
