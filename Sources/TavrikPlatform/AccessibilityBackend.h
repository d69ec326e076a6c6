#pragma once

#include "TavrikCore/Permissions/PermissionsManager.h"
#include "TavrikCore/Recorder/AXResolver.h"
#include "TavrikCore/Recorder/NarrationRecorder.h"
#include "TavrikCore/Replay/DesktopActor.h"

#include <memory>

// The accessibility, permission and narration services for the session Tavrik runs in, or
// stand-ins that say they are unavailable when the build or the session lacks what they need.
namespace tavrik::DesktopBackend {

// AT-SPI2 with X11 window state when built with it and a display is set.
std::unique_ptr<AXResolver> createAXResolver();
// The same, for acting on the desktop's elements during a replay; on Wayland with the
// compositor's window places where it gives them (sway).
std::unique_ptr<DesktopActor> createDesktopActor();
// X11 and session-bus checks; settings opened with the desktop's own settings program.
std::unique_ptr<PermissionsManager> createPermissionsManager(QObject* parent = nullptr);
// The microphone (or the WAV file named by TAVRIK_NARRATION_WAV) and pocketsphinx; without
// pocketsphinx in the build, no input at all, so stop answers at once with an empty transcript.
std::unique_ptr<NarrationRecorder> createNarrationRecorder();

} // namespace tavrik::DesktopBackend
