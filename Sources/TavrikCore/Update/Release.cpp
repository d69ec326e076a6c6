#include "TavrikCore/Update/Release.h"

#include "TavrikCore/Support/Json.h"

#include <QJsonDocument>

namespace tavrik {

std::optional<Release> Release::fromJson(const QJsonValue& value, QString* error) {
    json::ObjectReader reader(value);
    Release release;
    release.version = reader.string(QStringLiteral("version"));
    release.file = reader.string(QStringLiteral("file"));
    return json::finish(reader, std::move(release), error);
}

std::optional<QList<Release>> Release::feedFromJson(const QByteArray& body, QString* error) {
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isArray()) {
        if (error)
            *error = parseError.error != QJsonParseError::NoError
                         ? parseError.errorString()
                         : QStringLiteral("expected an array");
        return std::nullopt;
    }
    QList<Release> releases;
    const QJsonArray array = document.array();
    for (qsizetype i = 0; i < array.size(); ++i) {
        QString entryError;
        std::optional<Release> release = fromJson(array.at(i), &entryError);
        if (!release) {
            if (error)
                *error = QStringLiteral("[%1].%2").arg(i).arg(entryError);
            return std::nullopt;
        }
        releases.append(std::move(*release));
    }
    return releases;
}

} // namespace tavrik
