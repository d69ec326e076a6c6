#pragma once

#include "TavrikCore/Hotkeys/HotkeyGrabber.h"
#include "TavrikCore/Recorder/FrameCapturer.h"
#include "TavrikCore/Recorder/InputMonitor.h"
#include "TavrikCore/Replay/SyntheticInput.h"

namespace tavrik {

// Stand-ins for a desktop this build cannot watch: they start nothing and say so.
QString desktopUnavailableReason();

class NullInputMonitor : public InputMonitor {
    Q_OBJECT
public:
    using InputMonitor::InputMonitor;
    bool start() override { return false; }
    void stop() override {}
    bool isRunning() const override { return false; }
    QString errorString() const override { return desktopUnavailableReason(); }
};

class NullHotkeyGrabber : public HotkeyGrabber {
    Q_OBJECT
public:
    using HotkeyGrabber::HotkeyGrabber;
    bool start() override { return false; }
    void stop() override {}
    bool isRunning() const override { return false; }
    void setEscapeGrabbed(bool) override {}
    QString errorString() const override { return desktopUnavailableReason(); }
};

class NullFrameCapturer : public FrameCapturer {
public:
    bool isAvailable() const override { return false; }
    QString errorString() const override { return desktopUnavailableReason(); }
    QList<DisplayInfo> displays() const override { return {}; }
    QFuture<std::optional<Size>> captureAndSave(quint32, int, int, QList<Rect>, QString) override;
};

class NullSyntheticInput : public SyntheticInput {
public:
    bool isAvailable() const override { return false; }
    bool pressKey(quint16, quint64) override { return false; }
    bool typeText(const QString&) override { return false; }
    bool click(Point, Button, int) override { return false; }
    bool drag(Point, Point) override { return false; }
    bool scroll(Point, int, int) override { return false; }
};

} // namespace tavrik
