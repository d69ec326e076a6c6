#pragma once

#include "TavrikCore/Recorder/InputMonitor.h"
#include "TavrikPlatform/AtSpi/AtSpiKeyChannel.h"

#include <QList>

namespace tavrik::atspi {

// Keys through the accessibility bus's keystroke listener: on Wayland, where nothing else lets a
// program watch input, the toolkits forward the keys of the focused accessible application.
// Keys typed into other programs, and the pointer, are not seen. The registry's calls are answered
// at once on a thread of their own (AtSpiKeyChannel); the keys arrive through the event loop of
// the thread the listener lives on.
class AtSpiKeyListener final : public InputMonitor {
    Q_OBJECT
public:
    using InputMonitor::InputMonitor;
    ~AtSpiKeyListener() override;

    bool start() override;
    void stop() override;
    // Hands over the keys the registry sent before this call.
    void deliverPending() override;
    bool isRunning() const override { return m_running; }
    QString errorString() const override { return m_error; }

    // Canonical modifier flags of an X modifier state as AT-SPI reports it.
    static quint64 flagsForModifiers(quint32 modifiers);

private:
    void handle(const AtSpiKeyChannel::Key& key, std::optional<TimePoint> time);

    bool m_running = false;
    quint64 m_flags = 0;
    QString m_error;
};

} // namespace tavrik::atspi
