#pragma once

#include "TavrikCore/Models/DisplayInfo.h"
#include "TavrikCore/Models/Rect.h"
#include "TavrikPlatform/Wayland/SwayIpc.h"

#include <QJsonObject>
#include <QList>

namespace tavrik::wayland {

// A top-level window as sway lists it.
struct SwayWindow {
    qint64 id = 0; // sway's container id
    qint64 pid = 0;
    QString appID; // the Wayland app id, or the X11 class of an Xwayland window
    QString title;
    Rect frame;   // the window's own surface, global
    Rect outline; // with sway's border and title bar
    bool focused = false;
    bool visible = false;
};

// Windows, outputs and focus through sway's IPC socket.
class SwayWindowLocator {
public:
    explicit SwayWindowLocator(QString socketPath, int timeoutMs = 1000);

    bool isReachable();
    // Every window, in tree order (sway keeps no stacking order for tiled windows).
    QList<SwayWindow> windows();
    std::optional<SwayWindow> windowOfProcess(qint64 pid, const QString& appID = {});
    QList<DisplayInfo> outputs();
    // Focuses the container and reports whether sway did it.
    bool focus(qint64 id);
    QString errorString() const { return m_ipc.errorString(); }

    // The windows of a get_tree reply, floating ones included.
    static QList<SwayWindow> parseTree(const QJsonObject& root);
    static QList<DisplayInfo> parseOutputs(const QJsonArray& outputs);

private:
    SwayIpc m_ipc;
};

} // namespace tavrik::wayland
