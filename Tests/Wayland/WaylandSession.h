#pragma once

#include "NativeForm.h"
#include "Support/ReplayProcess.h"
#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopBackend.h"
#include "TavrikPlatform/Wayland/SwayIpc.h"

#include <gtest/gtest.h>
#include <memory>

// The tests that run inside scripts/wayland-session (ctest registers them under weston and under
// sway); elsewhere they are skipped.
namespace tavrik::test {

inline bool underSway() {
    return !wayland::SwayIpc::socketFromEnvironment().isEmpty();
}

class WaylandSession : public testing::Test {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
            GTEST_SKIP() << "needs a Wayland session (scripts/wayland-session)";
    }

    std::optional<LiveWindow> windowOf(const QString& appID) {
        std::optional<LiveWindow> found;
        waitFor(
            [&] {
                for (const LiveWindow& w : actor->windows())
                    if (w.appID == appID)
                        found = w;
                return found.has_value();
            },
            15000);
        return found;
    }

    std::optional<LiveElement> element(const LiveWindow& window, const QString& role,
                                       const QString& name = {}) {
        for (const LiveElement& e : actor->elements(window, role, 200))
            if (name.isEmpty() || e.name == name)
                return e;
        return std::nullopt;
    }

    std::unique_ptr<DesktopActor> actor = DesktopBackend::createDesktopActor();
};

} // namespace tavrik::test
