#pragma once

#include "TavrikCore/Hotkeys/ModifierTracker.h"
#include "TavrikCore/Recorder/ClickCounter.h"
#include "TavrikCore/Recorder/EventClock.h"
#include "TavrikCore/Recorder/InputMonitor.h"

#include <memory>

namespace tavrik::x11 {

class KeyMap;
class RecordStream;

// Global input on X11 from the RECORD extension on private connections: it only listens, so
// applications receive every event unchanged.
class X11InputMonitor : public InputMonitor {
    Q_OBJECT
public:
    explicit X11InputMonitor(QObject* parent = nullptr);
    ~X11InputMonitor() override;

    bool start() override;
    void stop() override;
    void deliverPending() override;
    bool pressWaiting() const override;
    bool isRunning() const override;
    QString errorString() const override { return m_error; }

private:
    void onRecorded(int type, unsigned detail, unsigned state, int rootX, int rootY, quint32 time);

    std::unique_ptr<RecordStream> m_record;
    std::unique_ptr<KeyMap> m_keyMap;
    ModifierTracker m_modifiers;
    ClickCounter m_clicks;
    EventClock m_times{true}; // the server's milliseconds
    double m_pointsPerPixel = 1.0;
    bool m_leftDown = false;
    QString m_error;
};

} // namespace tavrik::x11
