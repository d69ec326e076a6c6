#include "TavrikCore/Update/Release.h"

#include "TavrikCore/Support/Json.h"

#include <QJsonDocument>

namespace tavrik {

Result<Release> Release::fromJson(const QJsonValue& value) {
    json::ObjectReader reader(value);
    Release release;
    release.version = reader.string(QStringLiteral("version"));
    release.file = reader.string(QStringLiteral("file"));
    return json::finish(reader, std::move(release));
}

Result<QList<Release>> Release::feedFromJson(const QByteArray& body) {
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return Failure{parseError.errorString()};
    if (!document.isArray())
        return Failure{QStringLiteral("expected an array")};
    QList<Release> releases;
    const QJsonArray array = document.array();
    for (qsizetype i = 0; i < array.size(); ++i) {
        Result<Release> release = fromJson(array.at(i));
        if (!release.ok())
            return Failure{QStringLiteral("[%1].%2").arg(i).arg(release.error())};
        releases.append(std::move(*release));
    }
    return releases;
}

} // namespace tavrik
