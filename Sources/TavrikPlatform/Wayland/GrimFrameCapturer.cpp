#include "TavrikPlatform/Wayland/GrimFrameCapturer.h"

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QPromise>

namespace tavrik::wayland {

namespace {
constexpr int kGrimTimeoutMs = 5000;
}

GrimFrameCapturer::GrimFrameCapturer(QString grim, QList<DisplayInfo> displays)
    : m_grim(std::move(grim)), m_displays(std::move(displays)) {
    // Captures one at a time, in order.
    m_worker.setMaxThreadCount(1);
}

GrimFrameCapturer::~GrimFrameCapturer() {
    m_worker.waitForDone();
}

QString GrimFrameCapturer::errorString() const {
    if (m_grim.isEmpty())
        return QStringLiteral("Key frames need grim: install the grim package.");
    if (m_displays.isEmpty())
        return QStringLiteral("The compositor lists no outputs to capture.");
    return {};
}

std::optional<Size> GrimFrameCapturer::capture(const QString& grim, const Rect& region,
                                               int pixelWidth, int pixelHeight,
                                               const QList<Rect>& redact, const QString& path,
                                               QString* error) {
    if (pixelWidth <= 0 || pixelHeight <= 0) {
        *error = QStringLiteral("invalid frame size %1x%2").arg(pixelWidth).arg(pixelHeight);
        return std::nullopt;
    }
    QProcess process;
    const QString geometry = QStringLiteral("%1,%2 %3x%4")
                                 .arg(qRound(region.origin.x))
                                 .arg(qRound(region.origin.y))
                                 .arg(qRound(region.size.width))
                                 .arg(qRound(region.size.height));
    // PNG level 0: compressing twice costs more than the pipe.
    process.start(grim,
                  {QStringLiteral("-g"), geometry, QStringLiteral("-t"), QStringLiteral("png"),
                   QStringLiteral("-l"), QStringLiteral("0"), QStringLiteral("-")});
    if (!process.waitForFinished(kGrimTimeoutMs) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        process.kill();
        process.waitForFinished(1000);
        *error = QStringLiteral("grim failed: %1")
                     .arg(QString::fromUtf8(process.readAllStandardError()).trimmed());
        return std::nullopt;
    }
    QImage image = QImage::fromData(process.readAllStandardOutput(), "PNG");
    if (image.isNull()) {
        *error = QStringLiteral("grim wrote no image");
        return std::nullopt;
    }
    const std::optional<Size> written =
        FrameCapturer::save(image.convertToFormat(QImage::Format_RGB32), QString(), pixelWidth,
                            pixelHeight, redact, path);
    if (!written)
        *error = QStringLiteral("cannot write %1").arg(path);
    return written;
}

QFuture<std::optional<Size>> GrimFrameCapturer::captureAndSave(quint32 displayID, int pixelWidth,
                                                               int pixelHeight, QList<Rect> redact,
                                                               QString path) {
    auto promise = std::make_shared<QPromise<std::optional<Size>>>();
    QFuture<std::optional<Size>> future = promise->future();
    promise->start();
    const auto display = std::find_if(m_displays.cbegin(), m_displays.cend(),
                                      [&](const DisplayInfo& d) { return d.id == displayID; });
    if (!isAvailable() || display == m_displays.cend()) {
        promise->addResult(std::optional<Size>());
        promise->finish();
        return future;
    }
    m_worker.start([grim = m_grim, region = display->frame, promise, pixelWidth, pixelHeight,
                    redact = std::move(redact), path = std::move(path)] {
        QString error;
        const std::optional<Size> written =
            capture(grim, region, pixelWidth, pixelHeight, redact, path, &error);
        if (!written)
            qWarning("Tavrik: key frame not captured: %s", qPrintable(error));
        promise->addResult(written);
        promise->finish();
    });
    return future;
}

} // namespace tavrik::wayland
