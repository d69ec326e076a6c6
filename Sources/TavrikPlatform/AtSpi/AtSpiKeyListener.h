#pragma once

#include "TavrikCore/Recorder/InputMonitor.h"

#include <QList>

typedef struct _AtspiDeviceEvent AtspiDeviceEvent; // NOLINT(bugprone-reserved-identifier)

namespace tavrik::atspi {

// Keys through the accessibility bus's keystroke listener: on Wayland, where nothing else lets a
// program watch input, the toolkits forward the keys of the focused accessible application.
// Keys typed into other programs, and the pointer, are not seen. Events arrive through GLib's
// default main context, which Qt's event loop runs on Linux.
class AtSpiKeyListener final : public InputMonitor {
    Q_OBJECT
public:
    using InputMonitor::InputMonitor;
    ~AtSpiKeyListener() override;

    bool start() override;
    void stop() override;
    bool isRunning() const override { return m_running; }
    QString errorString() const override { return m_error; }

    // Canonical modifier flags of an X modifier state as AT-SPI reports it.
    static quint64 flagsForModifiers(quint32 modifiers);

private:
    static int onKey(AtspiDeviceEvent* event, void* self);
    void handle(const AtspiDeviceEvent& event);

    bool m_running = false;
    quint64 m_flags = 0;
    QString m_error;
};

} // namespace tavrik::atspi
