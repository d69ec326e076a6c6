#include "TavrikPlatform/Wayland/VirtualPointer/WlrVirtualPointer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <linux/input-event-codes.h>
#include <wayland-client.h>

namespace tavrik::wayland {

namespace {

// The protocol's two interfaces, spelled out: Debian installs no wlr-protocols XML to generate
// them from. The order of the requests is their opcodes; libwayland takes the type arrays
// non-const.
const wl_interface* noTypes[] = {nullptr, nullptr, nullptr, nullptr, nullptr};
extern const wl_interface pointerInterface;
const wl_interface* createTypes[] = {&wl_seat_interface, &pointerInterface};
const wl_message managerRequests[] = {
    {"create_virtual_pointer", "?on", createTypes},
    {"destroy", "", noTypes},
};
const wl_interface managerInterface = {
    "zwlr_virtual_pointer_manager_v1", 1, 2, managerRequests, 0, nullptr};
const wl_message pointerRequests[] = {
    {"motion", "uff", noTypes},   {"motion_absolute", "uuuuu", noTypes},
    {"button", "uuu", noTypes},   {"axis", "uuf", noTypes},
    {"frame", "", noTypes},       {"axis_source", "u", noTypes},
    {"axis_stop", "uu", noTypes}, {"axis_discrete", "uufi", noTypes},
    {"destroy", "", noTypes},
};
const wl_interface pointerInterface = {"zwlr_virtual_pointer_v1", 1, 9,
                                       pointerRequests,           0, nullptr};

enum ManagerRequest : uint32_t { createVirtualPointer = 0, destroyManager = 1 };
enum PointerRequest : uint32_t {
    motionAbsolute = 1,
    buttonRequest = 2,
    frameRequest = 4,
    destroyPointer = 8
};

// A drag passes through points this far apart, so that toolkits see motion, not a jump.
constexpr double dragStep = 20;
constexpr int maxDragSteps = 50;

} // namespace

WlrVirtualPointer::WlrVirtualPointer() {
    m_display = wl_display_connect(nullptr);
    if (!m_display)
        return;
    m_registry = wl_display_get_registry(m_display);
    static const wl_registry_listener registryListener{&WlrVirtualPointer::global,
                                                       &WlrVirtualPointer::globalRemove};
    wl_registry_add_listener(m_registry, &registryListener, this);
    wl_display_roundtrip(m_display);
    if (!m_manager)
        return;
    // Any seat: the compositor's default, which is the user's.
    m_pointer = wl_proxy_marshal_constructor(m_manager, createVirtualPointer, &pointerInterface,
                                             nullptr, nullptr);
    if (!m_pointer || !flush()) {
        if (m_pointer)
            wl_proxy_destroy(m_pointer);
        m_pointer = nullptr;
    }
}

WlrVirtualPointer::~WlrVirtualPointer() {
    if (m_pointer) {
        wl_proxy_marshal(m_pointer, destroyPointer);
        wl_proxy_destroy(m_pointer);
    }
    if (m_manager) {
        wl_proxy_marshal(m_manager, destroyManager);
        wl_proxy_destroy(m_manager);
    }
    if (m_registry)
        wl_registry_destroy(m_registry);
    if (m_display) {
        wl_display_flush(m_display);
        wl_display_disconnect(m_display);
    }
}

void WlrVirtualPointer::global(void* data, wl_registry* registry, uint32_t name,
                               const char* interface, uint32_t /*version*/) {
    auto* self = static_cast<WlrVirtualPointer*>(data);
    if (std::strcmp(interface, managerInterface.name) != 0 || self->m_manager)
        return;
    self->m_manager =
        static_cast<wl_proxy*>(wl_registry_bind(registry, name, &managerInterface, 1));
}

void WlrVirtualPointer::globalRemove(void*, wl_registry*, uint32_t) {}

void WlrVirtualPointer::motion(Point at) {
    const auto clamped = [](double value, double origin, double extent) {
        return uint32_t(std::clamp(std::lround(value - origin), 0L, std::lround(extent) - 1));
    };
    wl_proxy_marshal(
        m_pointer, motionAbsolute, ++m_time, clamped(at.x, m_layout.origin.x, m_layout.size.width),
        clamped(at.y, m_layout.origin.y, m_layout.size.height),
        uint32_t(std::lround(m_layout.size.width)), uint32_t(std::lround(m_layout.size.height)));
    frame();
}

void WlrVirtualPointer::button(bool pressed) {
    wl_proxy_marshal(
        m_pointer, buttonRequest, ++m_time, uint32_t(BTN_LEFT),
        uint32_t(pressed ? WL_POINTER_BUTTON_STATE_PRESSED : WL_POINTER_BUTTON_STATE_RELEASED));
    frame();
}

void WlrVirtualPointer::frame() {
    wl_proxy_marshal(m_pointer, frameRequest);
}

bool WlrVirtualPointer::flush() {
    return wl_display_roundtrip(m_display) >= 0;
}

bool WlrVirtualPointer::press(Point at) {
    if (!m_pointer || m_layout.size.width < 1 || m_layout.size.height < 1)
        return false;
    motion(at);
    // The application learns where the pointer is before the press lands there.
    if (!flush())
        return false;
    button(true);
    return flush();
}

bool WlrVirtualPointer::moveTo(Point at) {
    if (!m_pointer || m_layout.size.width < 1 || m_layout.size.height < 1)
        return false;
    motion(at);
    return flush();
}

bool WlrVirtualPointer::release() {
    if (!m_pointer)
        return false;
    button(false);
    return flush();
}

bool WlrVirtualPointer::drag(Point from, Point to) {
    if (!press(from))
        return false;
    const double distance = std::hypot(to.x - from.x, to.y - from.y);
    const int steps = std::clamp(int(distance / dragStep), 1, maxDragSteps);
    for (int i = 1; i <= steps; ++i) {
        const double t = double(i) / steps;
        motion(Point{from.x + t * (to.x - from.x), from.y + t * (to.y - from.y)});
    }
    return release();
}

} // namespace tavrik::wayland
