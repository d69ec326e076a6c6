#include "TavrikPlatform/Wayland/KWinFrameCapturer.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QPromise>
#include <QVariantMap>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace tavrik::wayland {

namespace {

const QString kService = QStringLiteral("org.kde.KWin");
const QString kPath = QStringLiteral("/org/kde/KWin/ScreenShot2");
const QString kInterface = QStringLiteral("org.kde.KWin.ScreenShot2");
constexpr int kTimeoutMs = 5000;

// Both ends close on every path.
class Pipe {
public:
    Pipe() {
        if (::pipe2(m_fds, O_CLOEXEC) != 0)
            m_fds[0] = m_fds[1] = -1;
    }
    ~Pipe() {
        closeWriting();
        if (m_fds[0] >= 0)
            ::close(m_fds[0]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    bool isValid() const { return m_fds[0] >= 0; }
    int reading() const { return m_fds[0]; }
    int writing() const { return m_fds[1]; }
    void closeWriting() {
        if (m_fds[1] >= 0)
            ::close(m_fds[1]);
        m_fds[1] = -1;
    }

private:
    int m_fds[2] = {-1, -1};
};

// Reads until KWin closes its end, or gives up when it stalls.
bool readAll(int fd, qsizetype expected, QByteArray* into) {
    into->reserve(expected);
    char chunk[65536];
    for (;;) {
        pollfd ready{fd, POLLIN, 0};
        const int polled = ::poll(&ready, 1, kTimeoutMs);
        if (polled < 0 && errno == EINTR)
            continue;
        if (polled <= 0)
            return false;
        const ssize_t got = ::read(fd, chunk, sizeof chunk);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return false;
        if (got == 0)
            return true;
        into->append(chunk, got);
    }
}

// One capture of `method` with its leading arguments; KWin answers with the image's layout, then
// writes its pixels to the pipe.
QImage capture(const QString& method, QVariantList arguments, QString* error) {
    Pipe pipe;
    if (!pipe.isValid()) {
        *error = QStringLiteral("no pipe for KWin's screenshot");
        return {};
    }
    QDBusMessage reply;
    {
        // The message holds a copy of the writing end: it goes before the reading starts.
        QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kInterface, method);
        arguments << QVariantMap() << QVariant::fromValue(QDBusUnixFileDescriptor(pipe.writing()));
        call.setArguments(arguments);
        arguments.clear();
        reply = QDBusConnection::sessionBus().call(call, QDBus::Block, kTimeoutMs);
    }
    // KWin holds its own copy: the pixels end where it closes that.
    pipe.closeWriting();
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        *error = reply.errorName().isEmpty()
                     ? QStringLiteral("KWin's screenshot interface did not answer")
                     : QStringLiteral("%1: %2").arg(reply.errorName(), reply.errorMessage());
        return {};
    }
    const QVariantMap layout = qdbus_cast<QVariantMap>(reply.arguments().constFirst());
    const int width = layout.value(QStringLiteral("width")).toInt();
    const int height = layout.value(QStringLiteral("height")).toInt();
    const qsizetype stride = layout.value(QStringLiteral("stride")).toLongLong();
    const auto format = QImage::Format(layout.value(QStringLiteral("format")).toInt());
    if (layout.value(QStringLiteral("type")).toString() != QLatin1String("raw") || width <= 0 ||
        height <= 0 || stride < qsizetype(width) * 4 || format == QImage::Format_Invalid ||
        format >= QImage::NImageFormats) {
        *error = QStringLiteral("KWin's screenshot came in an unknown form");
        return {};
    }
    QByteArray pixels;
    if (!readAll(pipe.reading(), stride * height, &pixels) || pixels.size() < stride * height) {
        *error = QStringLiteral("KWin's screenshot ended early");
        return {};
    }
    // The image borrows the bytes: copy before they go.
    return QImage(reinterpret_cast<const uchar*>(pixels.constData()), width, height,
                  qsizetype(stride), format)
        .convertToFormat(QImage::Format_RGB32);
}

} // namespace

QImage KWinFrameCapturer::workspace(QString* error) {
    return capture(QStringLiteral("CaptureWorkspace"), {}, error);
}

bool KWinFrameCapturer::isGranted() {
    QString error;
    return !capture(QStringLiteral("CaptureArea"), {0, 0, 1u, 1u}, &error).isNull();
}

KWinFrameCapturer::KWinFrameCapturer() {
    // Captures one at a time, in order.
    m_worker.setMaxThreadCount(1);
    QString error;
    const QImage first = workspace(&error);
    if (first.isNull()) {
        m_error = QStringLiteral("KWin gives no key frames: %1").arg(error);
        qWarning("Tavrik: %s", qPrintable(m_error));
        return;
    }
    m_frame = Rect(0, 0, first.width(), first.height());
}

KWinFrameCapturer::~KWinFrameCapturer() {
    m_worker.waitForDone();
}

QList<DisplayInfo> KWinFrameCapturer::displays() const {
    if (!isAvailable())
        return {};
    DisplayInfo display;
    display.id = displayID;
    display.frame = m_frame;
    display.isMain = true;
    return {display};
}

QFuture<std::optional<Size>> KWinFrameCapturer::captureAndSave(quint32 displayID, int pixelWidth,
                                                               int pixelHeight, QList<Rect> redact,
                                                               QString path) {
    auto promise = std::make_shared<QPromise<std::optional<Size>>>();
    QFuture<std::optional<Size>> future = promise->future();
    promise->start();
    if (!isAvailable() || displayID != KWinFrameCapturer::displayID || pixelWidth <= 0 ||
        pixelHeight <= 0) {
        promise->addResult(std::optional<Size>());
        promise->finish();
        return future;
    }
    m_worker.start(
        [promise, pixelWidth, pixelHeight, redact = std::move(redact), path = std::move(path)] {
            QString error;
            QImage image = workspace(&error);
            promise->addResult(FrameCapturer::save(std::move(image), error, pixelWidth, pixelHeight,
                                                   redact, path));
            promise->finish();
        });
    return future;
}

} // namespace tavrik::wayland
