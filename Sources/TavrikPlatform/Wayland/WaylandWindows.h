#pragma once

#include "TavrikPlatform/AtSpi/WindowDirectory.h"
#include "TavrikPlatform/Wayland/CompositorWindows.h"

#include <QHash>
#include <memory>

namespace tavrik::wayland {

// The window system's side of accessibility on Wayland: window places, focus and activation from
// the compositor where it says (sway's IPC, our GNOME Shell extension); elsewhere no windows at
// all, and applications are named from their own answers (a GTK application's bus name, a Qt
// application's name), as X11 names them.
class WaylandWindows final : public atspi::WindowDirectory {
public:
    // Without a locator the compositor is one that lists no windows.
    explicit WaylandWindows(std::unique_ptr<CompositorWindows> locator);

    bool isOpen() const override { return true; }
    QList<atspi::ClientWindow> clients() override;
    bool listsWindows() const override { return m_locator != nullptr; }
    std::optional<atspi::ClientWindow> active() override;
    bool activate(unsigned long window, int timeoutMs) override;
    QString appName(const atspi::ClientWindow& window) override;
    std::optional<Point> accessibleOrigin(const atspi::ClientWindow& window,
                                          const QString& toolkit) override;
    void nameApplication(atspi::ClientWindow& window, const QString& toolkit,
                         const QString& accessibleName) override;

private:
    // The reverse-domain name a GApplication owns on the session bus, by process id.
    QString busApplicationID(qint64 pid);

    std::unique_ptr<CompositorWindows> m_locator;
    QList<CompositorWindow> m_last;
    QHash<qint64, QString> m_busNames;
};

} // namespace tavrik::wayland
