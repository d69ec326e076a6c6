#include "TavrikCore/Models/CastMethod.h"

namespace tavrik {

QString toString(CastMethod method) {
    switch (method) {
    case CastMethod::replay:
        return QStringLiteral("replay");
    case CastMethod::runtime:
        return QStringLiteral("runtime");
    case CastMethod::agent:
        return QStringLiteral("agent");
    }
    return {};
}

std::optional<CastMethod> castMethodFromString(QStringView text) {
    for (CastMethod method : {CastMethod::replay, CastMethod::runtime, CastMethod::agent})
        if (text.trimmed().compare(toString(method), Qt::CaseInsensitive) == 0)
            return method;
    return std::nullopt;
}

} // namespace tavrik
