#include "TavrikPlatform/X11/X11FrameCapturer.h"

#include "TavrikPlatform/X11/PngWriter.h"
#include "TavrikPlatform/X11/X11Displays.h"
#include "TavrikPlatform/X11/XConnection.h"

#include <QFile>
#include <QPainter>
#include <QPromise>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>
#include <X11/extensions/Xcomposite.h>
#include <X11/extensions/Xfixes.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

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
    m_shared->info.shmaddr = image->data =
        static_cast<char*>(shmat(m_shared->info.shmid, nullptr, 0));
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
    if (!m_connection) {
        m_connection = std::make_unique<XConnection>();
        if (!m_connection->isOpen()) {
            m_connection.reset();
            *error = QStringLiteral("cannot connect to the X server");
            return {};
        }
        Display* display = m_connection->display();
        int event = 0, err = 0, major = 0, minor = 4;
        if (XCompositeQueryExtension(display, &event, &err) &&
            XCompositeQueryVersion(display, &major, &minor) && (major > 0 || minor >= 2)) {
            // Fails harmlessly when a compositing manager already redirects: its windows have
            // off-screen contents all the same.
            ErrorTrap trap(display);
            XCompositeRedirectSubwindows(display, m_connection->root(), CompositeRedirectAutomatic);
            trap.sync();
            m_composite = true;
        }
        m_fixes = XFixesQueryExtension(display, &event, &err);
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
    QImage image = grabRoot(monitor->x, monitor->y, monitor->width, monitor->height, error);
    if (image.isNull())
        return image;
    if (m_composite)
        leaveOutOwnWindows(image, monitor->x, monitor->y);
    if (m_fixes)
        drawPointer(image, monitor->x, monitor->y);
    return image;
}

QImage X11FrameCapturer::Grabber::grabRoot(int x, int y, int w, int h, QString* error) {
    Display* display = m_connection->display();
    if (prepare(w, h)) {
        ErrorTrap trap(display);
        const bool ok =
            XShmGetImage(display, DefaultRootWindow(display), m_shared->image, x, y, AllPlanes);
        if (ok && trap.sync() == 0 && m_shared->image->bits_per_pixel == 32)
            return QImage(reinterpret_cast<uchar*>(m_shared->image->data), w, h,
                          m_shared->image->bytes_per_line, QImage::Format_RGB32);
    }
    // Without shared memory (a remote server): the slow path.
    ErrorTrap trap(display);
    XImage* image = XGetImage(display, DefaultRootWindow(display), x, y, unsigned(w), unsigned(h),
                              AllPlanes, ZPixmap);
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

struct X11FrameCapturer::Grabber::TopLevel {
    Window window = 0;
    QRect rect; // root coordinates, border included
    bool ours = false;
};

QList<X11FrameCapturer::Grabber::TopLevel> X11FrameCapturer::Grabber::topLevels() {
    Display* display = m_connection->display();
    QList<TopLevel> result;
    Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    ErrorTrap trap(display); // windows may vanish at any moment
    if (!XQueryTree(display, m_connection->root(), &root, &parent, &children, &count))
        return result;
    QHash<unsigned long, bool> seen;
    for (unsigned i = 0; i < count; ++i) { // bottom to top
        XWindowAttributes a;
        if (!XGetWindowAttributes(display, children[i], &a) || a.map_state != IsViewable ||
            a.c_class == InputOnly)
            continue;
        const bool ours = isOurs(children[i]);
        seen.insert(children[i], ours);
        result.append({children[i],
                       QRect(a.x, a.y, a.width + 2 * a.border_width, a.height + 2 * a.border_width),
                       ours});
    }
    if (children)
        XFree(children);
    m_ownership = seen; // forget windows that are gone
    return result;
}

bool X11FrameCapturer::Grabber::isOurs(unsigned long window) {
    if (auto it = m_ownership.constFind(window); it != m_ownership.constEnd())
        return it.value();
    Display* display = m_connection->display();
    const Atom pidAtom = XInternAtom(display, "_NET_WM_PID", False);
    const auto pidOf = [&](Window w) -> long {
        Atom type = 0;
        int format = 0;
        unsigned long items = 0, after = 0;
        unsigned char* data = nullptr;
        long pid = -1;
        if (XGetWindowProperty(display, w, pidAtom, 0, 1, False, XA_CARDINAL, &type, &format,
                               &items, &after, &data) == Success &&
            data && format == 32 && items == 1)
            pid = *reinterpret_cast<long*>(data);
        if (data)
            XFree(data);
        return pid;
    };
    const long self = long(getpid());
    if (pidOf(window) == self)
        return true;
    // A managed window sits inside its window manager's frame.
    Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    bool ours = false;
    if (XQueryTree(display, window, &root, &parent, &children, &count)) {
        for (unsigned i = 0; i < count && !ours; ++i)
            ours = pidOf(children[i]) == self;
        if (children)
            XFree(children);
    }
    return ours;
}

void X11FrameCapturer::Grabber::leaveOutOwnWindows(QImage& image, int originX, int originY) {
    const QList<TopLevel> windows = topLevels();
    const QRect bounds(originX, originY, image.width(), image.height());
    Display* display = m_connection->display();
    for (const TopLevel& own : windows) {
        if (!own.ours)
            continue;
        const QRect area = own.rect.intersected(bounds);
        if (area.isEmpty())
            continue;
        // Repaint the area from every other window, bottom to top, over a black desktop.
        QPainter painter(&image);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.fillRect(area.translated(-originX, -originY), Qt::black);
        for (const TopLevel& other : windows) {
            const QRect part = other.rect.intersected(area);
            if (other.ours || part.isEmpty())
                continue;
            ErrorTrap trap(display);
            const Pixmap pixmap = XCompositeNameWindowPixmap(display, other.window);
            if (trap.sync() != 0 || !pixmap)
                continue;
            XImage* piece =
                XGetImage(display, pixmap, part.x() - other.rect.x(), part.y() - other.rect.y(),
                          unsigned(part.width()), unsigned(part.height()), AllPlanes, ZPixmap);
            if (trap.sync() == 0 && piece && piece->bits_per_pixel == 32) {
                // Without a compositor translucency is not drawn either: paint opaque.
                const QImage pixels(reinterpret_cast<const uchar*>(piece->data), part.width(),
                                    part.height(), piece->bytes_per_line, QImage::Format_RGB32);
                painter.drawImage(part.topLeft() - QPoint(originX, originY), pixels);
            }
            if (piece)
                XDestroyImage(piece);
            XFreePixmap(display, pixmap);
        }
    }
}

void X11FrameCapturer::Grabber::drawPointer(QImage& image, int originX, int originY) {
    Display* display = m_connection->display();
    ErrorTrap trap(display);
    XFixesCursorImage* cursor = XFixesGetCursorImage(display);
    if (trap.sync() != 0 || !cursor)
        return;
    // 32-bit premultiplied ARGB, one pixel per unsigned long.
    QImage pixels(cursor->width, cursor->height, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < cursor->height; ++y) {
        auto* row = reinterpret_cast<quint32*>(pixels.scanLine(y));
        for (int x = 0; x < cursor->width; ++x)
            row[x] = quint32(cursor->pixels[y * cursor->width + x]);
    }
    const QPoint at(cursor->x - cursor->xhot - originX, cursor->y - cursor->yhot - originY);
    XFree(cursor);
    QPainter painter(&image);
    painter.drawImage(at, pixels);
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
        image =
            image.scaled(pixelWidth, pixelHeight, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
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

bool X11FrameCapturer::isAvailable() const {
    return m_query != nullptr;
}

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
