#pragma once

#include "TavrikCore/Hotkeys/HotkeyGrabber.h"
#include "TavrikCore/Hotkeys/ModifierTracker.h"

#include <QList>
#include <memory>

class QSocketNotifier;

namespace tavrik::x11 {

class KeyMap;
class RecordStream;
class XConnection;

// Global hotkeys on X11. Passive key grabs on the root window keep the palette shortcut and,
// while casting, Esc away from applications; the RECORD stream reports every key so that the
// engine can see a double tap of Control (a grab of Control would break every shortcut).
class X11HotkeyGrabber : public HotkeyGrabber {
    Q_OBJECT
public:
    explicit X11HotkeyGrabber(QObject* parent = nullptr);
    ~X11HotkeyGrabber() override;

    bool start() override;
    void stop() override;
    bool isRunning() const override;
    void setEscapeGrabbed(bool grabbed) override;
    QString errorString() const override { return m_error; }
    // X11 shows every modifier change.
    bool reportsControlTaps() const override { return isRunning(); }

private:
    void onRecorded(int type, unsigned keycode, unsigned state, quint32 time);
    void readGrabEvents();
    bool escapeWasTaken(quint32 time);
    bool grabPalette();
    void ungrabPalette();
    bool grabEscape();
    void ungrabEscape();
    QList<unsigned> escapeModifiers() const;

    std::unique_ptr<XConnection> m_connection; // holds the grabs
    std::unique_ptr<KeyMap> m_keyMap;
    std::unique_ptr<RecordStream> m_record;
    QSocketNotifier* m_notifier = nullptr;
    ModifierTracker m_modifiers;
    unsigned m_slashKeycode = 0;
    unsigned m_escapeKeycode = 0;
    bool m_paletteGrabbed = false;
    bool m_escapeWanted = false;
    bool m_escapeGrabbed = false;
    QList<unsigned> m_escapeGrabs; // the modifier sets actually held
    QList<quint32> m_takenEscapes; // server times of the Esc presses the grab kept
    QString m_error;
};

} // namespace tavrik::x11
