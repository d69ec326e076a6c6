#include "Support/PaintedFrames.h"

#include <QImage>
#include <QPromise>

namespace tavrik::test {

QList<DisplayInfo> PaintedFrames::displays() const {
    return {DisplayInfo{7, Rect(0, 0, 1920, 1080), 1.0, true}};
}

QFuture<std::optional<Size>> PaintedFrames::captureAndSave(quint32, int pixelWidth, int pixelHeight,
                                                           QList<Rect> redact, QString path) {
    redacted = redact;
    QImage image(pixelWidth, pixelHeight, QImage::Format_RGB32);
    image.fill(Qt::white);
    FrameCapturer::redact(image, redact);
    QPromise<std::optional<Size>> promise;
    promise.start();
    promise.addResult(image.save(path, "PNG")
                          ? std::optional<Size>(Size{double(pixelWidth), double(pixelHeight)})
                          : std::nullopt);
    promise.finish();
    return promise.future();
}

} // namespace tavrik::test
