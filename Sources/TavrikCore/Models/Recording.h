#pragma once

#include "TavrikCore/Models/ActionEvent.h"
#include "TavrikCore/Models/AppContextSnapshot.h"
#include "TavrikCore/Models/DisplayInfo.h"
#include "TavrikCore/Models/FrameRef.h"
#include "TavrikCore/Support/Result.h"

#include <QDateTime>

namespace tavrik {

// One demonstration, as stored in recordings/<ID>/recording.json.
struct Recording {
    QUuid id = QUuid::createUuid();
    QDateTime startedAt;
    std::optional<QDateTime> endedAt;
    QList<DisplayInfo> displays;
    QList<ActionEvent> events;
    QList<FrameRef> frames;
    QList<AppContextSnapshot> appContexts;

    // Seconds from start to end; 0 while the end is unknown.
    double duration() const;

    bool operator==(const Recording&) const = default;
    QJsonObject toJson() const;
    static Result<Recording> fromJson(const QJsonValue& value);
};

} // namespace tavrik
