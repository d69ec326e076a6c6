#pragma once

#include "TavrikCore/Update/AvailableUpdate.h"

#include <QObject>
#include <optional>

class QNetworkAccessManager;
class QSettings;

namespace tavrik {

// Polls the release feed on the product's web host at most every 12 hours and offers the newest
// release when it is newer than the running version and was not dismissed. Every failure ends a
// check silently and leaves `available` as it was. Lives on the main thread: `available` is only
// written there.
class UpdateChecker : public QObject {
    Q_OBJECT
public:
    static constexpr const char* lastCheckedKey = "tavrik.update.lastChecked";
    static constexpr const char* dismissedVersionKey = "tavrik.update.dismissedVersion";
    static constexpr qint64 checkIntervalSeconds = 12 * 60 * 60;

    // `session` and `defaults` must outlive the checker. The feed is "/releases.json" on the web
    // host, release files are resolved against its root.
    UpdateChecker(QNetworkAccessManager* session, QSettings* defaults, QObject* parent = nullptr);

    const std::optional<AvailableUpdate>& available() const { return m_available; }
    QUrl feedURL() const { return m_feedURL; }
    QUrl downloadBase() const { return m_downloadBase; }

    // The version releases are compared with; the build's own version unless set.
    QString currentVersion() const { return m_currentVersion; }
    void setCurrentVersion(const QString& version) { m_currentVersion = version; }
    static QString buildVersion();

    // Starts a check unless the last one began less than 12 hours ago; true when one started.
    bool checkIfDue();
    // Starts one check now.
    void check();
    // Remembers the offered version as dismissed and withdraws the offer.
    void dismiss();

    // True when version `a` is newer than `b`. A pre-release suffix from the first "-" is
    // ignored; parts that are not decimal numbers count as 0; missing parts count as 0.
    static bool isNewer(const QString& a, const QString& b);
    static QList<qint64> versionComponents(const QString& version);

signals:
    void availableChanged();
    // Emitted when a started check has ended, whatever its outcome.
    void checkFinished();

private:
    void handleFeed(const QByteArray& body);

    QNetworkAccessManager* m_session;
    QSettings* m_defaults;
    QUrl m_feedURL;
    QUrl m_downloadBase;
    QString m_currentVersion;
    std::optional<AvailableUpdate> m_available;
};

} // namespace tavrik
