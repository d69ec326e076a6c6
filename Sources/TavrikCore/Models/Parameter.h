#pragma once

#include "TavrikCore/Models/ParameterType.h"
#include "TavrikCore/Support/Result.h"

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
    static Result<Parameter> fromJson(const QJsonValue& value);
};

} // namespace tavrik
