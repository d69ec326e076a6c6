#pragma once

#include "TavrikCore/Models/DisplayInfo.h"
#include "TavrikCore/Models/Rect.h"
#include "TavrikPlatform/Wayland/CompositorWindows.h"
#include "TavrikPlatform/Wayland/SwayIpc.h"

#include <QJsonObject>
#include <QList>

namespace tavrik::wayland {

// Windows, outputs and focus through sway's IPC socket.
class SwayWindowLocator final : public CompositorWindows {
public:
    explicit SwayWindowLocator(QString socketPath, int timeoutMs = 1000);

    bool isReachable() override;
    // Every window, in tree order (sway keeps no stacking order for tiled windows).
    QList<CompositorWindow> windows() override;
    bool keepsStackingOrder() const override { return false; }
    // Qt takes sway's server-side decorations.
    bool clientsDecorate() const override { return false; }
    QList<DisplayInfo> outputs();
    // Focuses the container and reports whether sway did it.
    bool focus(qint64 id) override;
    QString errorString() const { return m_ipc.errorString(); }

    // The windows of a get_tree reply, floating ones included.
    static QList<CompositorWindow> parseTree(const QJsonObject& root);
    static QList<DisplayInfo> parseOutputs(const QJsonArray& outputs);

private:
    SwayIpc m_ipc;
};

} // namespace tavrik::wayland
