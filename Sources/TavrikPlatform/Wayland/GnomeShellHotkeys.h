#pragma once

#include "TavrikCore/Hotkeys/HotkeyGrabber.h"

#include <QHash>

namespace tavrik::wayland {

// The palette shortcut and Esc on GNOME's Wayland session, taken through Tavrik's shell
// extension. GNOME shows no other program the keys, so a double tap of Control is seen only
// from the keyboards themselves (EvdevHotkeys); otherwise recordings start from the D-Bus verb
// (`tavrik record`) bound in the desktop's settings.
class GnomeShellHotkeys final : public HotkeyGrabber {
    Q_OBJECT
public:
    explicit GnomeShellHotkeys(QObject* parent = nullptr);
    ~GnomeShellHotkeys() override;

    bool start() override;
    void stop() override;
    bool isRunning() const override { return m_running; }
    void setEscapeGrabbed(bool grabbed) override;
    QString errorString() const override { return m_error; }

private slots:
    void onActivated(uint action);

private:
    struct Key {
        quint16 code;
        quint64 flags;
    };
    // The extension's action number, 0 when the shell refused (another program holds it).
    uint grab(const QString& accelerator, Key key);
    void release(uint action);

    QHash<uint, Key> m_actions;
    QList<uint> m_escapeActions;
    bool m_running = false;
    QString m_error;
};

} // namespace tavrik::wayland
