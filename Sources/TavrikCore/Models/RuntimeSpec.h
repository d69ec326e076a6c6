#pragma once

#include "TavrikCore/Support/Result.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <optional>

namespace tavrik {

// How a skill runs without the agent: "open_url" opens its templates, "sequence" runs its steps.
// Other type texts are carried unchanged.
struct RuntimeSpec {
    QString type;
    std::optional<QString> app;
    std::optional<QString> urlTemplate;
    std::optional<QList<QString>> urlTemplates;
    std::optional<QList<RuntimeSpec>> steps;

    // Every URL a direct run opens, in opening order; empties and duplicates are kept.
    QList<QString> allURLTemplates() const;

    bool operator==(const RuntimeSpec&) const = default;
    QJsonObject toJson() const;
    static Result<RuntimeSpec> fromJson(const QJsonValue& value);
};

size_t qHash(const RuntimeSpec& spec, size_t seed = 0);

} // namespace tavrik
