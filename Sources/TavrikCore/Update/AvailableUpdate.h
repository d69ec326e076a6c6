#pragma once

#include <QString>
#include <QUrl>

namespace tavrik {

// A release the user may download: newer than the running version and not dismissed.
struct AvailableUpdate {
    QString version;
    QUrl downloadURL;

    bool operator==(const AvailableUpdate&) const = default;
};

} // namespace tavrik
