#include "TavrikCore/Replay/KeyChord.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"

#include <QHash>
#include <QStringList>

namespace tavrik::KeyChord {

// "ctrl+shift+s", "Return", "Escape", "Down", "F5", "a".
std::optional<QPair<quint16, quint64>> parse(const QString& keys) {
    static const QHash<QString, quint16> named{{"return", KeyCodes::returnKey},
                                               {"enter", KeyCodes::returnKey},
                                               {"tab", KeyCodes::tab},
                                               {"space", KeyCodes::space},
                                               {"escape", KeyCodes::escape},
                                               {"esc", KeyCodes::escape},
                                               {"backspace", KeyCodes::deleteKey},
                                               {"delete", KeyCodes::forwardDelete},
                                               {"home", KeyCodes::home},
                                               {"end", KeyCodes::end},
                                               {"pageup", KeyCodes::pageUp},
                                               {"pagedown", KeyCodes::pageDown},
                                               {"left", KeyCodes::leftArrow},
                                               {"right", KeyCodes::rightArrow},
                                               {"up", KeyCodes::upArrow},
                                               {"down", KeyCodes::downArrow},
                                               {"f1", KeyCodes::f1},
                                               {"f2", KeyCodes::f2},
                                               {"f3", KeyCodes::f3},
                                               {"f4", KeyCodes::f4},
                                               {"f5", KeyCodes::f5},
                                               {"f6", KeyCodes::f6},
                                               {"f7", KeyCodes::f7},
                                               {"f8", KeyCodes::f8},
                                               {"f9", KeyCodes::f9},
                                               {"f10", KeyCodes::f10},
                                               {"f11", KeyCodes::f11},
                                               {"f12", KeyCodes::f12}};
    static const QHash<QString, quint64> modifiers{
        {"ctrl", ModifierFlags::control}, {"control", ModifierFlags::control},
        {"shift", ModifierFlags::shift},  {"alt", ModifierFlags::alt},
        {"super", ModifierFlags::super},  {"meta", ModifierFlags::super}};
    const QStringList parts = keys.trimmed().toLower().split(u'+');
    quint64 flags = 0;
    for (qsizetype i = 0; i + 1 < parts.size(); ++i) {
        if (!modifiers.contains(parts[i].trimmed()))
            return std::nullopt;
        flags |= modifiers.value(parts[i].trimmed());
    }
    const QString key = parts.last().trimmed();
    if (named.contains(key))
        return qMakePair(named.value(key), flags);
    if (key.size() == 1)
        if (const std::optional<quint16> code = KeyCodes::forCharacter(key.at(0).unicode()))
            return qMakePair(*code, flags);
    return std::nullopt;
}

} // namespace tavrik::KeyChord
