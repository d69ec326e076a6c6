#pragma once

#include "TavrikCore/Recorder/FrameCapturer.h"
#include "TavrikPlatform/Wayland/ScreenCastSource.h"

#include <QThreadPool>
#include <memory>

namespace tavrik::wayland {

class PipeWireFrameReader;

// Key frames from a screen stream the desktop grants (GNOME: the ScreenCast portal, or mutter's
// own interface). The stream is asked for at construction and read for as long as the capturer
// lives; a capture saves the newest frame with the rectangles to hide blacked out, as for every
// frame source. Until the stream has started (the user may still be answering the dialog) there
// are no displays, so recordings begun then have no frames.
class ScreenCastFrameCapturer final : public FrameCapturer {
public:
    // `gstLaunch` is the path of gst-launch-1.0.
    ScreenCastFrameCapturer(std::unique_ptr<ScreenCastSource> source, QString gstLaunch);
    ~ScreenCastFrameCapturer() override;

    bool isAvailable() const override;
    QString errorString() const override;
    QList<DisplayInfo> displays() const override;
    QFuture<std::optional<Size>> captureAndSave(quint32 displayID, int pixelWidth, int pixelHeight,
                                                QList<Rect> redact, QString path) override;

    // The stream has started, and frames can be taken.
    bool isStreaming() const { return m_stream.has_value(); }
    ScreenCastSource* source() const { return m_source.get(); }

    static constexpr quint32 displayID = 1;

private:
    std::unique_ptr<ScreenCastSource> m_source;
    QString m_gstLaunch;
    std::unique_ptr<PipeWireFrameReader> m_reader;
    std::optional<ScreenCastSource::Stream> m_stream;
    QString m_error;
    QThreadPool m_worker;
};

} // namespace tavrik::wayland
