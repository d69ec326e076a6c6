#include "TavrikPlatform/AccessibilityBackend.h"

#include "TavrikPlatform/DesktopSession.h"
#include "TavrikPlatform/Null/NullAccessibility.h"

#ifdef TAVRIK_HAVE_ATSPI
#include "TavrikPlatform/AtSpi/AtSpiDesktopActor.h"
#include "TavrikPlatform/AtSpi/AtSpiResolver.h"
#include "TavrikPlatform/Permissions/LinuxPermissionBackend.h"
#include "TavrikPlatform/Wayland/GnomeShellWindows.h"
#include "TavrikPlatform/Wayland/SwayWindowLocator.h"
#include "TavrikPlatform/Wayland/WaylandWindows.h"
#endif
#ifdef TAVRIK_HAVE_POCKETSPHINX
#include "TavrikPlatform/Audio/NarrationBackends.h"
#endif

namespace tavrik::DesktopBackend {

std::unique_ptr<AXResolver> createAXResolver() {
#ifdef TAVRIK_HAVE_ATSPI
    // Both find windows through X: on Wayland they would see only XWayland programs.
    if (DesktopSession::current() == DesktopSession::Kind::x11) {
        auto resolver = std::make_unique<atspi::AtSpiResolver>();
        if (resolver->isAvailable()) {
            return resolver;
        }
    }
#endif
    return std::make_unique<NullAXResolver>();
}

std::unique_ptr<DesktopActor> createDesktopActor() {
#ifdef TAVRIK_HAVE_ATSPI
    if (DesktopSession::current() == DesktopSession::Kind::wayland) {
        // Accessibility works on every compositor; sway, and GNOME with our extension, also tell
        // where windows are.
        std::unique_ptr<wayland::CompositorWindows> placer;
        if (const QString socket = wayland::SwayIpc::socketFromEnvironment(); !socket.isEmpty())
            placer = std::make_unique<wayland::SwayWindowLocator>(socket);
        else if (wayland::GnomeShellWindows::isOffered())
            placer = std::make_unique<wayland::GnomeShellWindows>();
        auto actor = std::make_unique<atspi::AtSpiDesktopActor>(
            std::make_unique<wayland::WaylandWindows>(std::move(placer)),
            atspi::AtSpiDesktopActor::Options{});
        if (actor->isAvailable())
            return actor;
    }
    if (DesktopSession::current() == DesktopSession::Kind::x11) {
        auto actor = std::make_unique<atspi::AtSpiDesktopActor>();
        if (actor->isAvailable()) {
            return actor;
        }
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
