#pragma once

#include "TavrikCore/Models/ParameterType.h"

#include <QJsonObject>
#include <QList>
#include <QUuid>

namespace tavrik {

// A per-run value of a skill, written as {{name}} in its steps.
struct Parameter {
    QUuid id = QUuid::createUuid();
    QString name;
    ParameterType type = ParameterType::text;
    QString prompt;
    QString exampleValue;
    QList<qint64> usedInSteps;

    bool operator==(const Parameter&) const = default;
    QJsonObject toJson() const;
    static std::optional<Parameter> fromJson(const QJsonValue& value, QString* error = nullptr);
};

} // namespace tavrik
