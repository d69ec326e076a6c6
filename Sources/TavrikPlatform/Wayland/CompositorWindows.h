#pragma once

#include "TavrikCore/Models/Rect.h"

#include <QJsonValue>
#include <QList>
#include <QString>
#include <optional>

namespace tavrik::wayland {

// A top-level window as the compositor lists it; rectangles are global.
struct CompositorWindow {
    qint64 id = 0; // the compositor's own id for the window
    qint64 pid = 0;
    QString appID; // the Wayland app id, or the X11 class of an Xwayland window
    QString title;
    Rect frame;                 // the window as placed, without server-side decorations
    Rect outline;               // with the compositor's border and title bar
    std::optional<Rect> buffer; // the whole surface, a client-side shadow included
    bool focused = false;
    bool visible = false;
};

// Where windows are, from a compositor that says so (through its IPC or an extension of ours):
// Wayland tells an ordinary client nothing of other windows.
class CompositorWindows {
public:
    virtual ~CompositorWindows() = default;
    virtual bool isReachable() = 0;
    // Every window; the topmost first when the compositor keeps a stacking order.
    virtual QList<CompositorWindow> windows() = 0;
    virtual bool keepsStackingOrder() const = 0;
    // Whether toolkits draw their own title bars here (Qt then counts from below its own).
    virtual bool clientsDecorate() const = 0;
    // Raises and focuses the window; false when the compositor refused or does not know it.
    virtual bool focus(qint64 id) = 0;

    std::optional<CompositorWindow> windowOfProcess(qint64 pid, const QString& appID = {});
};

// A rectangle as compositors write one in JSON: {"x", "y", "width", "height"}.
Rect rectFromJson(const QJsonValue& value);

} // namespace tavrik::wayland
