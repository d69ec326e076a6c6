#include "Tavrik/Analytics.h"

#include "TavrikCore/Support/BoundedReply.h"
#include "TavrikCore/Support/Json.h"
#include "TavrikCore/Synthesis/Hosts.h"
#include "TavrikCore/Version.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QJsonDocument>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QSettings>
#include <QUuid>

namespace tavrik::Analytics {

namespace {

constexpr int kTimeoutMs = 60 * 1000;

// A store of its own for each use: QSettings objects are not shared between threads.
std::unique_ptr<QSettings> openSettings() {
    return std::make_unique<QSettings>(QStringLiteral("Tavrik"), QStringLiteral("Tavrik"));
}

// One session shared by every event, owned by the application object; made again if a new
// application object replaces the old one.
QNetworkAccessManager* session() {
    static QPointer<QNetworkAccessManager> shared;
    if (!shared)
        shared = new QNetworkAccessManager(QCoreApplication::instance());
    return shared;
}

QUrl captureURL() {
    return Hosts::endpoint(Hosts::analytics(), QStringLiteral("/capture/"));
}

} // namespace

QString distinctID() {
    // Two threads asking at once on a fresh profile must agree on one identifier.
    static QMutex mutex;
    QMutexLocker lock(&mutex);
    const std::unique_ptr<QSettings> store = openSettings();
    const QString stored = store->value(QLatin1String(distinctIDKey)).toString();
    if (!stored.isEmpty())
        return stored;
    const QString created = json::uuidText(QUuid::createUuid());
    store->setValue(QLatin1String(distinctIDKey), created);
    store->sync();
    return created;
}

bool isOptedOut() {
    return openSettings()->value(QLatin1String(optOutKey), false).toBool();
}

bool isAnswered() {
    return openSettings()->contains(QLatin1String(optOutKey));
}

void setOptedOut(bool optedOut) {
    const std::unique_ptr<QSettings> store = openSettings();
    store->setValue(QLatin1String(optOutKey), optedOut);
    store->sync();
}

QJsonObject baseProperties() {
    const QString version = QString::fromUtf8(kVersion);
    return {
        {QStringLiteral("app_version"), version.isEmpty() ? QStringLiteral("?") : version},
        {QStringLiteral("source"), QStringLiteral("linux-app")},
        {QStringLiteral("$os"), QStringLiteral("Linux")},
    };
}

QJsonObject captureBody(const QString& event, const QJsonObject& properties) {
    QJsonObject merged = baseProperties();
    for (auto it = properties.begin(); it != properties.end(); ++it)
        merged.insert(it.key(), it.value());
    return {
        {QStringLiteral("api_key"), QLatin1String(apiKey)},
        {QStringLiteral("event"), event},
        {QStringLiteral("distinct_id"), distinctID()},
        {QStringLiteral("properties"), merged},
        {QStringLiteral("timestamp"), json::dateText(QDateTime::currentDateTimeUtc())},
    };
}

bool capture(const QString& event, const QJsonObject& properties) {
    if (!isAnswered() || isOptedOut())
        return false;
    QCoreApplication* app = QCoreApplication::instance();
    if (!app)
        return false;
    const QByteArray body = json::compact(captureBody(event, properties));
    const QUrl url = captureURL();
    // Networking belongs to the application's thread; from there this runs at once.
    QMetaObject::invokeMethod(app, [body, url] {
        QNetworkRequest request(url);
        request.setHeader(QNetworkRequest::ContentTypeHeader,
                          QByteArrayLiteral("application/json"));
        request.setTransferTimeout(kTimeoutMs);
        // Nothing of the answer is wanted: a limit of 0 ends the exchange at its first byte.
        BoundedReply* reply = BoundedReply::post(session(), request, body, 0, session());
        QObject::connect(reply, &BoundedReply::finished, reply, &QObject::deleteLater);
    });
    return true;
}

} // namespace tavrik::Analytics
