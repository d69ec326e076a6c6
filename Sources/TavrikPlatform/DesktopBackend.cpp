#include "TavrikPlatform/DesktopBackend.h"

#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopSession.h"
#include "TavrikPlatform/Evdev/EvdevHotkeys.h"
#include "TavrikPlatform/Null/NullAccessibility.h"
#include "TavrikPlatform/Null/NullDesktop.h"
#include "TavrikPlatform/Wayland/AccessiblePointer.h"
#include "TavrikPlatform/Wayland/GnomeShellHotkeys.h"
#include "TavrikPlatform/Wayland/GrimFrameCapturer.h"
#include "TavrikPlatform/Wayland/KWinFrameCapturer.h"
#include "TavrikPlatform/Wayland/KWinHotkeys.h"
#include "TavrikPlatform/Wayland/KWinScript.h"
#include "TavrikPlatform/Wayland/KWinWindows.h"
#include "TavrikPlatform/Wayland/MutterRemoteDesktop.h"
#include "TavrikPlatform/Wayland/MutterScreenCast.h"
#include "TavrikPlatform/Wayland/ScreenCastFrameCapturer.h"
#include "TavrikPlatform/Wayland/ScreenCastPortal.h"
#include "TavrikPlatform/Wayland/SwayHotkeys.h"
#include "TavrikPlatform/Wayland/SwayPointer.h"
#include "TavrikPlatform/Wayland/SwayWindowLocator.h"
#include "TavrikPlatform/Wayland/WaylandDesktop.h"
#include "TavrikPlatform/Wayland/WtypeInput.h"

#ifdef TAVRIK_HAVE_ATSPI
#include "TavrikPlatform/AtSpi/AtSpiDesktopActor.h"
#include "TavrikPlatform/AtSpi/AtSpiInputMonitor.h"
#include "TavrikPlatform/AtSpi/AtSpiResolver.h"
#include "TavrikPlatform/Permissions/LinuxPermissionBackend.h"
#include "TavrikPlatform/Wayland/GnomeShellWindows.h"
#include "TavrikPlatform/Wayland/WaylandWindows.h"
#endif
#ifdef TAVRIK_HAVE_KWIN_FAKE_INPUT
#include "TavrikPlatform/Wayland/FakeInput/KWinFakeInput.h"
#endif
#ifdef TAVRIK_HAVE_POCKETSPHINX
#include "TavrikPlatform/Audio/NarrationBackends.h"
#endif
#ifdef TAVRIK_HAVE_X11
#include "TavrikPlatform/X11/X11FrameCapturer.h"
#include "TavrikPlatform/X11/X11HotkeyGrabber.h"
#include "TavrikPlatform/X11/X11InputMonitor.h"
#include "TavrikPlatform/X11/XTestInput.h"
#endif

#include <QCoreApplication>
#include <QSettings>

// Every choice of a desktop backend is made here, from the one session kind DesktopSession
// decides (TAVRIK_DESKTOP_BACKEND overrides it), so no other code asks which platform it runs on.
namespace tavrik::DesktopBackend {

namespace {

DesktopSession::Kind kind() {
    return DesktopSession::current();
}

// GNOME's screen: the portal asks the user once and hands out a token that spares the question
// next time, kept in Tavrik's settings; mutter's own interface, where there is no portal, asks
// nobody.
std::unique_ptr<FrameCapturer> gnomeFrameCapturer() {
    const QString gstLaunch =
        wayland::WaylandDesktop::programPath(QStringLiteral("gst-launch-1.0"));
    std::unique_ptr<wayland::ScreenCastSource> source;
    if (wayland::ScreenCastPortal::isOffered()) {
        const QString key = QStringLiteral("wayland/screenCastRestoreToken");
        const QString token =
            QSettings(QStringLiteral("Tavrik"), QStringLiteral("Tavrik")).value(key).toString();
        source = std::make_unique<wayland::ScreenCastPortal>(token, [key](const QString& next) {
            QSettings(QStringLiteral("Tavrik"), QStringLiteral("Tavrik")).setValue(key, next);
        });
    } else if (wayland::MutterScreenCast::isOffered()) {
        source = std::make_unique<wayland::MutterScreenCast>();
    }
    if (!source || gstLaunch.isEmpty())
        return nullptr;
    return std::make_unique<wayland::ScreenCastFrameCapturer>(std::move(source), gstLaunch);
}

#ifdef TAVRIK_HAVE_ATSPI
// Accessibility works on every compositor; sway, GNOME with our extension, and KWin with our
// script also tell where windows are.
std::unique_ptr<wayland::WaylandWindows> waylandWindows() {
    std::unique_ptr<wayland::CompositorWindows> placer;
    if (const QString socket = wayland::SwayIpc::socketFromEnvironment(); !socket.isEmpty())
        placer = std::make_unique<wayland::SwayWindowLocator>(socket);
    else if (wayland::GnomeShellWindows::isOffered())
        placer = std::make_unique<wayland::GnomeShellWindows>();
    else if (wayland::KWinScript::isOffered())
        placer = std::make_unique<wayland::KWinWindows>(wayland::KWinScript::shared());
    return std::make_unique<wayland::WaylandWindows>(std::move(placer));
}
#endif

} // namespace

bool isWayland() {
    return kind() == DesktopSession::Kind::wayland;
}

bool hasX11() {
#ifdef TAVRIK_HAVE_X11
    return kind() == DesktopSession::Kind::x11;
#else
    return false;
#endif
}

std::unique_ptr<InputMonitor> createInputMonitor() {
#ifdef TAVRIK_HAVE_ATSPI
    // No compositor lets a program watch input: accessibility reports what the focused
    // application sees.
    if (isWayland()) {
        // Where the compositor tells where the pointer is, the pointer devices can be read too.
        evdev::EvdevPointer::Locate pointer;
        const wayland::WaylandDesktop::Offer offer = wayland::WaylandDesktop::current();
        if (offer.gnomeExtension) {
            auto shell = std::make_shared<wayland::GnomeShellWindows>();
            pointer = [shell] { return shell->pointer(); };
        } else if (offer.kwin && wayland::KWinScript::isOffered()) {
            auto kwin = std::make_shared<wayland::KWinWindows>(wayland::KWinScript::shared());
            pointer = [kwin] { return kwin->pointer(); };
        }
        return std::make_unique<atspi::AtSpiInputMonitor>(
            waylandWindows(),
            std::make_unique<atspi::AtSpiResolver>(waylandWindows(),
                                                   atspi::AtSpiResolver::Options{}),
            std::move(pointer));
    }
#endif
#ifdef TAVRIK_HAVE_X11
    if (hasX11())
        return std::make_unique<x11::X11InputMonitor>();
#endif
    return std::make_unique<NullInputMonitor>();
}

std::unique_ptr<HotkeyGrabber> createHotkeyGrabber() {
    if (isWayland()) {
        const wayland::WaylandDesktop::Offer offer = wayland::WaylandDesktop::current();
        // Control taps come from sway's bindings; elsewhere no compositor shows Tavrik keys, so
        // they come from the keyboards, where they can be read (and where sway cannot bind
        // Control, from them there too).
        std::unique_ptr<HotkeyGrabber> shortcuts;
        if (offer.sway)
            shortcuts = std::make_unique<wayland::SwayHotkeys>(
                wayland::SwayIpc::socketFromEnvironment(), QCoreApplication::applicationFilePath());
        else if (offer.gnomeExtension)
            shortcuts = std::make_unique<wayland::GnomeShellHotkeys>();
        else if (offer.kwin)
            shortcuts = std::make_unique<wayland::KWinHotkeys>();
        if (offer.inputDevices || offer.gnomeExtension || offer.kwin)
            return std::make_unique<evdev::EvdevHotkeys>(std::move(shortcuts));
        if (shortcuts)
            return shortcuts;
        return std::make_unique<NullHotkeyGrabber>();
    }
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
        if (offer.gnome) {
            if (auto capturer = gnomeFrameCapturer(); capturer && capturer->isAvailable())
                return capturer;
        }
        if (offer.kwinScreenShot) {
            if (auto capturer = std::make_unique<wayland::KWinFrameCapturer>();
                capturer->isAvailable())
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
        // GNOME: keys and the pointer through mutter, as a person's own devices.
        if (offer.gnome && offer.remoteDesktop)
            return std::make_unique<wayland::MutterRemoteDesktop>();
        if (!offer.sway && !offer.gnomeExtension && !offer.kwin)
            return std::make_unique<NullSyntheticInput>();
        const auto keys = [&]() -> std::unique_ptr<SyntheticInput> {
            if (!offer.sway || !offer.wtype)
                return nullptr;
            return std::make_unique<wayland::WtypeInput>(
                wayland::WaylandDesktop::programPath(QStringLiteral("wtype")));
        };
#ifdef TAVRIK_HAVE_KWIN_FAKE_INPUT
        if (offer.kwin) {
            auto fake = std::make_unique<wayland::KWinFakeInput>();
            if (fake->isAvailable())
                return fake;
        }
#endif
        // sway's own cursor where its seat has a pointer; otherwise clicks land through
        // accessibility, where the actor places windows globally.
        if (offer.sway) {
            auto cursor = std::make_unique<wayland::SwayPointer>(
                wayland::SwayIpc(wayland::SwayIpc::socketFromEnvironment()), keys());
            if (cursor->isAvailable())
                return cursor;
        }
        auto pointer = std::make_unique<wayland::AccessiblePointer>(createDesktopActor(), keys());
        if (pointer->isAvailable())
            return pointer;
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

std::unique_ptr<AXResolver> createAXResolver() {
#ifdef TAVRIK_HAVE_ATSPI
    // X11's windows would be only XWayland programs on Wayland.
    if (isWayland()) {
        auto resolver = std::make_unique<atspi::AtSpiResolver>(waylandWindows(),
                                                               atspi::AtSpiResolver::Options{});
        if (resolver->isAvailable())
            return resolver;
    }
    if (kind() == DesktopSession::Kind::x11) {
        auto resolver = std::make_unique<atspi::AtSpiResolver>();
        if (resolver->isAvailable())
            return resolver;
    }
#endif
    return std::make_unique<NullAXResolver>();
}

std::unique_ptr<DesktopActor> createDesktopActor() {
#ifdef TAVRIK_HAVE_ATSPI
    if (isWayland()) {
        auto actor = std::make_unique<atspi::AtSpiDesktopActor>(
            waylandWindows(), atspi::AtSpiDesktopActor::Options{});
        if (actor->isAvailable())
            return actor;
    }
    if (kind() == DesktopSession::Kind::x11) {
        auto actor = std::make_unique<atspi::AtSpiDesktopActor>();
        if (actor->isAvailable())
            return actor;
    }
#endif
    return std::make_unique<NullDesktopActor>();
}

std::unique_ptr<PermissionsManager> createPermissionsManager(QObject* parent) {
#ifdef TAVRIK_HAVE_ATSPI
    return std::make_unique<PermissionsManager>(
        std::make_unique<linux_desktop::LinuxPermissionBackend>(),
        &linux_desktop::openDesktopSettings, parent);
#else
    return std::make_unique<PermissionsManager>(std::make_unique<NullPermissionBackend>(), nullptr,
                                                parent);
#endif
}

std::unique_ptr<NarrationRecorder> createNarrationRecorder() {
#ifdef TAVRIK_HAVE_POCKETSPHINX
    return std::make_unique<NarrationRecorder>(audio::microphoneOrFileInput(),
                                               audio::pocketSphinx());
#else
    return std::make_unique<NarrationRecorder>(nullptr, nullptr);
#endif
}

} // namespace tavrik::DesktopBackend
