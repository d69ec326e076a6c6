#pragma once

#include "TavrikCore/Models/Point.h"
#include "TavrikCore/Models/Rect.h"

struct wl_display;
struct wl_registry;
struct wl_proxy;

namespace tavrik::wayland {

// A pointer device of Tavrik's own on a wlroots compositor (wlr-virtual-pointer), on a Wayland
// connection of its own. Its motion goes through the compositor's input path as a mouse's does,
// so a client holding a press sees the pointer move: sway's cursor commands only place the
// cursor, and a drag made of them moves nothing in the application.
class WlrVirtualPointer final {
public:
    WlrVirtualPointer();
    ~WlrVirtualPointer();
    WlrVirtualPointer(const WlrVirtualPointer&) = delete;
    WlrVirtualPointer& operator=(const WlrVirtualPointer&) = delete;

    // Whether the compositor made the device.
    bool isAvailable() const { return m_pointer != nullptr; }
    // The box around every output, which absolute motion is measured against.
    void setLayout(const Rect& layout) { m_layout = layout; }
    // Each gesture returns once the compositor has handled it. Points are global.
    bool press(Point at);
    bool moveTo(Point at);
    bool release();
    // Presses the left button at `from`, moves through to `to` and lets go.
    bool drag(Point from, Point to);

private:
    static void global(void* data, wl_registry* registry, uint32_t name, const char* interface,
                       uint32_t version);
    static void globalRemove(void* data, wl_registry* registry, uint32_t name);
    void motion(Point at);
    void button(bool pressed);
    void frame();
    // Sends what is queued and waits until the compositor has handled it.
    bool flush();

    wl_display* m_display = nullptr;
    wl_registry* m_registry = nullptr;
    wl_proxy* m_manager = nullptr;
    wl_proxy* m_pointer = nullptr;
    Rect m_layout;
    unsigned m_time = 0;
};

} // namespace tavrik::wayland
