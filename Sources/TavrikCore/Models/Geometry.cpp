#include "TavrikCore/Models/Rect.h"
#include "TavrikCore/Support/Json.h"

namespace tavrik {

QJsonObject Point::toJson() const {
    return {{"x", x}, {"y", y}};
}

std::optional<Point> Point::fromJson(const QJsonValue& value, QString* error) {
    json::ObjectReader r(value);
    Point p{r.number("x"), r.number("y")};
    return json::finish(r, p, error);
}

QJsonObject Size::toJson() const {
    return {{"width", width}, {"height", height}};
}

std::optional<Size> Size::fromJson(const QJsonValue& value, QString* error) {
    json::ObjectReader r(value);
    Size s{r.number("width"), r.number("height")};
    return json::finish(r, s, error);
}

QJsonObject Rect::toJson() const {
    return {{"origin", origin.toJson()}, {"size", size.toJson()}};
}

std::optional<Rect> Rect::fromJson(const QJsonValue& value, QString* error) {
    json::ObjectReader r(value);
    Rect rect{r.object<Point>("origin"), r.object<Size>("size")};
    return json::finish(r, rect, error);
}

} // namespace tavrik
