#include "TavrikPlatform/X11/X11FrameCapturer.h"

#include "TavrikPlatform/X11/PngWriter.h"
#include "TavrikPlatform/X11/X11Displays.h"
#include "TavrikPlatform/X11/XConnection.h"

#include <QFile>
#include <QPromise>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>
#include <sys/ipc.h>
#include <sys/shm.h>

namespace tavrik::x11 {

struct X11FrameCapturer::Grabber::Shared {
    XShmSegmentInfo info{};
    XImage* image = nullptr;
    bool attached = false;
};

X11FrameCapturer::Grabber::Grabber() = default;

X11FrameCapturer::Grabber::~Grabber() {
    release();
    m_connection.reset();
}

void X11FrameCapturer::Grabber::release() {
    if (!m_shared)
        return;
    if (m_shared->attached && m_connection) {
        ErrorTrap trap(m_connection->display());
        XShmDetach(m_connection->display(), &m_shared->info);
        trap.sync();
    }
    if (m_shared->image) {
        m_shared->image->data = nullptr; // the segment is not Xlib's to free
        XDestroyImage(m_shared->image);
    }
    if (m_shared->info.shmaddr && m_shared->info.shmaddr != reinterpret_cast<char*>(-1))
        shmdt(m_shared->info.shmaddr);
    m_shared.reset();
}

bool X11FrameCapturer::Grabber::prepare(int width, int height) {
    if (m_shared && m_shared->image && m_shared->image->width == width &&
        m_shared->image->height == height)
        return true;
    release();
    Display* display = m_connection->display();
    if (!XShmQueryExtension(display))
        return false;
    auto shared = std::make_unique<Shared>();
    const int screen = DefaultScreen(display);
    shared->image = XShmCreateImage(display, DefaultVisual(display, screen),
                                    unsigned(DefaultDepth(display, screen)), ZPixmap, nullptr,
                                    &shared->info, unsigned(width), unsigned(height));
    if (!shared->image)
        return false;
    m_shared = std::move(shared);
    XImage* image = m_shared->image;
    m_shared->info.shmid =
        shmget(IPC_PRIVATE, size_t(image->bytes_per_line) * size_t(height), IPC_CREAT | 0600);
    if (m_shared->info.shmid < 0) {
        release();
        return false;
    }
    m_shared->info.shmaddr = image->data = static_cast<char*>(shmat(m_shared->info.shmid, nullptr, 0));
    m_shared->info.readOnly = False;
    bool ok = m_shared->info.shmaddr != reinterpret_cast<char*>(-1);
    if (ok) {
        ErrorTrap trap(display);
        XShmAttach(display, &m_shared->info);
        ok = trap.sync() == 0;
        m_shared->attached = ok;
    }
    // Marked for removal at once: the segment goes away with the last detach, even after a crash.
    shmctl(m_shared->info.shmid, IPC_RMID, nullptr);
    if (!ok)
        release();
    return ok;
}

QImage X11FrameCapturer::Grabber::grab(quint32 displayID, QString* error) {
    if (!m_connection)
        m_connection = std::make_unique<XConnection>();
    if (!m_connection->isOpen()) {
        m_connection.reset();
        *error = QStringLiteral("cannot connect to the X server");
        return {};
    }
    Display* display = m_connection->display();
    std::optional<MonitorGeometry> monitor;
    for (const MonitorGeometry& m : X11Displays::monitors(display))
        if (m.id == displayID)
            monitor = m;
    if (!monitor || monitor->width <= 0 || monitor->height <= 0) {
        *error = QStringLiteral("no display %1").arg(displayID);
        return {};
    }
    if (DefaultDepth(display, DefaultScreen(display)) < 24) {
        *error = QStringLiteral("screen depth below 24 bits");
        return {};
    }
    const int w = monitor->width, h = monitor->height;
    if (prepare(w, h)) {
        ErrorTrap trap(display);
        const bool ok = XShmGetImage(display, DefaultRootWindow(display), m_shared->image,
                                     monitor->x, monitor->y, AllPlanes);
        if (ok && trap.sync() == 0 && m_shared->image->bits_per_pixel == 32)
            return QImage(reinterpret_cast<uchar*>(m_shared->image->data), w, h,
                          m_shared->image->bytes_per_line, QImage::Format_RGB32);
    }
    // Without shared memory (a remote server): the slow path.
    ErrorTrap trap(display);
    XImage* image = XGetImage(display, DefaultRootWindow(display), monitor->x, monitor->y,
                              unsigned(w), unsigned(h), AllPlanes, ZPixmap);
    if (trap.sync() != 0 || !image || image->bits_per_pixel != 32) {
        if (image)
            XDestroyImage(image);
        *error = QStringLiteral("the X server refused to read the screen");
        return {};
    }
    QImage copy = QImage(reinterpret_cast<const uchar*>(image->data), w, h, image->bytes_per_line,
                         QImage::Format_RGB32)
                      .copy();
    XDestroyImage(image);
    return copy;
}

bool X11FrameCapturer::Grabber::captureAndSave(quint32 displayID, int pixelWidth, int pixelHeight,
                                              const QList<Rect>& redact, const QString& path,
                                              Size* written, QString* error) {
    if (pixelWidth <= 0 || pixelHeight <= 0) {
        *error = QStringLiteral("invalid frame size %1x%2").arg(pixelWidth).arg(pixelHeight);
        return false;
    }
    QImage image = grab(displayID, error);
    if (image.isNull())
        return false;
    if (image.width() != pixelWidth || image.height() != pixelHeight)
        image = image.scaled(pixelWidth, pixelHeight, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    // Redacting the shared buffer in place is fine: the next grab overwrites all of it.
    FrameCapturer::redact(image, redact);
    if (!PngWriter::write(image, path, error))
        return false;
    *written = Size{double(image.width()), double(image.height())};
    return true;
}

X11FrameCapturer::X11FrameCapturer() : m_grabber(std::make_shared<Grabber>()) {
    // One worker that never retires: captures are serialised, and its X connection stays on
    // the thread that opened it.
    m_worker.setMaxThreadCount(1);
    m_worker.setExpiryTimeout(-1);
    m_query = std::make_unique<XConnection>();
    if (!m_query->isOpen()) {
        m_error = QStringLiteral("Cannot connect to the X server (DISPLAY is \"%1\").")
                      .arg(qEnvironmentVariable("DISPLAY"));
        m_query.reset();
    }
}

X11FrameCapturer::~X11FrameCapturer() {
    m_worker.waitForDone();
    // The grabber's connection belongs to the worker thread; release it there.
    m_worker.start([grabber = std::move(m_grabber)]() mutable { grabber.reset(); });
    m_worker.waitForDone();
}

bool X11FrameCapturer::isAvailable() const { return m_query != nullptr; }

QList<DisplayInfo> X11FrameCapturer::displays() const {
    return m_query ? X11Displays::all(m_query->display()) : QList<DisplayInfo>{};
}

QFuture<std::optional<Size>> X11FrameCapturer::captureAndSave(quint32 displayID, int pixelWidth,
                                                              int pixelHeight, QList<Rect> redact,
                                                              QString path) {
    auto promise = std::make_shared<QPromise<std::optional<Size>>>();
    QFuture<std::optional<Size>> future = promise->future();
    promise->start();
    if (!m_query) {
        promise->addResult(std::optional<Size>());
        promise->finish();
        return future;
    }
    m_worker.start([grabber = m_grabber, promise, displayID, pixelWidth, pixelHeight,
                    redact = std::move(redact), path = std::move(path)] {
        Size written;
        QString error;
        const bool ok = grabber->captureAndSave(displayID, pixelWidth, pixelHeight, redact, path,
                                                &written, &error);
        if (!ok)
            qWarning("Tavrik: key frame not captured: %s", qPrintable(error));
        promise->addResult(ok ? std::optional(written) : std::nullopt);
        promise->finish();
    });
    return future;
}

} // namespace tavrik::x11
