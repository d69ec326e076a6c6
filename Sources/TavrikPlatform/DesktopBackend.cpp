#include "TavrikPlatform/DesktopBackend.h"

#include "TavrikPlatform/DesktopSession.h"
#include "TavrikPlatform/Null/NullDesktop.h"

#ifdef TAVRIK_HAVE_X11
#include "TavrikPlatform/X11/X11FrameCapturer.h"
#include "TavrikPlatform/X11/X11HotkeyGrabber.h"
#include "TavrikPlatform/X11/X11InputMonitor.h"
#include "TavrikPlatform/X11/XTestInput.h"
#endif

namespace tavrik::DesktopBackend {

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
#ifdef TAVRIK_HAVE_X11
    if (hasX11())
        return std::make_unique<x11::X11HotkeyGrabber>();
#endif
    return std::make_unique<NullHotkeyGrabber>();
}

std::unique_ptr<FrameCapturer> createFrameCapturer() {
#ifdef TAVRIK_HAVE_X11
    if (hasX11())
        return std::make_unique<x11::X11FrameCapturer>();
#endif
    return std::make_unique<NullFrameCapturer>();
}

std::unique_ptr<SyntheticInput> createSyntheticInput() {
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
