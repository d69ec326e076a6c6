#pragma once

#include "TavrikCore/Models/DisplayInfo.h"

#include <QFuture>
#include <QImage>
#include <QList>
#include <QString>
#include <optional>

namespace tavrik {

// Takes key frames: one still image of a display, with regions blacked out, written as PNG.
// Captures run one at a time off the calling thread, so input handling never waits for them.
class FrameCapturer {
public:
    virtual ~FrameCapturer() = default;

    // False when the screen cannot be captured; errorString() says why.
    virtual bool isAvailable() const = 0;
    virtual QString errorString() const = 0;

    // The attached displays, frames in global points; empty when they cannot be read.
    virtual QList<DisplayInfo> displays() const = 0;

    // Captures display `displayID` at the given pixel size, blacks out `redact` (image pixels,
    // origin top-left) and writes a PNG to `path`, replacing any file. The result is the written
    // image's pixel size, or absent when anything failed (then no file is left behind).
    virtual QFuture<std::optional<Size>> captureAndSave(quint32 displayID, int pixelWidth,
                                                        int pixelHeight, QList<Rect> redact,
                                                        QString path) = 0;

    // Fills each rectangle (image pixels, origin top-left, clipped to the image) opaque black.
    static void redact(QImage& image, const QList<Rect>& regions);
    // What captureAndSave does with a captured image: scaled to the pixel size, redacted, written
    // as PNG to `path`. The written size, or absent (and logged, with `whyNone` for a null image)
    // when nothing was written.
    static std::optional<Size> save(QImage image, const QString& whyNone, int pixelWidth,
                                    int pixelHeight, const QList<Rect>& redact,
                                    const QString& path);
};

} // namespace tavrik
