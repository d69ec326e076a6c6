#include "TavrikCore/Models/DisplayInfo.h"

#include "TavrikCore/Support/Json.h"

#include <limits>

namespace tavrik {

QJsonObject DisplayInfo::toJson() const {
    return {{"id", qint64(id)},
            {"frame", frame.toJson()},
            {"scaleFactor", scaleFactor},
            {"isMain", isMain}};
}

Result<DisplayInfo> DisplayInfo::fromJson(const QJsonValue& value) {
    json::ObjectReader r(value);
    DisplayInfo d;
    d.id = quint32(r.integer("id", 0, std::numeric_limits<quint32>::max()));
    d.frame = r.object<Rect>("frame");
    d.scaleFactor = r.number("scaleFactor");
    d.isMain = r.boolean("isMain");
    return json::finish(r, d);
}

} // namespace tavrik
