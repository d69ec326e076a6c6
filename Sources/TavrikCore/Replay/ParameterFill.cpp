#include "TavrikCore/Replay/ParameterFill.h"

#include <algorithm>

namespace tavrik::ParameterFill {

QString fill(const QString& recorded, const QList<Parameter>& parameters,
             const QMap<QString, QString>& values) {
    struct Replacement {
        QString from;
        QString to;
    };
    QList<Replacement> replacements;
    for (const Parameter& parameter : parameters) {
        const auto value = values.constFind(parameter.name);
        if (value == values.cend())
            continue;
        replacements.append({QStringLiteral("{{") + parameter.name + QStringLiteral("}}"), *value});
        if (!parameter.exampleValue.isEmpty() && parameter.exampleValue != *value)
            replacements.append({parameter.exampleValue, *value});
    }
    // Longest first, so an example that contains another ("New York" and "York") wins.
    std::stable_sort(
        replacements.begin(), replacements.end(),
        [](const Replacement& a, const Replacement& b) { return a.from.size() > b.from.size(); });
    // One pass over the text: a value put in is never searched again.
    QString result;
    qsizetype i = 0;
    while (i < recorded.size()) {
        const auto hit =
            std::find_if(replacements.cbegin(), replacements.cend(), [&](const Replacement& r) {
                return QStringView(recorded).sliced(i).startsWith(r.from);
            });
        if (hit == replacements.cend()) {
            result += recorded[i++];
        } else {
            result += hit->to;
            i += hit->from.size();
        }
    }
    return result;
}

} // namespace tavrik::ParameterFill
