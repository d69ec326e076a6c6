#pragma once

#include "TavrikCore/Recorder/FrameCapturer.h"

namespace tavrik::test {

// Key frames of one white 1920×1080 display: a real PNG, encoded as a capture is, with what was
// asked to be blacked out kept for the test to check.
class PaintedFrames final : public FrameCapturer {
public:
    QList<Rect> redacted;

    bool isAvailable() const override { return true; }
    QString errorString() const override { return {}; }
    QList<DisplayInfo> displays() const override;
    QFuture<std::optional<Size>> captureAndSave(quint32 displayID, int pixelWidth, int pixelHeight,
                                                QList<Rect> redact, QString path) override;
};

} // namespace tavrik::test
