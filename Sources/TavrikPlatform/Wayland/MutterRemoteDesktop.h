#pragma once

#include "TavrikCore/Replay/SyntheticInput.h"

#include <QString>
#include <memory>

namespace tavrik::wayland {

class MutterScreenCast;

// Keys and the pointer on GNOME through mutter's remote-desktop interface, which asks the user
// nothing (the portal's remote desktop asks every time). Absolute pointer motion is given in the
// coordinates of a screen stream, so the session records the primary monitor beside it. The
// session starts at the first input and lasts as long as the object; GNOME shows that a remote
// session is active meanwhile.
class MutterRemoteDesktop final : public SyntheticInput {
public:
    MutterRemoteDesktop();
    ~MutterRemoteDesktop() override;

    // mutter's remote-desktop interface is on the session bus.
    bool isAvailable() const override;
    bool pressKey(quint16 keyCode, quint64 modifierFlags) override;
    bool typeText(const QString& text) override;
    bool click(Point at, Button button, int count) override;
    bool drag(Point from, Point to) override;
    bool scroll(Point at, int dx, int dy) override;

    // The X keysym of a canonical key code; 0 when it has none.
    static quint32 keysym(quint16 keyCode);
    // The keysym that types a character: Latin-1 as itself, the rest of Unicode by code point.
    static quint32 keysymForCharacter(char32_t character);
    // The evdev button code.
    static int buttonCode(Button button);

private:
    bool ensureStarted();
    bool key(quint32 keysym, bool pressed);
    bool button(Button button, bool pressed);
    bool moveTo(Point at);
    bool session(const QString& method, const QList<QVariant>& arguments);

    QString m_session;
    std::unique_ptr<MutterScreenCast> m_screen;
    Point m_origin; // the recorded monitor's corner in global points
    bool m_started = false;
    bool m_streaming = false;
    bool m_failed = false;
};

} // namespace tavrik::wayland
