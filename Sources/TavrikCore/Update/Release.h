#pragma once

#include "TavrikCore/Support/Result.h"

#include <QJsonValue>
#include <QString>
#include <optional>

namespace tavrik {

// One entry of the release feed, newest first. `file` is resolved against the web host root.
struct Release {
    QString version;
    QString file;

    bool operator==(const Release&) const = default;
    static Result<Release> fromJson(const QJsonValue& value);
    // The whole feed: a JSON array of releases. Any entry that cannot be read fails it.
    static Result<QList<Release>> feedFromJson(const QByteArray& body);
};

} // namespace tavrik
