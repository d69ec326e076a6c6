#include "TavrikPlatform/Wayland/PipeWireFrameReader.h"

#include <QDeadlineTimer>
#include <QProcess>

namespace tavrik::wayland {

PipeWireFrameReader::PipeWireFrameReader(QString gstLaunch) : m_gstLaunch(std::move(gstLaunch)) {
    m_thread.setObjectName(QStringLiteral("PipeWireFrameReader"));
}

PipeWireFrameReader::~PipeWireFrameReader() {
    if (m_context) {
        QMetaObject::invokeMethod(
            m_context,
            [this] {
                if (m_process) {
                    m_process->disconnect();
                    m_process->kill();
                    m_process->waitForFinished(2000);
                    delete m_process;
                    m_process = nullptr;
                }
            },
            Qt::BlockingQueuedConnection);
        m_thread.quit();
        m_thread.wait();
        delete m_context;
    }
}

QStringList PipeWireFrameReader::arguments(quint32 node, QSize size) {
    // BGRx is Qt's RGB32 in memory; the size is fixed so that frames need no header.
    return {QStringLiteral("-q"),
            QStringLiteral("pipewiresrc"),
            QStringLiteral("path=%1").arg(node),
            QStringLiteral("always-copy=true"),
            QStringLiteral("!"),
            QStringLiteral("videoconvert"),
            QStringLiteral("!"),
            QStringLiteral("videoscale"),
            QStringLiteral("!"),
            QStringLiteral("video/x-raw,format=BGRx,width=%1,height=%2")
                .arg(size.width())
                .arg(size.height()),
            QStringLiteral("!"),
            QStringLiteral("fdsink"),
            QStringLiteral("fd=1"),
            QStringLiteral("sync=false")};
}

QByteArray PipeWireFrameReader::takeNewestFrame(QByteArray& pending, qsizetype frameBytes) {
    if (frameBytes <= 0 || pending.size() < frameBytes)
        return {};
    const qsizetype whole = pending.size() / frameBytes;
    QByteArray frame = pending.mid((whole - 1) * frameBytes, frameBytes);
    pending.remove(0, whole * frameBytes);
    return frame;
}

void PipeWireFrameReader::start(quint32 node, QSize size) {
    if (m_context || size.isEmpty())
        return;
    m_size = size;
    m_context = new QObject;
    m_context->moveToThread(&m_thread);
    m_thread.start();
    QMetaObject::invokeMethod(m_context, [this, node] {
        m_process = new QProcess;
        QObject::connect(m_process, &QProcess::readyReadStandardOutput, m_process,
                         [this] { onOutput(); });
        QObject::connect(m_process, &QProcess::finished, m_process, [this] { onFinished(); });
        QObject::connect(m_process, &QProcess::errorOccurred, m_process,
                         [this](QProcess::ProcessError error) {
                             if (error == QProcess::FailedToStart)
                                 onFinished();
                         });
        m_process->start(m_gstLaunch, arguments(node, m_size));
    });
}

void PipeWireFrameReader::onOutput() {
    m_pending += m_process->readAllStandardOutput();
    QByteArray frame = takeNewestFrame(m_pending, qsizetype(m_size.width()) * m_size.height() * 4);
    if (frame.isEmpty())
        return;
    const QMutexLocker lock(&m_mutex);
    m_latest = std::move(frame);
    m_frameArrived.wakeAll();
}

void PipeWireFrameReader::onFinished() {
    const QString error = QString::fromUtf8(m_process->readAllStandardError()).trimmed();
    const QMutexLocker lock(&m_mutex);
    m_ended = true;
    m_error = error.isEmpty() ? QStringLiteral("the screen stream ended") : error;
    m_frameArrived.wakeAll();
}

QImage PipeWireFrameReader::latest(int waitMs) const {
    const QDeadlineTimer deadline(waitMs);
    QMutexLocker lock(&m_mutex);
    while (m_latest.isEmpty() && !m_ended) {
        if (!m_frameArrived.wait(&m_mutex, deadline))
            break;
    }
    // Once the stream has ended (the user stopped sharing) its last frame is no longer the
    // screen.
    if (m_latest.isEmpty() || m_ended)
        return {};
    const QByteArray bytes = m_latest;
    lock.unlock();
    return QImage(reinterpret_cast<const uchar*>(bytes.constData()), m_size.width(),
                  m_size.height(), m_size.width() * 4, QImage::Format_RGB32)
        .copy();
}

QString PipeWireFrameReader::errorString() const {
    const QMutexLocker lock(&m_mutex);
    return m_error;
}

} // namespace tavrik::wayland
