#include "TavrikPlatform/Wayland/WtypeInput.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"

#include <QProcess>

namespace tavrik::wayland {

namespace {

constexpr int kWtypeTimeoutMs = 5000;
// Absorbs the event a new virtual keyboard loses.
const QStringList kPrime{QStringLiteral("-k"), QStringLiteral("Shift_L")};

QString punctuationName(char c) {
    switch (c) {
    case '-':
        return QStringLiteral("minus");
    case '=':
        return QStringLiteral("equal");
    case '[':
        return QStringLiteral("bracketleft");
    case ']':
        return QStringLiteral("bracketright");
    case '\'':
        return QStringLiteral("apostrophe");
    case ';':
        return QStringLiteral("semicolon");
    case '\\':
        return QStringLiteral("backslash");
    case ',':
        return QStringLiteral("comma");
    case '/':
        return QStringLiteral("slash");
    case '.':
        return QStringLiteral("period");
    case '`':
        return QStringLiteral("grave");
    }
    return {};
}

} // namespace

WtypeInput::WtypeInput(QString wtype) : m_wtype(std::move(wtype)) {}

QString WtypeInput::keysymName(quint16 code) {
    using namespace KeyCodes;
    switch (code) {
    case returnKey:
        return QStringLiteral("Return");
    case keypadEnter:
        return QStringLiteral("KP_Enter");
    case tab:
        return QStringLiteral("Tab");
    case space:
        return QStringLiteral("space");
    case deleteKey:
        return QStringLiteral("BackSpace");
    case forwardDelete:
        return QStringLiteral("Delete");
    case escape:
        return QStringLiteral("Escape");
    case home:
        return QStringLiteral("Home");
    case end:
        return QStringLiteral("End");
    case pageUp:
        return QStringLiteral("Prior");
    case pageDown:
        return QStringLiteral("Next");
    case leftArrow:
        return QStringLiteral("Left");
    case rightArrow:
        return QStringLiteral("Right");
    case upArrow:
        return QStringLiteral("Up");
    case downArrow:
        return QStringLiteral("Down");
    }
    static constexpr quint16 functionKeys[12] = {f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12};
    for (int i = 0; i < 12; ++i) {
        if (code == functionKeys[i])
            return QStringLiteral("F%1").arg(i + 1);
    }
    for (char c = '!'; c <= '~'; ++c) {
        if ((c >= 'A' && c <= 'Z') || forCharacter(char32_t(c)) != code)
            continue;
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
            return QString(QChar(c));
        if (QString name = punctuationName(c); !name.isEmpty())
            return name;
    }
    return {};
}

QStringList WtypeInput::keyArguments(quint16 keyCode, quint64 flags) {
    const QString key = keysymName(keyCode);
    if (key.isEmpty())
        return {};
    static const std::pair<quint64, const char*> modifiers[] = {{ModifierFlags::control, "ctrl"},
                                                                {ModifierFlags::shift, "shift"},
                                                                {ModifierFlags::alt, "alt"},
                                                                {ModifierFlags::super, "logo"}};
    QStringList arguments;
    for (const auto& [flag, name] : modifiers) {
        if (flags & flag)
            arguments << QStringLiteral("-M") << QLatin1String(name);
    }
    arguments << QStringLiteral("-k") << key;
    for (auto it = std::rbegin(modifiers); it != std::rend(modifiers); ++it) {
        if (flags & it->first)
            arguments << QStringLiteral("-m") << QLatin1String(it->second);
    }
    return arguments;
}

QStringList WtypeInput::textArguments(const QString& text) {
    if (text.isEmpty())
        return {};
    // wtype would read a leading dash as an option.
    if (text.startsWith(u'-')) {
        QStringList arguments{QStringLiteral("-k"), QStringLiteral("minus")};
        if (text.size() > 1)
            arguments += textArguments(text.mid(1));
        return arguments;
    }
    return {text};
}

bool WtypeInput::pressKey(quint16 keyCode, quint64 modifierFlags) {
    const QStringList arguments = keyArguments(keyCode, modifierFlags);
    return !arguments.isEmpty() && run(arguments);
}

bool WtypeInput::typeText(const QString& text) {
    return text.isEmpty() || run(textArguments(text));
}

bool WtypeInput::run(const QStringList& arguments) {
    if (m_wtype.isEmpty())
        return false;
    QProcess process;
    process.start(m_wtype, kPrime + arguments);
    if (!process.waitForFinished(kWtypeTimeoutMs)) {
        process.kill();
        process.waitForFinished(1000);
        return false;
    }
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace tavrik::wayland
