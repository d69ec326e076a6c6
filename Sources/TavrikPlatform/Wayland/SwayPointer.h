#pragma once

#include "TavrikCore/Replay/SyntheticInput.h"
#include "TavrikPlatform/Wayland/SwayIpc.h"

#include <QStringList>
#include <memory>

namespace tavrik::wayland {

// The pointer through sway's own cursor commands over its IPC socket (`seat - cursor set`,
// `press`, `release`): sway moves its cursor and clicks as if the seat's mouse had, so clients
// get ordinary pointer events. It needs a seat with a pointer, which every desktop with a mouse
// or touchpad has. Keys go to `keys`.
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
    static QStringList dragCommands(Point from, Point to);
    static QStringList scrollCommands(Point at, int dx, int dy);
    // True when each command of a run_command reply succeeded.
    static bool succeeded(const QJsonDocument& reply, qsizetype commands);

private:
    bool run(const QStringList& commands);

    mutable SwayIpc m_ipc;
    std::unique_ptr<SyntheticInput> m_keys;
};

} // namespace tavrik::wayland
