#pragma once

#include "TavrikPlatform/Evdev/EvdevDecoder.h"

#include <QFileSystemWatcher>
#include <QObject>
#include <QSocketNotifier>
#include <memory>
#include <vector>

namespace tavrik::evdev {

// The pointer devices (mice, touchpads, trackballs) or the keyboards under /dev/input that this
// user may read, as a user of the input group may. Devices plugged in later are opened as they
// appear, and one that goes away is closed. Nothing is grabbed: the desktop still gets every
// event. Event times are on the monotonic clock.
class EvdevDevices final : public QObject {
    Q_OBJECT
public:
    enum class Kind { pointer, keyboard };

    explicit EvdevDevices(Kind kind = Kind::pointer, QString folder = QStringLiteral("/dev/input"),
                          QObject* parent = nullptr);
    ~EvdevDevices() override;

    // True when at least one device of the kind is open; otherwise errorString() says why.
    bool start();
    void stop();
    QString errorString() const { return m_error; }

    // Whether any device of the kind there can be read, without keeping it open.
    static bool anyReadable(Kind kind, const QString& folder = QStringLiteral("/dev/input"));

signals:
    void input(const tavrik::evdev::InputEvent& event);
    // The kernel dropped events of a device: a button may have been released unseen.
    void lost();

private:
    struct Device {
        QString path;
        int fd = -1;
        std::unique_ptr<QSocketNotifier> notifier;
        EvdevDecoder decoder;
    };

    void scan();
    void read(Device& device);
    void close(Device& device);

    Kind m_kind;
    QString m_folder;
    std::unique_ptr<QFileSystemWatcher> m_watcher; // while running: devices plugged in
    std::vector<std::unique_ptr<Device>> m_devices;
    bool m_running = false;
    QString m_error;
};

} // namespace tavrik::evdev
