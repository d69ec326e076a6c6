#include "TavrikCore/Support/BoundedReply.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace tavrik {

namespace {

int defaultPort(const QString& scheme) {
    if (scheme == QLatin1String("https"))
        return 443;
    if (scheme == QLatin1String("http"))
        return 80;
    return -1;
}

} // namespace

QNetworkRequest BoundedReply::prepared(QNetworkRequest request) {
    // Qt asks before following each redirect (onRedirected) instead of deciding by itself.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::UserVerifiedRedirectPolicy);
    return request;
}

BoundedReply* BoundedReply::get(QNetworkAccessManager* session, QNetworkRequest request,
                                qint64 limit, QObject* parent) {
    return new BoundedReply(session->get(prepared(std::move(request))), limit, parent);
}

BoundedReply* BoundedReply::post(QNetworkAccessManager* session, QNetworkRequest request,
                                 const QByteArray& body, qint64 limit, QObject* parent) {
    return new BoundedReply(session->post(prepared(std::move(request)), body), limit, parent);
}

BoundedReply::BoundedReply(QNetworkReply* reply, qint64 limit, QObject* parent)
    : QObject(parent), m_reply(reply), m_origin(originOf(reply->request().url())), m_limit(limit) {
    reply->setReadBufferSize(readBufferSize);
    // Qt hands the limit to its network thread only once that thread has taken the request up,
    // and takes it up again, without the limit, after each redirect: a limit set before that
    // is lost, and the thread reads the whole answer ahead of us. So it is set again at each
    // step that comes after the thread took the request up and before (or with) the answer.
    const auto limitReadAhead = [reply] { reply->setReadBufferSize(readBufferSize); };
    connect(reply, &QNetworkReply::socketStartedConnecting, this, limitReadAhead);
    connect(reply, &QNetworkReply::requestSent, this, limitReadAhead);
    connect(reply, &QNetworkReply::metaDataChanged, this, limitReadAhead);
    connect(reply, &QNetworkReply::redirected, this, &BoundedReply::onRedirected);
    connect(reply, &QNetworkReply::readyRead, this, &BoundedReply::onReadyRead);
    connect(reply, &QNetworkReply::finished, this, &BoundedReply::onFinished);
}

BoundedReply::~BoundedReply() {
    if (m_reply) {
        m_reply->disconnect(this);
        if (m_reply->isRunning())
            m_reply->abort();
        m_reply->deleteLater();
    }
}

void BoundedReply::abort() {
    conclude(Outcome::aborted);
}

void BoundedReply::onRedirected(const QUrl& target) {
    const QUrl resolved = m_reply->request().url().resolved(target);
    if (!sameOrigin(resolved, m_origin)) {
        m_refusedOrigin = originOf(resolved);
        conclude(Outcome::redirectedAway);
        return;
    }
    // The next answer brings its own status and body.
    m_status = 0;
    m_received = 0;
    m_body.clear();
    emit m_reply->redirectAllowed();
}

void BoundedReply::onReadyRead() {
    if (isFinished())
        return;
    if (m_status == 0) {
        const QVariant status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (!status.isValid())
            return; // the bytes wait in the reply until the status is known
        m_status = status.toInt();
    }
    const bool success = isSuccess();
    const qint64 limit = success ? m_limit : std::min(m_limit, errorBodyLimit);
    while (!isFinished() && m_reply->bytesAvailable() > 0) {
        const QByteArray bytes = m_reply->read(std::min(m_reply->bytesAvailable(), readBufferSize));
        if (m_received + bytes.size() > limit) {
            if (success) {
                conclude(Outcome::tooLarge);
                return;
            }
            // An error answer is shown to people: its start says all there is to say.
            m_body += bytes.left(limit - m_received);
            m_received = limit;
            m_trimmed = true;
            conclude(Outcome::answered);
            return;
        }
        m_received += bytes.size();
        if (success && m_streamHandler)
            m_streamHandler(bytes);
        else
            m_body += bytes;
    }
}

void BoundedReply::onFinished() {
    if (isFinished())
        return;
    const QNetworkReply::NetworkError error = m_reply->error();
    const QVariant status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (error == QNetworkReply::OperationCanceledError) {
        // Every abort of ours concludes first, so only the transfer timeout gets here.
        m_errorString = QStringLiteral("The request timed out.");
        conclude(Outcome::timedOut);
        return;
    }
    if (!status.isValid()) {
        m_errorString = m_reply->errorString();
        conclude(error == QNetworkReply::NoError ? Outcome::noHttpAnswer : Outcome::failed);
        return;
    }
    onReadyRead();
    if (isFinished())
        return;
    m_status = status.toInt();
    // Fewer bytes than announced, or a chunked body without its last chunk. Qt reports the
    // first only when the close reaches it apart from the data, so the length is checked here
    // too (Qt drops the header of answers it decompresses). Qt 6.4 often reports a chunked body
    // whose connection was lost, between chunks or inside one, as whole, and exposes nothing of
    // the chunking to check against: the readers of streams check their own framing.
    const QVariant announced = m_reply->header(QNetworkRequest::ContentLengthHeader);
    if (error == QNetworkReply::RemoteHostClosedError ||
        (announced.isValid() && m_received < announced.toLongLong() && m_status != 204 &&
         m_status != 304)) {
        conclude(Outcome::cut);
        return;
    }
    // Outside 2xx the error only restates the status, which says more.
    if (error != QNetworkReply::NoError && isSuccess()) {
        m_errorString = m_reply->errorString();
        conclude(Outcome::failed);
        return;
    }
    conclude(Outcome::answered);
}

void BoundedReply::conclude(Outcome outcome) {
    if (isFinished())
        return;
    m_outcome = outcome;
    if (m_reply) {
        QNetworkReply* reply = m_reply;
        m_reply = nullptr;
        reply->disconnect(this);
        if (reply->isRunning())
            reply->abort();
        reply->deleteLater();
    }
    emit finished();
}

QString BoundedReply::failureDescription() const {
    switch (m_outcome) {
    case Outcome::redirectedAway:
        return redirectRefusedText(m_refusedOrigin);
    case Outcome::tooLarge:
        return tooLargeText();
    case Outcome::cut:
        return cutText();
    default:
        return {};
    }
}

QString BoundedReply::redirectRefusedText(const QUrl& origin) {
    return QStringLiteral("The server redirected to another host (%1); Tavrik did not follow it.")
        .arg(origin.toString());
}

QString BoundedReply::tooLargeText() {
    return QStringLiteral("The server's answer was too large.");
}

QString BoundedReply::cutText() {
    return QStringLiteral("The connection was lost before the answer was complete.");
}

QUrl BoundedReply::originOf(const QUrl& url) {
    QUrl origin;
    origin.setScheme(url.scheme().toLower());
    origin.setHost(url.host());
    origin.setPort(url.port());
    return origin;
}

bool BoundedReply::sameOrigin(const QUrl& a, const QUrl& b) {
    const QString scheme = a.scheme().toLower();
    return scheme == b.scheme().toLower() && a.host().compare(b.host(), Qt::CaseInsensitive) == 0 &&
           a.port(defaultPort(scheme)) == b.port(defaultPort(scheme));
}

} // namespace tavrik
