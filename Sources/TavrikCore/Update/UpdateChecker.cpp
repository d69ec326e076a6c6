#include "TavrikCore/Update/UpdateChecker.h"

#include "TavrikCore/Support/BoundedReply.h"
#include "TavrikCore/Synthesis/Hosts.h"
#include "TavrikCore/Update/Release.h"
#include "TavrikCore/Version.h"

#include <QDateTime>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QSettings>

namespace tavrik {

namespace {
constexpr int kTimeoutMs = 60 * 1000;
// The feed lists a handful of releases; a few kilobytes.
constexpr qint64 kFeedLimit = 1024 * 1024;
} // namespace

UpdateChecker::UpdateChecker(QNetworkAccessManager* session, QSettings* defaults, QObject* parent)
    : QObject(parent), m_session(session), m_defaults(defaults), m_currentVersion(buildVersion()) {
    const QUrl host = Hosts::web();
    m_downloadBase = Hosts::endpoint(host, QStringLiteral("/"));
    m_feedURL = Hosts::endpoint(host, QStringLiteral("/releases.json"));
}

QString UpdateChecker::buildVersion() {
    const QString version = QString::fromUtf8(kVersion);
    return version.isEmpty() ? QStringLiteral("0.0.0") : version;
}

bool UpdateChecker::checkIfDue() {
    const QDateTime last = m_defaults->value(QLatin1String(lastCheckedKey)).toDateTime();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    // A check time in the future (the clock was set back) does not hold checks off.
    if (last.isValid() && last <= now && last.secsTo(now) < checkIntervalSeconds)
        return false;
    check();
    return true;
}

void UpdateChecker::check() {
    // Recorded before asking, so a failing feed is not asked again for 12 hours.
    m_defaults->setValue(QLatin1String(lastCheckedKey), QDateTime::currentDateTimeUtc());
    m_defaults->sync();

    QNetworkRequest request(m_feedURL);
    request.setTransferTimeout(kTimeoutMs);
    // A started check runs to its end even if this checker goes first.
    BoundedReply* reply = BoundedReply::get(m_session, request, kFeedLimit, m_session);
    QPointer<UpdateChecker> self(this);
    connect(reply, &BoundedReply::finished, reply, [self, reply] {
        reply->deleteLater();
        if (!self)
            return;
        // Any whole answer is read, whatever its status; anything less ends here.
        if (reply->outcome() == BoundedReply::Outcome::answered)
            self->handleFeed(reply->body());
        emit self->checkFinished();
    });
}

void UpdateChecker::handleFeed(const QByteArray& body) {
    const Result<QList<Release>> feed = Release::feedFromJson(body);
    if (!feed.ok() || feed->isEmpty())
        return;
    const Release& newest = feed->first();
    if (!isNewer(newest.version, m_currentVersion))
        return;
    if (m_defaults->value(QLatin1String(dismissedVersionKey)).toString() == newest.version)
        return;
    const QUrl url = m_downloadBase.resolved(QUrl(newest.file));
    // Only web addresses are offered for download.
    if (!url.isValid() || (url.scheme() != u"https" && url.scheme() != u"http"))
        return;
    AvailableUpdate update{newest.version, url};
    if (m_available == update)
        return;
    m_available = std::move(update);
    emit availableChanged();
}

void UpdateChecker::dismiss() {
    if (!m_available)
        return;
    m_defaults->setValue(QLatin1String(dismissedVersionKey), m_available->version);
    m_defaults->sync();
    m_available.reset();
    emit availableChanged();
}

QList<qint64> UpdateChecker::versionComponents(const QString& version) {
    const QString release = version.section(u'-', 0, 0);
    QList<qint64> components;
    for (const QString& part : release.split(u'.')) {
        bool ok = false;
        const qint64 number = part.toLongLong(&ok, 10);
        components.append(ok ? number : 0);
    }
    return components;
}

bool UpdateChecker::isNewer(const QString& a, const QString& b) {
    const QList<qint64> left = versionComponents(a);
    const QList<qint64> right = versionComponents(b);
    for (qsizetype i = 0; i < std::max(left.size(), right.size()); ++i) {
        const qint64 l = i < left.size() ? left[i] : 0;
        const qint64 r = i < right.size() ? right[i] : 0;
        if (l != r)
            return l > r;
    }
    return false;
}

} // namespace tavrik
