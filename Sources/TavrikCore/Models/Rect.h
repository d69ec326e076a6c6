#pragma once

#include "TavrikCore/Models/Point.h"
#include "TavrikCore/Models/Size.h"
#include "TavrikCore/Support/Result.h"

namespace tavrik {

struct Rect {
    Point origin;
    Size size;

    Rect() = default;
    Rect(Point origin, Size size) : origin(origin), size(size) {}
    Rect(double x, double y, double width, double height) : origin{x, y}, size{width, height} {}

    bool operator==(const Rect&) const = default;
    QJsonObject toJson() const;
    static Result<Rect> fromJson(const QJsonValue& value);
};

inline size_t qHash(const Rect& r, size_t seed = 0) {
    return qHashMulti(seed, r.origin, r.size);
}

} // namespace tavrik
