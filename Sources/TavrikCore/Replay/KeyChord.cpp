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

std::optional<QString> name(quint16 code, quint64 modifierFlags) {
    static const QList<QPair<quint16, const char*>> named{{KeyCodes::returnKey, "Return"},
                                                          {KeyCodes::tab, "Tab"},
                                                          {KeyCodes::space, "Space"},
                                                          {KeyCodes::escape, "Escape"},
                                                          {KeyCodes::deleteKey, "Backspace"},
                                                          {KeyCodes::forwardDelete, "Delete"},
                                                          {KeyCodes::home, "Home"},
                                                          {KeyCodes::end, "End"},
                                                          {KeyCodes::pageUp, "PageUp"},
                                                          {KeyCodes::pageDown, "PageDown"},
                                                          {KeyCodes::leftArrow, "Left"},
                                                          {KeyCodes::rightArrow, "Right"},
                                                          {KeyCodes::upArrow, "Up"},
                                                          {KeyCodes::downArrow, "Down"},
                                                          {KeyCodes::f1, "F1"},
                                                          {KeyCodes::f2, "F2"},
                                                          {KeyCodes::f3, "F3"},
                                                          {KeyCodes::f4, "F4"},
                                                          {KeyCodes::f5, "F5"},
                                                          {KeyCodes::f6, "F6"},
                                                          {KeyCodes::f7, "F7"},
                                                          {KeyCodes::f8, "F8"},
                                                          {KeyCodes::f9, "F9"},
                                                          {KeyCodes::f10, "F10"},
                                                          {KeyCodes::f11, "F11"},
                                                          {KeyCodes::f12, "F12"}};
    QString key;
    for (const auto& [known, text] : named)
        if (known == code)
            key = QLatin1String(text);
    // Digits and letters first: a shifted sign shares its key with them.
    for (const char32_t c : U"0123456789abcdefghijklmnopqrstuvwxyz-=[];',./\\`") {
        if (!key.isEmpty() || c == 0)
            break;
        if (KeyCodes::forCharacter(c) == code)
            key = QChar(c).toUpper();
    }
    if (key.isEmpty())
        return std::nullopt;
    static const QList<QPair<quint64, const char*>> modifiers{{ModifierFlags::control, "Ctrl+"},
                                                              {ModifierFlags::alt, "Alt+"},
                                                              {ModifierFlags::shift, "Shift+"},
                                                              {ModifierFlags::super, "Super+"}};
    QString chord;
    for (const auto& [flag, text] : modifiers)
        if (modifierFlags & flag)
            chord += QLatin1String(text);
    return chord + key;
}

} // namespace tavrik::KeyChord
