#include "Support/ScopedEnvironment.h"
#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopBackend.h"
#include "TavrikPlatform/DesktopSession.h"

#include <gtest/gtest.h>

namespace tavrik {
namespace {

using DesktopSession::Kind;

TEST(DesktopSession, AWaylandSessionIsWaylandEvenWithAnXDisplayBesideIt) {
    const auto detect = [](const char* display, const char* wayland, const char* type,
                           const char* chosen = "") {
        return DesktopSession::detect({display, wayland, type, chosen});
    };
    EXPECT_EQ(detect(":0", "wayland-0", "wayland"), Kind::wayland);
    EXPECT_EQ(detect(":0", "wayland-0", ""), Kind::wayland); // no login manager said anything
    EXPECT_EQ(detect(":0", "", "wayland"), Kind::wayland);
    EXPECT_EQ(detect(":0", "wayland-0", "x11"), Kind::x11); // the login manager knows better
    EXPECT_EQ(detect(":0", "", ""), Kind::x11);
    EXPECT_EQ(detect("", "", "tty"), Kind::none);
    EXPECT_EQ(detect(":0", "wayland-0", "wayland", "X11"), Kind::x11);
    EXPECT_TRUE(DesktopSession::limitations(Kind::x11).isEmpty());
    EXPECT_TRUE(
        DesktopSession::limitations(Kind::wayland).contains(QStringLiteral("not drags, scrolls")));
}

// Blind X11 backends are never handed out for a Wayland session, whatever DISPLAY says.
TEST(DesktopSession, OnWaylandTheX11BackendsStayOut) {
    const test::ScopedEnvironment session("TAVRIK_DESKTOP_BACKEND", "wayland");
    const test::ScopedEnvironment display("DISPLAY", ":0");
    EXPECT_FALSE(DesktopBackend::hasX11());
    EXPECT_FALSE(DesktopBackend::createSyntheticInput()->isAvailable());
    // Accessibility serves Wayland too, but never with X's windows: here no compositor lists any.
    EXPECT_FALSE(DesktopBackend::createAXResolver()->frontmostApplication());
    EXPECT_FALSE(DesktopBackend::createFrameCapturer()->isAvailable());
}

} // namespace
} // namespace tavrik
