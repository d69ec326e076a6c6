#pragma once

#include "TavrikPlatform/Wayland/CompositorWindows.h"

#include <QByteArray>

namespace tavrik::wayland {

// Windows and the pointer through Tavrik's GNOME Shell extension on the session bus. GNOME keeps
// a stacking order, and toolkits decorate their own windows there.
class GnomeShellWindows final : public CompositorWindows {
public:
    static inline const QString busName = QStringLiteral("app.tavrik.Shell");
    static inline const QString objectPath = QStringLiteral("/app/tavrik/Shell");

    explicit GnomeShellWindows(int timeoutMs = 1000) : m_timeoutMs(timeoutMs) {}

    // Whether the extension answers on the session bus (it is installed and enabled).
    static bool isOffered();

    bool isReachable() override;
    QList<CompositorWindow> windows() override;
    bool keepsStackingOrder() const override { return true; }
    bool clientsDecorate() const override { return true; }
    bool focus(qint64 id) override;
    std::optional<Point> pointer();

    // The windows of a ListWindows answer; minimised and not yet placed ones are not visible.
    static QList<CompositorWindow> parseWindows(const QByteArray& json);

private:
    int m_timeoutMs;
};

} // namespace tavrik::wayland
