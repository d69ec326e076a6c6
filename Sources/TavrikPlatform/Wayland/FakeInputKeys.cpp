#include "TavrikPlatform/Wayland/FakeInputKeys.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/Evdev/EvdevDecoder.h"

#include <QHash>
#include <linux/input-event-codes.h>

namespace tavrik::wayland {

namespace {

const QHash<quint16, quint16>& linuxCodes() {
    // The decoder's table read backwards; the first Linux code for a key wins (the main block's
    // keys come before the keypad's).
    static const QHash<quint16, quint16> table = [] {
        QHash<quint16, quint16> codes;
        for (quint16 code = 1; code < 256; ++code) {
            const quint16 key = evdev::EvdevDecoder::keyCodeForLinux(code);
            if (key != KeyCodes::unknown && !codes.contains(key))
                codes.insert(key, code);
        }
        return codes;
    }();
    return table;
}

bool typedWithShift(char32_t c) {
    return (c >= 'A' && c <= 'Z') || QStringView(u"~!@#$%^&*()_+{}|:\"<>?").contains(QChar(c));
}

} // namespace

std::optional<quint16> FakeInputKeys::linuxCode(quint16 keyCode) {
    const auto it = linuxCodes().constFind(keyCode);
    if (it == linuxCodes().constEnd())
        return std::nullopt;
    return *it;
}

std::optional<QList<FakeInputKeys::Event>> FakeInputKeys::forKey(quint16 keyCode,
                                                                 quint64 modifierFlags) {
    const std::optional<quint16> code = linuxCode(keyCode);
    if (!code)
        return std::nullopt;
    QList<quint16> held;
    if (modifierFlags & ModifierFlags::control)
        held << KEY_LEFTCTRL;
    if (modifierFlags & ModifierFlags::shift)
        held << KEY_LEFTSHIFT;
    if (modifierFlags & ModifierFlags::alt)
        held << KEY_LEFTALT;
    if (modifierFlags & ModifierFlags::super)
        held << KEY_LEFTMETA;
    QList<Event> events;
    for (const quint16 modifier : held)
        events << Event{modifier, true};
    events << Event{*code, true} << Event{*code, false};
    for (auto it = held.crbegin(); it != held.crend(); ++it)
        events << Event{*it, false};
    return events;
}

std::optional<QList<FakeInputKeys::Event>> FakeInputKeys::forText(const QString& text) {
    QList<Event> events;
    for (const char32_t c : text.toUcs4()) {
        const std::optional<quint16> key = KeyCodes::forCharacter(c);
        if (!key)
            return std::nullopt;
        const std::optional<QList<Event>> typed =
            forKey(*key, typedWithShift(c) ? ModifierFlags::shift : 0);
        if (!typed)
            return std::nullopt;
        events += *typed;
    }
    return events;
}

} // namespace tavrik::wayland
