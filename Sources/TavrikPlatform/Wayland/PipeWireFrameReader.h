#pragma once

#include <QByteArray>
#include <QImage>
#include <QMutex>
#include <QObject>
#include <QSize>
#include <QStringList>
#include <QThread>
#include <QWaitCondition>

class QProcess;

namespace tavrik::wayland {

// Keeps the newest frame of a PipeWire screen stream. A GStreamer pipeline (gst-launch-1.0) runs
// for as long as the reader, on a thread of its own, and writes raw frames of a fixed size to a
// pipe; the compositor sends a frame only when the screen changes, so an idle screen costs
// nothing, and a key frame is a copy of the newest one rather than a new connection (which takes
// about half a second here).
class PipeWireFrameReader final : public QObject {
    Q_OBJECT
public:
    explicit PipeWireFrameReader(QString gstLaunch);
    ~PipeWireFrameReader() override;

    // Reads node `node` scaled to `size` pixels. Once only.
    void start(quint32 node, QSize size);
    // The newest frame, waiting up to `waitMs` for the first; null when there is none or the
    // stream has ended.
    QImage latest(int waitMs) const;
    // Why the pipeline ended, when it did.
    QString errorString() const;

    static QStringList arguments(quint32 node, QSize size);
    // The last whole frame in `pending` (removed from it with every frame before it); empty
    // when no frame is whole yet.
    static QByteArray takeNewestFrame(QByteArray& pending, qsizetype frameBytes);

private:
    void onOutput();
    void onFinished();

    QString m_gstLaunch;
    QThread m_thread;
    QObject* m_context = nullptr; // lives on m_thread
    QProcess* m_process = nullptr;
    QSize m_size;
    QByteArray m_pending;
    mutable QMutex m_mutex;
    mutable QWaitCondition m_frameArrived;
    QByteArray m_latest;
    bool m_ended = false;
    QString m_error;
};

} // namespace tavrik::wayland
