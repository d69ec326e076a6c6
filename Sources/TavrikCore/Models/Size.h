#pragma once

#include <QHashFunctions>
#include <QJsonObject>
#include <optional>

namespace tavrik {

struct Size {
    double width = 0;
    double height = 0;

    bool operator==(const Size&) const = default;
    QJsonObject toJson() const;
    static std::optional<Size> fromJson(const QJsonValue& value, QString* error = nullptr);
};

inline size_t qHash(const Size& s, size_t seed = 0) {
    return qHashMulti(seed, s.width, s.height);
}

} // namespace tavrik
