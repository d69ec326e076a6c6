#include "TavrikPlatform/Evdev/EvdevDevices.h"

#include <QDir>
#include <QFile>
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

namespace tavrik::evdev {

namespace {

constexpr int kReadChunk = 64 * int(EvdevDecoder::recordSize);

bool hasBit(const unsigned char* bits, int bit) {
    return (bits[bit / 8] >> (bit % 8)) & 1;
}

// A pointer moves and has its main button; a keyboard has letters and Control. Power buttons,
// lid switches, tablets' pads and the like are neither.
bool isOfKind(int fd, EvdevDevices::Kind kind) {
    unsigned char keys[KEY_MAX / 8 + 1] = {};
    unsigned char types[EV_MAX / 8 + 1] = {};
    if (ioctl(fd, EVIOCGBIT(0, sizeof types), types) < 0 ||
        ioctl(fd, EVIOCGBIT(EV_KEY, sizeof keys), keys) < 0)
        return false;
    if (kind == EvdevDevices::Kind::keyboard)
        return hasBit(keys, KEY_A) && hasBit(keys, KEY_LEFTCTRL);
    return hasBit(keys, BTN_LEFT) && (hasBit(types, EV_REL) || hasBit(types, EV_ABS));
}

int openDevice(const QString& path, EvdevDevices::Kind kind) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return -1;
    if (!isOfKind(fd, kind)) {
        ::close(fd);
        return -1;
    }
    // Taps are timed against each other; the wall clock may jump between them.
    int clock = CLOCK_MONOTONIC;
    ioctl(fd, EVIOCSCLOCKID, &clock);
    return fd;
}

QStringList eventFiles(const QString& folder) {
    QStringList paths;
    for (const QString& name : QDir(folder).entryList({QStringLiteral("event*")}, QDir::System))
        paths << folder + u'/' + name;
    return paths;
}

} // namespace

EvdevDevices::EvdevDevices(Kind kind, QString folder, QObject* parent)
    : QObject(parent), m_kind(kind), m_folder(std::move(folder)) {}

EvdevDevices::~EvdevDevices() {
    stop();
}

bool EvdevDevices::anyReadable(Kind kind, const QString& folder) {
    for (const QString& path : eventFiles(folder)) {
        if (const int fd = openDevice(path, kind); fd >= 0) {
            ::close(fd);
            return true;
        }
    }
    return false;
}

bool EvdevDevices::start() {
    if (m_running)
        return true;
    m_running = true;
    scan();
    if (m_devices.empty()) {
        stop();
        m_error =
            QStringLiteral(
                "Tavrik cannot read a pointer device in %1: clicks that change nothing, drags and "
                "scrolls are not recorded. To record them, add yourself to the input group (\"sudo "
                "usermod -aG input $USER\"), then log out and back in.")
                .arg(m_folder);
        return false;
    }
    m_watcher = std::make_unique<QFileSystemWatcher>(QStringList{m_folder});
    connect(m_watcher.get(), &QFileSystemWatcher::directoryChanged, this, &EvdevDevices::scan);
    return true;
}

void EvdevDevices::stop() {
    m_running = false;
    m_watcher.reset();
    for (const std::unique_ptr<Device>& device : m_devices)
        close(*device);
    m_devices.clear();
}

void EvdevDevices::scan() {
    // A device that went away is closed when its read fails; only new names are opened here.
    for (const QString& path : eventFiles(m_folder)) {
        const bool open = std::any_of(m_devices.begin(), m_devices.end(),
                                      [&](const auto& device) { return device->path == path; });
        if (open)
            continue;
        const int fd = openDevice(path, m_kind);
        if (fd < 0)
            continue;
        auto device = std::make_unique<Device>();
        device->path = path;
        device->fd = fd;
        device->notifier = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
        Device* raw = device.get();
        connect(device->notifier.get(), &QSocketNotifier::activated, this,
                [this, raw] { read(*raw); });
        m_devices.push_back(std::move(device));
    }
}

void EvdevDevices::read(Device& device) {
    char buffer[kReadChunk];
    for (;;) {
        const ssize_t n = ::read(device.fd, buffer, sizeof buffer);
        if (n > 0) {
            for (const InputEvent& event : device.decoder.feed(QByteArray(buffer, n)))
                emit input(event);
            if (device.decoder.dropped()) {
                device.decoder.clearDropped();
                emit lost();
            }
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN)
            return;
        break;
    }
    // Unplugged (ENODEV) or closed under us: forget it, once its notifier has finished
    // reporting; it is opened again if it comes back.
    device.notifier->setEnabled(false);
    const Device* gone = &device;
    QMetaObject::invokeMethod(
        this,
        [this, gone] {
            const auto it = std::find_if(m_devices.begin(), m_devices.end(),
                                         [gone](const auto& d) { return d.get() == gone; });
            if (it == m_devices.end())
                return;
            close(**it);
            m_devices.erase(it);
        },
        Qt::QueuedConnection);
}

void EvdevDevices::close(Device& device) {
    device.notifier.reset();
    if (device.fd >= 0)
        ::close(device.fd);
    device.fd = -1;
}

} // namespace tavrik::evdev
