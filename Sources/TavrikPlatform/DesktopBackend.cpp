#include "TavrikPlatform/DesktopBackend.h"

#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopSession.h"
#include "TavrikPlatform/Null/NullDesktop.h"
#include "TavrikPlatform/Wayland/AccessiblePointer.h"
#include "TavrikPlatform/Wayland/GnomeShellHotkeys.h"
#include "TavrikPlatform/Wayland/GrimFrameCapturer.h"
#include "TavrikPlatform/Wayland/SwayWindowLocator.h"
#include "TavrikPlatform/Wayland/WaylandDesktop.h"
#include "TavrikPlatform/Wayland/WtypeInput.h"

#ifdef TAVRIK_HAVE_X11
#include "TavrikPlatform/X11/X11FrameCapturer.h"
#include "TavrikPlatform/X11/X11HotkeyGrabber.h"
#include "TavrikPlatform/X11/X11InputMonitor.h"
#include "TavrikPlatform/X11/XTestInput.h"
#endif

namespace tavrik::DesktopBackend {

bool isWayland() {
    return DesktopSession::current() == DesktopSession::Kind::wayland;
}

bool hasX11() {
#ifdef TAVRIK_HAVE_X11
    return DesktopSession::current() == DesktopSession::Kind::x11;
#else
    return false;
#endif
}

std::unique_ptr<InputMonitor> createInputMonitor() {
#ifdef TAVRIK_HAVE_X11
    if (hasX11())
        return std::make_unique<x11::X11InputMonitor>();
#endif
    return std::make_unique<NullInputMonitor>();
}

std::unique_ptr<HotkeyGrabber> createHotkeyGrabber() {
    if (isWayland() && wayland::WaylandDesktop::current().gnomeExtension)
        return std::make_unique<wayland::GnomeShellHotkeys>();
#ifdef TAVRIK_HAVE_X11
    if (hasX11())
        return std::make_unique<x11::X11HotkeyGrabber>();
#endif
    return std::make_unique<NullHotkeyGrabber>();
}

std::unique_ptr<FrameCapturer> createFrameCapturer() {
    if (isWayland()) {
        const wayland::WaylandDesktop::Offer offer = wayland::WaylandDesktop::current();
        if (offer.sway && offer.grim) {
            wayland::SwayWindowLocator sway(wayland::SwayIpc::socketFromEnvironment());
            auto capturer = std::make_unique<wayland::GrimFrameCapturer>(
                wayland::WaylandDesktop::programPath(QStringLiteral("grim")), sway.outputs());
            if (capturer->isAvailable())
                return capturer;
        }
        return std::make_unique<NullFrameCapturer>();
    }
#ifdef TAVRIK_HAVE_X11
    if (hasX11())
        return std::make_unique<x11::X11FrameCapturer>();
#endif
    return std::make_unique<NullFrameCapturer>();
}

std::unique_ptr<SyntheticInput> createSyntheticInput() {
    if (isWayland()) {
        const wayland::WaylandDesktop::Offer offer = wayland::WaylandDesktop::current();
        std::unique_ptr<SyntheticInput> keys;
        if (offer.sway && offer.wtype)
            keys = std::make_unique<wayland::WtypeInput>(
                wayland::WaylandDesktop::programPath(QStringLiteral("wtype")));
        // Clicks land through accessibility where the actor can place windows globally.
        if (offer.sway || offer.gnomeExtension) {
            auto pointer =
                std::make_unique<wayland::AccessiblePointer>(createDesktopActor(), std::move(keys));
            if (pointer->isAvailable())
                return pointer;
            return std::make_unique<NullSyntheticInput>();
        }
        if (keys)
            return keys;
        return std::make_unique<NullSyntheticInput>();
    }
#ifdef TAVRIK_HAVE_X11
    if (hasX11()) {
        auto input = std::make_unique<x11::XTestInput>();
        if (input->isAvailable())
            return input;
    }
#endif
    return std::make_unique<NullSyntheticInput>();
}

} // namespace tavrik::DesktopBackend
