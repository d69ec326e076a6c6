#pragma once

#include "TavrikCore/Support/Result.h"

#include <QHashFunctions>
#include <QJsonObject>
#include <optional>

namespace tavrik {

// A position in global screen points, origin at the main display's top-left, y down.
struct Point {
    double x = 0;
    double y = 0;

    bool operator==(const Point&) const = default;
    QJsonObject toJson() const;
    static Result<Point> fromJson(const QJsonValue& value);
};

inline size_t qHash(const Point& p, size_t seed = 0) {
    return qHashMulti(seed, p.x, p.y);
}

} // namespace tavrik
