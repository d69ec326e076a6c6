#include "TavrikCore/Recorder/FrameCapturer.h"

#include <QPainter>
#include <QSaveFile>
#include <cmath>

namespace tavrik {

void FrameCapturer::redact(QImage& image, const QList<Rect>& regions) {
    if (regions.isEmpty() || image.isNull())
        return;
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    const QRect bounds = image.rect();
    for (const Rect& r : regions) {
        // Round outwards: a partly covered pixel is blacked out too.
        const int left = int(std::floor(r.origin.x));
        const int top = int(std::floor(r.origin.y));
        const int right = int(std::ceil(r.origin.x + r.size.width));
        const int bottom = int(std::ceil(r.origin.y + r.size.height));
        const QRect area = QRect(left, top, right - left, bottom - top).intersected(bounds);
        if (!area.isEmpty())
            painter.fillRect(area, QColor(0, 0, 0, 255));
    }
}

std::optional<Size> FrameCapturer::save(QImage image, const QString& whyNone, int pixelWidth,
                                        int pixelHeight, const QList<Rect>& redact,
                                        const QString& path) {
    if (image.isNull()) {
        qWarning("Tavrik: key frame not captured: %s", qPrintable(whyNone));
        return std::nullopt;
    }
    if (image.width() != pixelWidth || image.height() != pixelHeight)
        image =
            image.scaled(pixelWidth, pixelHeight, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    FrameCapturer::redact(image, redact);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !image.save(&file, "PNG") || !file.commit()) {
        qWarning("Tavrik: key frame not written to %s", qPrintable(path));
        return std::nullopt;
    }
    return Size{double(image.width()), double(image.height())};
}

} // namespace tavrik
