#pragma once

#include <QJsonValue>
#include <QString>
#include <optional>

namespace tavrik {

// One entry of the release feed, newest first. `file` is resolved against the web host root.
struct Release {
    QString version;
    QString file;

    bool operator==(const Release&) const = default;
    static std::optional<Release> fromJson(const QJsonValue& value, QString* error = nullptr);
    // The whole feed: a JSON array of releases. Any entry that cannot be read fails it.
    static std::optional<QList<Release>> feedFromJson(const QByteArray& body,
                                                      QString* error = nullptr);
};

} // namespace tavrik
