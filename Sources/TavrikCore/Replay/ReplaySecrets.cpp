#include "TavrikCore/Replay/ReplaySecrets.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace tavrik::ReplaySecrets {

QByteArray encode(const QMap<qsizetype, QString>& secrets) {
    QJsonObject object;
    for (auto it = secrets.cbegin(); it != secrets.cend(); ++it)
        object.insert(QString::number(it.key()), it.value());
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

std::optional<QMap<qsizetype, QString>> decode(const QByteArray& line) {
    const QJsonDocument document = QJsonDocument::fromJson(line.trimmed());
    if (!document.isObject())
        return std::nullopt;
    QMap<qsizetype, QString> secrets;
    const QJsonObject object = document.object();
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        bool ok = false;
        const qsizetype step = it.key().toLongLong(&ok);
        if (!ok || step < 0 || !it.value().isString())
            return std::nullopt;
        secrets.insert(step, it.value().toString());
    }
    return secrets;
}

} // namespace tavrik::ReplaySecrets
