#pragma once

#include "TavrikCore/Hotkeys/HotkeyGrabber.h"

#include <QByteArray>
#include <QList>
#include <QLocalSocket>
#include <QStringList>

namespace tavrik::wayland {

// Tavrik's shortcuts as sway bindings, made over its IPC socket while running and removed at
// stop: Control-/ runs `tavrik palette`, which reaches the running Tavrik over the session bus
// (or, where sway cannot name the program to the shell, is heard as the other bindings are);
// a Control tap and, while asked, Esc are bound to nothing and heard through sway's binding
// events, so the hotkey engine sees Control's taps (a double tap records) and Esc. sway has no
// binding for a double tap. A combination the user's own configuration binds is left alone, and
// said so.
class SwayHotkeys final : public HotkeyGrabber {
    Q_OBJECT
public:
    // `tavrik` is the program a binding runs.
    SwayHotkeys(QString socketPath, QString tavrik, QObject* parent = nullptr);
    ~SwayHotkeys() override;

    bool start() override;
    void stop() override;
    bool isRunning() const override { return m_running; }
    void setEscapeGrabbed(bool grabbed) override;
    QString errorString() const override { return m_error; }
    // Both Control keys are bound and their binding events heard.
    bool reportsControlTaps() const override;

    struct Binding {
        QString flags; // "--release" or empty
        QString keys;  // sway's combination, "ctrl+slash"
        QString command;
    };
    // The bindings Tavrik makes, running `tavrik` for the palette.
    static QList<Binding> bindings(const QString& tavrik);
    // The bindsym lines of a sway configuration that bind `keys`, whatever the modifiers' order,
    // case or spelling (Ctrl or Control).
    static QStringList conflicts(const QString& config, const QString& keys);
    // A binding event's command when it is one of Tavrik's that it hears, else empty.
    static QString tagOf(const QByteArray& event);

private:
    bool command(const QString& text);
    // Subscribes to binding events and waits until sway has taken the subscription.
    bool subscribe();
    void readEvents();
    void hear(const QString& tag);

    QString m_socketPath;
    QString m_tavrik;
    QLocalSocket m_events;
    QByteArray m_buffer;
    QList<Binding> m_bound;
    bool m_escapeBound = false;
    bool m_subscribed = false;
    bool m_running = false;
    QString m_error;
};

} // namespace tavrik::wayland
