#pragma once

#include "TavrikCore/Recorder/FrameCapturer.h"

#include <QThreadPool>

namespace tavrik::wayland {

// Key frames on wlroots compositors through grim (the screencopy protocol): grim writes a PNG of
// one output to its standard output; the rectangles to hide are blacked out here, as for every
// frame source, before anything is written.
class GrimFrameCapturer final : public FrameCapturer {
public:
    // `grim` is the program's path; `displays` the outputs, from the compositor.
    GrimFrameCapturer(QString grim, QList<DisplayInfo> displays);
    ~GrimFrameCapturer() override;

    bool isAvailable() const override { return !m_grim.isEmpty() && !m_displays.isEmpty(); }
    QString errorString() const override;
    QList<DisplayInfo> displays() const override { return m_displays; }
    QFuture<std::optional<Size>> captureAndSave(quint32 displayID, int pixelWidth, int pixelHeight,
                                                QList<Rect> redact, QString path) override;

    // One capture, on the calling thread; the error says why when absent.
    static std::optional<Size> capture(const QString& grim, const Rect& region, int pixelWidth,
                                       int pixelHeight, const QList<Rect>& redact,
                                       const QString& path, QString* error);

private:
    QString m_grim;
    QList<DisplayInfo> m_displays;
    QThreadPool m_worker;
};

} // namespace tavrik::wayland
