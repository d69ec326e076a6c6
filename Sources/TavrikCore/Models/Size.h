#pragma once

#include "TavrikCore/Support/Result.h"

#include <QHashFunctions>
#include <QJsonObject>
#include <optional>

namespace tavrik {

struct Size {
    double width = 0;
    double height = 0;

    bool operator==(const Size&) const = default;
    QJsonObject toJson() const;
    static Result<Size> fromJson(const QJsonValue& value);
};

inline size_t qHash(const Size& s, size_t seed = 0) {
    return qHashMulti(seed, s.width, s.height);
}

} // namespace tavrik
