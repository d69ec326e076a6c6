#pragma once

#include <QJsonValue>
#include <QString>
#include <array>
#include <optional>

namespace tavrik {

// The recorder only produces the first six; the rest exist for plans written by the model.
enum class ActionType {
    click,
    rightClick,
    doubleClick,
    drag,
    keystroke,
    scroll,
    appSwitch,
    windowFocus,
    wait
};

inline constexpr std::array kAllActionTypes{
    ActionType::click,     ActionType::rightClick,  ActionType::doubleClick,
    ActionType::drag,      ActionType::keystroke,   ActionType::scroll,
    ActionType::appSwitch, ActionType::windowFocus, ActionType::wait};

QString toString(ActionType type);
std::optional<ActionType> actionTypeFromString(QStringView text);

} // namespace tavrik
