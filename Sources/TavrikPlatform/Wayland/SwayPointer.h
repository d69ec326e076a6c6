#pragma once

#include "TavrikCore/Models/Rect.h"
#include "TavrikCore/Replay/SyntheticInput.h"
#include "TavrikPlatform/Wayland/SwayIpc.h"

#ifdef TAVRIK_HAVE_WLR_VIRTUAL_POINTER
#include "TavrikPlatform/Wayland/VirtualPointer/WlrVirtualPointer.h"
#endif

#include <QStringList>
#include <memory>
#include <optional>

namespace tavrik::wayland {

// The pointer through sway's own cursor commands over its IPC socket (`seat - cursor set`,
// `press`, `release`): sway moves its cursor and clicks as if the seat's mouse had, so clients
// get ordinary pointer events. It needs a seat with a pointer, which every desktop with a mouse
// or touchpad has. Drags go through a pointer device of Tavrik's own (WlrVirtualPointer): a
// cursor placed by a command while a button is held moves nothing in the application. Keys go
// to `keys`.
class SwayPointer final : public SyntheticInput {
public:
    SwayPointer(SwayIpc ipc, std::unique_ptr<SyntheticInput> keys);

    // sway answers and its seat has a pointer.
    bool isAvailable() const override;
    bool pressKey(quint16 keyCode, quint64 modifierFlags) override;
    bool typeText(const QString& text) override;
    bool click(Point at, Button button, int count) override;
    bool drag(Point from, Point to) override;
    bool scroll(Point at, int dx, int dy) override;

    // The commands for each gesture, run as one IPC request so that nothing comes between them.
    static QStringList clickCommands(Point at, Button button, int count);
    static QStringList scrollCommands(Point at, int dx, int dy);
    // True when each command of a run_command reply succeeded.
    static bool succeeded(const QJsonDocument& reply, qsizetype commands);
    // The box around every active output of a get_outputs reply, which absolute motion spans.
    static std::optional<Rect> layoutBox(const QJsonArray& outputs);

private:
    bool run(const QStringList& commands);

    mutable SwayIpc m_ipc;
    std::unique_ptr<SyntheticInput> m_keys;
#ifdef TAVRIK_HAVE_WLR_VIRTUAL_POINTER
    // Made at the first drag: a new device is a change on the user's seat.
    std::unique_ptr<WlrVirtualPointer> m_device;
#endif
};

} // namespace tavrik::wayland
