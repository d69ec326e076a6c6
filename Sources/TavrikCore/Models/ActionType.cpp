#include "TavrikCore/Models/ActionType.h"

namespace tavrik {

QString toString(ActionType type) {
    switch (type) {
    case ActionType::click:
        return QStringLiteral("click");
    case ActionType::rightClick:
        return QStringLiteral("rightClick");
    case ActionType::doubleClick:
        return QStringLiteral("doubleClick");
    case ActionType::drag:
        return QStringLiteral("drag");
    case ActionType::keystroke:
        return QStringLiteral("keystroke");
    case ActionType::scroll:
        return QStringLiteral("scroll");
    case ActionType::appSwitch:
        return QStringLiteral("appSwitch");
    case ActionType::windowFocus:
        return QStringLiteral("windowFocus");
    case ActionType::wait:
        return QStringLiteral("wait");
    }
    return {};
}

std::optional<ActionType> actionTypeFromString(QStringView text) {
    for (ActionType type : kAllActionTypes)
        if (toString(type) == text)
            return type;
    return std::nullopt;
}

} // namespace tavrik
