#pragma once

#include "TavrikCore/Hotkeys/HotkeyGrabber.h"

#include <QObject>
#include <memory>
#include <optional>

namespace tavrik {

// Turns three global gestures into events: a double tap of Control (start or stop recording),
// Control-/ (open the palette) and Esc while a skill is cast (panic).
class HotkeyEngine : public QObject {
    Q_OBJECT
public:
    enum class Event { toggleRecording, openPalette, panic };
    Q_ENUM(Event)

    static constexpr double doubleTapWindow = 0.3;

    // Without a grabber the engine only runs its rules on what it is fed.
    explicit HotkeyEngine(std::unique_ptr<HotkeyGrabber> grabber = nullptr,
                          QObject* parent = nullptr);
    ~HotkeyEngine() override;

    // False when a gesture is unavailable (errorString() says why); the rest keeps working.
    bool start();
    void stop();
    QString errorString() const { return m_error; }

    bool isCasting() const { return m_casting; }
    void setCasting(bool casting);

    // The rules. A key press returns whether it is one of the two presses the engine takes;
    // `time` is in seconds on a monotonic clock.
    bool handleKeyDown(quint16 keyCode, quint64 flags);
    void handleFlagsChanged(quint16 keyCode, quint64 flags, double time);

    // Whether a key press is one that the engine takes from applications.
    static bool swallows(quint16 keyCode, quint64 flags, bool casting);

signals:
    void triggered(tavrik::HotkeyEngine::Event event);

private:
    std::unique_ptr<HotkeyGrabber> m_grabber;
    QString m_error;
    bool m_casting = false;
    // Time of the Control press that may start a double tap; absent after a completed pair.
    std::optional<double> m_lastControlDownTime;
    bool m_controlWasDown = false;
    bool m_sawOtherKeySinceControl = false;
};

} // namespace tavrik
