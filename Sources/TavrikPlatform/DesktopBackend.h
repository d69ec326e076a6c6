#pragma once

#include "TavrikCore/Hotkeys/HotkeyGrabber.h"
#include "TavrikCore/Recorder/FrameCapturer.h"
#include "TavrikCore/Recorder/InputMonitor.h"
#include "TavrikCore/Replay/SyntheticInput.h"

#include <memory>

// Chooses the implementations of the desktop interfaces for the session Tavrik runs in: X11 when
// the build has it and the session is X11; on Wayland what the compositor offers (sway: grim for
// frames, wtype for keys); otherwise stand-ins that report they are unavailable.
namespace tavrik::DesktopBackend {

bool hasX11();
bool isWayland();
std::unique_ptr<InputMonitor> createInputMonitor();
std::unique_ptr<HotkeyGrabber> createHotkeyGrabber();
std::unique_ptr<FrameCapturer> createFrameCapturer();
// XTest input; a stand-in when the server lacks the extension.
std::unique_ptr<SyntheticInput> createSyntheticInput();

} // namespace tavrik::DesktopBackend
