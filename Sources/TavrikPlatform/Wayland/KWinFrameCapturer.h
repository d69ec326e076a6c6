#pragma once

#include "TavrikCore/Recorder/FrameCapturer.h"

#include <QImage>
#include <QThreadPool>

namespace tavrik::wayland {

// Key frames on KWin through its screenshot interface (org.kde.KWin.ScreenShot2), which KWin
// serves only to a program whose desktop file names that interface in
// X-KDE-DBUS-Restricted-Interfaces and whose Exec is the program's own path: Tavrik's installed
// menu entry does. The whole workspace is one display; the rectangles to hide are blacked out
// here, as for every frame source, before anything is written.
class KWinFrameCapturer final : public FrameCapturer {
public:
    // Takes one frame to learn the workspace's size and whether KWin serves Tavrik at all.
    KWinFrameCapturer();
    ~KWinFrameCapturer() override;

    bool isAvailable() const override { return m_error.isEmpty(); }
    QString errorString() const override { return m_error; }
    QList<DisplayInfo> displays() const override;
    QFuture<std::optional<Size>> captureAndSave(quint32 displayID, int pixelWidth, int pixelHeight,
                                                QList<Rect> redact, QString path) override;

    // The workspace, in logical pixels; null with `error` saying what KWin answered.
    static QImage workspace(QString* error);
    // Whether KWin serves this process its screenshots (one pixel is asked for).
    static bool isGranted();

    static constexpr quint32 displayID = 1;

private:
    Rect m_frame;
    QString m_error;
    QThreadPool m_worker;
};

} // namespace tavrik::wayland
