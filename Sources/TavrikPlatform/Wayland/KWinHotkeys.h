#pragma once

#include "TavrikCore/Hotkeys/HotkeyGrabber.h"

#include <QHash>
#include <QStringList>

namespace tavrik::wayland {

// The palette shortcut and Esc on KWin, taken as global shortcuts of a component of Tavrik's own
// in KWin's shortcut service (org.kde.kglobalaccel). As on GNOME, no other program's keys are
// shown to Tavrik, so a double tap of Control cannot be seen; a key another component holds is
// refused, and everything taken is given back at stop.
class KWinHotkeys final : public HotkeyGrabber {
    Q_OBJECT
public:
    explicit KWinHotkeys(QObject* parent = nullptr);
    ~KWinHotkeys() override;

    static bool isOffered();

    bool start() override;
    void stop() override;
    bool isRunning() const override { return m_running; }
    void setEscapeGrabbed(bool grabbed) override;
    QString errorString() const override { return m_error; }

    // Qt's number for a key with modifiers, as the service stores shortcuts.
    static int qtKey(quint16 keyCode, quint64 flags);

private slots:
    void onPressed(const QString& component, const QString& action, qlonglong timestamp);

private:
    struct Key {
        quint16 code;
        quint64 flags;
    };
    // Whether the service gave the action its key (no other component holds it).
    bool take(const QString& action, Key key);
    void release(const QString& action);
    QStringList actionID(const QString& action) const;

    QString m_component;
    QString m_componentPath;
    QHash<QString, Key> m_actions;
    QStringList m_escapeActions;
    bool m_running = false;
    QString m_error;
};

} // namespace tavrik::wayland
