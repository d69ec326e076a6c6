#pragma once

#include "TavrikCore/Hotkeys/HotkeyGrabber.h"
#include "TavrikPlatform/Evdev/EvdevDevices.h"
#include "TavrikPlatform/Evdev/EvdevKeys.h"

#include <memory>

namespace tavrik::evdev {

// Where a desktop lets Tavrik take its shortcuts but shows it no keys (GNOME, KDE), the
// keyboards a user of the input group may read add what the hotkeys still need: Control taps,
// so that a double tap records. The shortcuts themselves stay with the desktop's grabber. Where
// that grabber hears Control's taps itself (sway's bindings), the keyboards are left alone, or
// every tap would count twice; where the desktop takes no shortcuts at all (weston), the
// keyboards are all there is.
class EvdevHotkeys final : public HotkeyGrabber {
    Q_OBJECT
public:
    // `shortcuts` may be null: a desktop that lets no program take a shortcut.
    explicit EvdevHotkeys(std::unique_ptr<HotkeyGrabber> shortcuts,
                          QString folder = QStringLiteral("/dev/input"), QObject* parent = nullptr);

    // The shortcuts' result: keyboards that cannot be read are said in the log, not an error.
    bool start() override;
    void stop() override;
    bool isRunning() const override;
    void setEscapeGrabbed(bool grabbed) override;
    QString errorString() const override;
    bool reportsControlTaps() const override;

private:
    std::unique_ptr<HotkeyGrabber> m_shortcuts;
    EvdevDevices m_keyboards;
    EvdevKeys m_keys;
    bool m_readingKeyboards = false;
};

} // namespace tavrik::evdev
