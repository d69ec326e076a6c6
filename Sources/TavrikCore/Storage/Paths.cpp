#include "TavrikCore/Storage/Paths.h"

#include "TavrikCore/Support/Json.h"

#include <QDir>
#include <QStandardPaths>

namespace tavrik::Paths {

QString support() {
    QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (base.isEmpty())
        base = QDir::homePath() + QStringLiteral("/.local/share");
    return base + u'/' + QLatin1String(appName);
}

QString recordings() {
    return support() + QStringLiteral("/recordings");
}
QString skills() {
    return support() + QStringLiteral("/skills");
}
QString logs() {
    return support() + QStringLiteral("/logs");
}
QString recording(const QUuid& id) {
    return recordings() + u'/' + json::uuidText(id);
}
QString skill(const QUuid& id) {
    return skills() + u'/' + json::uuidText(id);
}

Result<> ensureDirectories() {
    for (const QString& folder : {support(), recordings(), skills(), logs()}) {
        if (!QDir().mkpath(folder))
            return Failure{QStringLiteral("cannot create folder %1").arg(folder)};
    }
    return {};
}

} // namespace tavrik::Paths
