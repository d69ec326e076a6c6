#include "TavrikPlatform/Wayland/FakeInput/KWinFakeInput.h"

#include "TavrikPlatform/Wayland/FakeInputKeys.h"
#include "fake-input-client-protocol.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <linux/input-event-codes.h>
#include <wayland-client.h>

namespace tavrik::wayland {

namespace {

// Absolute motion came in version 3, keys in version 4.
constexpr uint32_t neededVersion = 4;
// A drag passes through points this far apart, so that toolkits see motion, not a jump.
constexpr double dragStep = 20;
constexpr int maxDragSteps = 50;
// One wheel step in wl_pointer axis units, as a mouse wheel sends it.
constexpr double wheelStep = 15;

uint32_t buttonCode(SyntheticInput::Button button) {
    switch (button) {
    case SyntheticInput::Button::left:
        return BTN_LEFT;
    case SyntheticInput::Button::middle:
        return BTN_MIDDLE;
    case SyntheticInput::Button::right:
        return BTN_RIGHT;
    }
    return BTN_LEFT;
}

} // namespace

KWinFakeInput::KWinFakeInput() {
    m_display = wl_display_connect(nullptr);
    if (!m_display)
        return;
    m_registry = wl_display_get_registry(m_display);
    static const wl_registry_listener registryListener{&KWinFakeInput::global,
                                                       &KWinFakeInput::globalRemove};
    wl_registry_add_listener(m_registry, &registryListener, this);
    wl_display_roundtrip(m_display);
    if (!m_input)
        return;
    org_kde_kwin_fake_input_authenticate(m_input, "Tavrik", "Replays the steps of a skill");
    // A new fake device loses its first event: a Shift tap takes that place.
    key(KEY_LEFTSHIFT, true);
    key(KEY_LEFTSHIFT, false);
    if (!flush()) {
        org_kde_kwin_fake_input_destroy(m_input);
        m_input = nullptr;
    }
}

KWinFakeInput::~KWinFakeInput() {
    if (m_input)
        org_kde_kwin_fake_input_destroy(m_input);
    if (m_registry)
        wl_registry_destroy(m_registry);
    if (m_display)
        wl_display_disconnect(m_display);
}

void KWinFakeInput::global(void* data, wl_registry* registry, uint32_t name, const char* interface,
                           uint32_t version) {
    auto* self = static_cast<KWinFakeInput*>(data);
    if (std::strcmp(interface, org_kde_kwin_fake_input_interface.name) != 0 ||
        version < neededVersion)
        return;
    self->m_input = static_cast<org_kde_kwin_fake_input*>(
        wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, neededVersion));
}

void KWinFakeInput::globalRemove(void*, wl_registry*, uint32_t) {}

bool KWinFakeInput::flush() {
    return m_display && wl_display_roundtrip(m_display) >= 0;
}

void KWinFakeInput::moveTo(Point at) {
    org_kde_kwin_fake_input_pointer_motion_absolute(m_input, wl_fixed_from_double(at.x),
                                                    wl_fixed_from_double(at.y));
}

void KWinFakeInput::key(quint16 linuxCode, bool pressed) {
    org_kde_kwin_fake_input_keyboard_key(m_input, linuxCode,
                                         pressed ? WL_KEYBOARD_KEY_STATE_PRESSED
                                                 : WL_KEYBOARD_KEY_STATE_RELEASED);
}

bool KWinFakeInput::pressKey(quint16 keyCode, quint64 modifierFlags) {
    const std::optional<QList<FakeInputKeys::Event>> events =
        FakeInputKeys::forKey(keyCode, modifierFlags);
    if (!m_input || !events)
        return false;
    for (const FakeInputKeys::Event& event : *events)
        key(event.linuxCode, event.pressed);
    return flush();
}

bool KWinFakeInput::typeText(const QString& text) {
    const std::optional<QList<FakeInputKeys::Event>> events = FakeInputKeys::forText(text);
    if (!m_input || !events)
        return false;
    for (const FakeInputKeys::Event& event : *events)
        key(event.linuxCode, event.pressed);
    return flush();
}

bool KWinFakeInput::click(Point at, Button button, int count) {
    if (!m_input)
        return false;
    moveTo(at);
    for (int i = 0; i < std::max(count, 1); ++i) {
        org_kde_kwin_fake_input_button(m_input, buttonCode(button),
                                       WL_POINTER_BUTTON_STATE_PRESSED);
        org_kde_kwin_fake_input_button(m_input, buttonCode(button),
                                       WL_POINTER_BUTTON_STATE_RELEASED);
    }
    return flush();
}

bool KWinFakeInput::drag(Point from, Point to) {
    if (!m_input)
        return false;
    moveTo(from);
    org_kde_kwin_fake_input_button(m_input, BTN_LEFT, WL_POINTER_BUTTON_STATE_PRESSED);
    const double distance = std::hypot(to.x - from.x, to.y - from.y);
    const int steps = std::clamp(int(distance / dragStep), 1, maxDragSteps);
    for (int i = 1; i <= steps; ++i) {
        const double t = double(i) / steps;
        moveTo(Point{from.x + (to.x - from.x) * t, from.y + (to.y - from.y) * t});
    }
    org_kde_kwin_fake_input_button(m_input, BTN_LEFT, WL_POINTER_BUTTON_STATE_RELEASED);
    return flush();
}

bool KWinFakeInput::scroll(Point at, int dx, int dy) {
    if (!m_input || (dx == 0 && dy == 0))
        return false;
    moveTo(at);
    if (dy != 0)
        org_kde_kwin_fake_input_axis(m_input, WL_POINTER_AXIS_VERTICAL_SCROLL,
                                     wl_fixed_from_double(dy * wheelStep));
    if (dx != 0)
        org_kde_kwin_fake_input_axis(m_input, WL_POINTER_AXIS_HORIZONTAL_SCROLL,
                                     wl_fixed_from_double(dx * wheelStep));
    return flush();
}

} // namespace tavrik::wayland
