#include "TavrikPlatform/AtSpi/ClientWindows.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QStandardPaths>
#include <QThread>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace tavrik::atspi {

namespace {

// Windows come and go while we read them; a BadWindow must not end the process, which is what
// Xlib's default handler does. Errors inside the trap's lifetime are counted and dropped.
class XErrorTrap {
public:
    explicit XErrorTrap(Display* display) : m_display(display) {
        XSync(m_display, False);
        s_errors = 0;
        m_previous = XSetErrorHandler(&XErrorTrap::handle);
    }
    ~XErrorTrap() {
        XSync(m_display, False);
        XSetErrorHandler(m_previous);
    }
    bool failed() {
        XSync(m_display, False);
        return s_errors > 0;
    }

private:
    static int handle(Display*, XErrorEvent*) {
        ++s_errors;
        return 0;
    }
    static inline int s_errors = 0;
    Display* m_display;
    XErrorHandler m_previous;
};

// One property's items, or empty when missing or of another type.
template <typename T>
QList<T> windowProperty(Display* display, Window window, const char* name, Atom type) {
    QList<T> result;
    Atom property = XInternAtom(display, name, True);
    if (property == None) {
        return result;
    }
    Atom actualType = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long remaining = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(display, window, property, 0, 1 << 16, False, type, &actualType, &format,
                           &count, &remaining, &data) != Success) {
        return result;
    }
    if (data && actualType == type) {
        if (format == 32) {
            // Xlib hands 32-bit items back as longs.
            auto items = reinterpret_cast<unsigned long*>(data);
            for (unsigned long i = 0; i < count; ++i) {
                result.append(static_cast<T>(items[i]));
            }
        } else if (format == 8) {
            for (unsigned long i = 0; i < count; ++i) {
                result.append(static_cast<T>(data[i]));
            }
        }
    }
    if (data) {
        XFree(data);
    }
    return result;
}

QString utf8Property(Display* display, Window window, const char* name) {
    Atom utf8 = XInternAtom(display, "UTF8_STRING", False);
    QList<char> bytes = windowProperty<char>(display, window, name, utf8);
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

QString desktopEntryName(const QString& id) {
    for (const QString& candidate : {id, id.toLower()}) {
        const QString path =
            QStandardPaths::locate(QStandardPaths::ApplicationsLocation, candidate + ".desktop");
        if (path.isEmpty()) {
            continue;
        }
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
            continue;
        }
        bool inMainGroup = false;
        while (!file.atEnd()) {
            const QString line = QString::fromUtf8(file.readLine()).trimmed();
            if (line.startsWith('[')) {
                inMainGroup = line == "[Desktop Entry]";
            } else if (inMainGroup && line.startsWith("Name=")) {
                return line.mid(5).trimmed();
            }
        }
    }
    return {};
}

} // namespace

std::optional<QString> ClientWindow::appID() const {
    if (!gtkApplicationID.isEmpty()) {
        return gtkApplicationID;
    }
    if (!wmClass.isEmpty()) {
        return wmClass;
    }
    return std::nullopt;
}

ClientWindows::ClientWindows() : m_display(XOpenDisplay(nullptr)) {}

ClientWindows::~ClientWindows() {
    if (m_display) {
        XCloseDisplay(m_display);
    }
}

std::optional<ClientWindow> ClientWindows::topmostAt(Point point) {
    if (!m_display) {
        return std::nullopt;
    }
    if (std::optional<ClientWindow> popup = popupAt(point)) {
        return popup;
    }
    const Window root = DefaultRootWindow(m_display);
    const QList<Window> stacking =
        windowProperty<Window>(m_display, root, "_NET_CLIENT_LIST_STACKING", XA_WINDOW);
    // Bottom to top: look from the top down, reading only geometry until one contains the point.
    for (auto it = stacking.crbegin(); it != stacking.crend(); ++it) {
        std::optional<ClientWindow> window = geometry(*it);
        if (!window) {
            continue;
        }
        const Rect& f = window->outerFrame;
        if (point.x >= f.origin.x && point.y >= f.origin.y && point.x < f.origin.x + f.size.width &&
            point.y < f.origin.y + f.size.height) {
            return describe(*it);
        }
    }
    return std::nullopt;
}

std::optional<ClientWindow> ClientWindows::popupAt(Point point) {
    XErrorTrap trap(m_display);
    Window root = None;
    Window parent = None;
    Window* children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(m_display, DefaultRootWindow(m_display), &root, &parent, &children, &count) ||
        trap.failed()) {
        return std::nullopt;
    }
    std::optional<ClientWindow> found;
    // The root's children bottom to top: look from the top down until a managed window (its
    // frame) holds the point.
    for (unsigned int i = count; i-- > 0;) {
        XWindowAttributes attributes{};
        if (!XGetWindowAttributes(m_display, children[i], &attributes) ||
            attributes.map_state != IsViewable) {
            continue;
        }
        if (point.x < attributes.x || point.y < attributes.y ||
            point.x >= attributes.x + attributes.width ||
            point.y >= attributes.y + attributes.height) {
            continue;
        }
        if (!attributes.override_redirect) {
            break;
        }
        // Tavrik's own windows and windows of no known process are looked through, as before.
        std::optional<ClientWindow> window = describe(children[i]);
        if (window && window->pid && *window->pid != QCoreApplication::applicationPid()) {
            window->popup = true;
            found = std::move(window);
            break;
        }
    }
    if (children) {
        XFree(children);
    }
    return found;
}

std::optional<ClientWindow> ClientWindows::active() {
    if (!m_display) {
        return std::nullopt;
    }
    const QList<Window> active = windowProperty<Window>(m_display, DefaultRootWindow(m_display),
                                                        "_NET_ACTIVE_WINDOW", XA_WINDOW);
    if (active.isEmpty() || active.first() == None) {
        return std::nullopt;
    }
    return describe(active.first());
}

QList<ClientWindow> ClientWindows::clients() {
    QList<ClientWindow> result;
    if (!m_display) {
        return result;
    }
    const QList<Window> stacking = windowProperty<Window>(m_display, DefaultRootWindow(m_display),
                                                          "_NET_CLIENT_LIST_STACKING", XA_WINDOW);
    for (auto it = stacking.crbegin(); it != stacking.crend(); ++it) {
        if (std::optional<ClientWindow> window = describe(*it)) {
            result.append(*window);
        }
    }
    return result;
}

bool ClientWindows::activate(unsigned long window, int timeoutMs) {
    if (!m_display) {
        return false;
    }
    const Window root = DefaultRootWindow(m_display);
    auto isActive = [&] {
        const QList<Window> active =
            windowProperty<Window>(m_display, root, "_NET_ACTIVE_WINDOW", XA_WINDOW);
        return !active.isEmpty() && active.first() == window;
    };
    if (isActive()) {
        return true;
    }
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(m_display, "_NET_ACTIVE_WINDOW", False);
    event.xclient.format = 32;
    // Source 2: a pager or similar tool acting for the user, which window managers obey rather
    // than treat as a window stealing the focus.
    event.xclient.data.l[0] = 2;
    event.xclient.data.l[1] = CurrentTime;
    {
        XErrorTrap trap(m_display);
        XSendEvent(m_display, root, False, SubstructureRedirectMask | SubstructureNotifyMask,
                   &event);
        if (trap.failed()) {
            return false;
        }
    }
    // The window manager answers on its own time; only its property says when it is done.
    const QDeadlineTimer deadline(timeoutMs);
    while (!isActive()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QThread::msleep(10);
    }
    return true;
}

QString ClientWindows::appName(const ClientWindow& window) {
    const QString id = window.appID().value_or(QString());
    if (id.isEmpty()) {
        return {};
    }
    auto found = m_desktopNames.constFind(id);
    if (found == m_desktopNames.constEnd()) {
        QString name = desktopEntryName(id);
        found = m_desktopNames.insert(id, name.isEmpty() ? window.wmClass : name);
    }
    return *found;
}

std::optional<ClientWindow> ClientWindows::geometry(unsigned long id) {
    XErrorTrap trap(m_display);
    XWindowAttributes attributes{};
    if (!XGetWindowAttributes(m_display, id, &attributes) || trap.failed() ||
        attributes.map_state != IsViewable) {
        return std::nullopt;
    }
    int rootX = 0;
    int rootY = 0;
    Window child = None;
    if (!XTranslateCoordinates(m_display, id, DefaultRootWindow(m_display), 0, 0, &rootX, &rootY,
                               &child) ||
        trap.failed()) {
        return std::nullopt;
    }
    ClientWindow window;
    window.id = id;
    window.frame = Rect(rootX, rootY, attributes.width, attributes.height);
    window.outerFrame = window.frame;
    const QList<long> extents =
        windowProperty<long>(m_display, id, "_NET_FRAME_EXTENTS", XA_CARDINAL);
    if (extents.size() == 4) { // left, right, top, bottom
        window.outerFrame =
            Rect(rootX - extents[0], rootY - extents[2], attributes.width + extents[0] + extents[1],
                 attributes.height + extents[2] + extents[3]);
    }
    return window;
}

QString ClientWindows::applicationIDOfProcess(qint64 pid) {
    if (auto known = m_applicationIDs.constFind(pid); known != m_applicationIDs.constEnd())
        return *known;
    const QList<Window> clients = windowProperty<Window>(m_display, DefaultRootWindow(m_display),
                                                         "_NET_CLIENT_LIST", XA_WINDOW);
    for (Window client : clients) {
        const QList<long> owner =
            windowProperty<long>(m_display, client, "_NET_WM_PID", XA_CARDINAL);
        if (owner.isEmpty() || owner.first() != pid)
            continue;
        const QString id = utf8Property(m_display, client, "_GTK_APPLICATION_ID");
        if (!id.isEmpty()) {
            if (m_applicationIDs.size() > 256)
                m_applicationIDs.clear(); // processes long gone
            m_applicationIDs.insert(pid, id);
            return id;
        }
    }
    return {};
}

std::optional<ClientWindow> ClientWindows::describe(unsigned long id) {
    std::optional<ClientWindow> found = geometry(id);
    if (!found) {
        return std::nullopt;
    }
    XErrorTrap trap(m_display);
    ClientWindow window = *found;
    const QList<long> pid = windowProperty<long>(m_display, id, "_NET_WM_PID", XA_CARDINAL);
    if (!pid.isEmpty() && pid.first() > 0) {
        window.pid = pid.first();
    }
    XClassHint hint{};
    if (XGetClassHint(m_display, id, &hint)) {
        if (hint.res_class) {
            window.wmClass = QString::fromLocal8Bit(hint.res_class);
            XFree(hint.res_class);
        }
        if (hint.res_name) {
            XFree(hint.res_name);
        }
    }
    window.gtkApplicationID = utf8Property(m_display, id, "_GTK_APPLICATION_ID");
    window.title = utf8Property(m_display, id, "_NET_WM_NAME");
    if (window.title.isEmpty()) {
        char* name = nullptr;
        if (XFetchName(m_display, id, &name) && name) {
            window.title = QString::fromLocal8Bit(name);
            XFree(name);
        }
    }
    if (trap.failed()) {
        return std::nullopt;
    }
    // Under the same trap: a window of the process that vanished meanwhile is only skipped.
    if (window.pid) {
        if (!window.gtkApplicationID.isEmpty())
            m_applicationIDs.insert(*window.pid, window.gtkApplicationID);
        else
            window.gtkApplicationID = applicationIDOfProcess(*window.pid);
    }
    return window;
}

} // namespace tavrik::atspi
