#include "TavrikPlatform/Wayland/ScreenCastFrameCapturer.h"

#include "TavrikPlatform/Wayland/PipeWireFrameReader.h"

#include <QPromise>

namespace tavrik::wayland {

namespace {
// The first frame of a fresh stream takes about half a second here.
constexpr int kFirstFrameWaitMs = 5000;
} // namespace

ScreenCastFrameCapturer::ScreenCastFrameCapturer(std::unique_ptr<ScreenCastSource> source,
                                                 QString gstLaunch)
    : m_source(std::move(source)), m_gstLaunch(std::move(gstLaunch)) {
    // Captures one at a time, in order.
    m_worker.setMaxThreadCount(1);
    if (m_gstLaunch.isEmpty()) {
        m_error = QStringLiteral("Key frames need GStreamer's PipeWire source: install the "
                                 "gstreamer1.0-tools and gstreamer1.0-pipewire packages.");
        return;
    }
    QObject::connect(m_source.get(), &ScreenCastSource::started, m_source.get(),
                     [this](const ScreenCastSource::Stream& stream) {
                         if (stream.frame.size.width <= 0 || stream.frame.size.height <= 0) {
                             m_error = QStringLiteral("the screen stream has no size");
                             return;
                         }
                         m_stream = stream;
                         m_reader = std::make_unique<PipeWireFrameReader>(m_gstLaunch);
                         m_reader->start(stream.node, QSize(qRound(stream.frame.size.width),
                                                            qRound(stream.frame.size.height)));
                     });
    QObject::connect(m_source.get(), &ScreenCastSource::failed, m_source.get(),
                     [this](const QString& error) {
                         m_error = QStringLiteral("Key frames are off: %1.").arg(error);
                         qWarning("Tavrik: %s", qPrintable(m_error));
                     });
    m_source->start();
}

ScreenCastFrameCapturer::~ScreenCastFrameCapturer() {
    m_worker.waitForDone();
}

bool ScreenCastFrameCapturer::isAvailable() const {
    return m_error.isEmpty();
}

QString ScreenCastFrameCapturer::errorString() const {
    return m_error;
}

QList<DisplayInfo> ScreenCastFrameCapturer::displays() const {
    if (!m_stream)
        return {};
    DisplayInfo display;
    display.id = displayID;
    display.frame = m_stream->frame;
    display.isMain = true;
    return {display};
}

QFuture<std::optional<Size>>
ScreenCastFrameCapturer::captureAndSave(quint32 displayID, int pixelWidth, int pixelHeight,
                                        QList<Rect> redact, QString path) {
    auto promise = std::make_shared<QPromise<std::optional<Size>>>();
    QFuture<std::optional<Size>> future = promise->future();
    promise->start();
    if (!isAvailable() || !m_reader || displayID != ScreenCastFrameCapturer::displayID ||
        pixelWidth <= 0 || pixelHeight <= 0) {
        promise->addResult(std::optional<Size>());
        promise->finish();
        return future;
    }
    m_worker.start([reader = m_reader.get(), promise, pixelWidth, pixelHeight,
                    redact = std::move(redact), path = std::move(path)] {
        QImage image = reader->latest(kFirstFrameWaitMs);
        promise->addResult(FrameCapturer::save(std::move(image), reader->errorString(), pixelWidth,
                                               pixelHeight, redact, path));
        promise->finish();
    });
    return future;
}

} // namespace tavrik::wayland
