#pragma once

#include "TavrikCore/Replay/SyntheticInput.h"

#include <QStringList>

namespace tavrik::wayland {

// Keys on wlroots compositors through wtype (a virtual keyboard). Each run of wtype makes a new
// virtual keyboard, and a compositor drops the first event after a keyboard appears, so every
// run starts with a Shift tap that may be lost. wlroots gives clients no pointer to drive:
// clicks, drags and scrolls are refused.
class WtypeInput final : public SyntheticInput {
public:
    explicit WtypeInput(QString wtype);

    bool isAvailable() const override { return !m_wtype.isEmpty(); }
    bool pressKey(quint16 keyCode, quint64 modifierFlags) override;
    bool typeText(const QString& text) override;
    bool click(Point, Button, int) override { return false; }
    bool drag(Point, Point) override { return false; }
    bool scroll(Point, int, int) override { return false; }

    // wtype's arguments for a key with modifiers, after the Shift tap; empty for a key without
    // a name.
    static QStringList keyArguments(quint16 keyCode, quint64 modifierFlags);
    static QStringList textArguments(const QString& text);
    // The XKB name of a canonical key code; empty when it has none.
    static QString keysymName(quint16 keyCode);

private:
    bool run(const QStringList& arguments);
    QString m_wtype;
};

} // namespace tavrik::wayland
