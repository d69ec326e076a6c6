#pragma once

#include "TavrikCore/Models/Parameter.h"

#include <QList>
#include <QMap>
#include <QString>

// What a recorded text becomes for one run: a `{{name}}` placeholder, and every place where a
// parameter's example value (what was typed in the demonstration) appears, take the run's value.
namespace tavrik::ParameterFill {

QString fill(const QString& recorded, const QList<Parameter>& parameters,
             const QMap<QString, QString>& values);

} // namespace tavrik::ParameterFill
