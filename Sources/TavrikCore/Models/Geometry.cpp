#include "TavrikCore/Models/Rect.h"
#include "TavrikCore/Support/Json.h"

namespace tavrik {

QJsonObject Point::toJson() const {
    return {{"x", x}, {"y", y}};
}

Result<Point> Point::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    Point p{r.number("x"), r.number("y")};
    return json::finish(r, p);
}

QJsonObject Size::toJson() const {
    return {{"width", width}, {"height", height}};
}

Result<Size> Size::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    Size s{r.number("width"), r.number("height")};
    return json::finish(r, s);
}

QJsonObject Rect::toJson() const {
    return {{"origin", origin.toJson()}, {"size", size.toJson()}};
}

Result<Rect> Rect::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    Rect rect{r.object<Point>("origin"), r.object<Size>("size")};
    return json::finish(r, rect);
}

} // namespace tavrik
