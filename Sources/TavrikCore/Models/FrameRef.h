#pragma once

#include "TavrikCore/Models/Rect.h"
#include "TavrikCore/Support/Result.h"

#include <QList>
#include <QUuid>

namespace tavrik {

// One saved key frame; `relativePath` is relative to the recording's folder, sizes in pixels.
struct FrameRef {
    QUuid id = QUuid::createUuid();
    double timeOffset = 0;
    QString relativePath;
    quint32 displayID = 0;
    Size pixelSize;
    QList<Rect> redactedRegions;

    bool operator==(const FrameRef&) const = default;
    QJsonObject toJson() const;
    static Result<FrameRef> fromJson(const QJsonValue& value);
};

} // namespace tavrik
