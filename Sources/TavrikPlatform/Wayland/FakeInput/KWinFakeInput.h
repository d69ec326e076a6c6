#pragma once

#include "TavrikCore/Replay/SyntheticInput.h"

#include <QList>

struct wl_display;
struct wl_registry;
struct org_kde_kwin_fake_input;

namespace tavrik::wayland {

// Keys and the pointer on KWin through its fake-input protocol, on a Wayland connection of its
// own. KWin grants the protocol to programs whose desktop file asks for it
// (X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input), or to any when started with
// KWIN_WAYLAND_NO_PERMISSION_CHECKS=1. Points are global, in the compositor's logical pixels.
class KWinFakeInput final : public SyntheticInput {
public:
    KWinFakeInput();
    ~KWinFakeInput() override;
    KWinFakeInput(const KWinFakeInput&) = delete;
    KWinFakeInput& operator=(const KWinFakeInput&) = delete;

    // Whether KWin offers the protocol in a version with absolute motion and keys.
    bool isAvailable() const override { return m_input != nullptr; }
    bool pressKey(quint16 keyCode, quint64 modifierFlags) override;
    bool typeText(const QString& text) override;
    bool click(Point at, Button button, int count) override;
    bool drag(Point from, Point to) override;
    bool scroll(Point at, int dx, int dy) override;

private:
    static void global(void* data, wl_registry* registry, uint32_t name, const char* interface,
                       uint32_t version);
    static void globalRemove(void* data, wl_registry* registry, uint32_t name);
    void moveTo(Point at);
    void key(quint16 linuxCode, bool pressed);
    // Sends what is queued and waits until KWin has handled it.
    bool flush();

    wl_display* m_display = nullptr;
    wl_registry* m_registry = nullptr;
    org_kde_kwin_fake_input* m_input = nullptr;
};

} // namespace tavrik::wayland
