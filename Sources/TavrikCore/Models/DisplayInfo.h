#pragma once

#include "TavrikCore/Models/Rect.h"
#include "TavrikCore/Support/Result.h"

namespace tavrik {

// One attached display; `frame` in global points.
struct DisplayInfo {
    quint32 id = 0;
    Rect frame;
    double scaleFactor = 1.0;
    bool isMain = false;

    bool operator==(const DisplayInfo&) const = default;
    QJsonObject toJson() const;
    static Result<DisplayInfo> fromJson(const QJsonValue& value);
};

inline size_t qHash(const DisplayInfo& d, size_t seed = 0) {
    return qHashMulti(seed, d.id, d.frame, d.scaleFactor, d.isMain);
}

} // namespace tavrik
