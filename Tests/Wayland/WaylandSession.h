#pragma once

#include "NativeForm.h"
#include "Support/ReplayProcess.h"
#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopBackend.h"
#include "TavrikPlatform/Wayland/GnomeShellWindows.h"
#include "TavrikPlatform/Wayland/KWinScript.h"
#include "TavrikPlatform/Wayland/SwayIpc.h"

#include <gtest/gtest.h>
#include <memory>

// The tests that run inside scripts/wayland-session (ctest registers them under weston and sway,
// and in the longer suite under GNOME Shell and KWin); elsewhere they are skipped.
namespace tavrik::test {

inline bool underSway() {
    return !wayland::SwayIpc::socketFromEnvironment().isEmpty();
}

inline bool underKwin() {
    return !underSway() && wayland::KWinScript::isOffered();
}

// GNOME Shell with Tavrik's extension.
inline bool underGnome() {
    return wayland::GnomeShellWindows::isOffered();
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

    // A started form's window and, once accessibility shows it, its first element of `role`
    // (named `name` when one is given).
    struct FormView {
        LiveWindow window;
        LiveElement element;
    };
    std::optional<FormView> viewOf(const NativeForm& form, NativeForm::Toolkit toolkit,
                                   const QString& role, const QString& name = {}) {
        if (!form.started())
            return std::nullopt;
        const std::optional<LiveWindow> window = windowOf(NativeForm::appID(toolkit));
        std::optional<LiveElement> found;
        if (window)
            waitFor([&] { return (found = element(*window, role, name)).has_value(); }, 10000);
        if (!found)
            return std::nullopt;
        return FormView{*window, *found};
    }

    // The shortcuts Tavrik takes on this desktop (the backend's choice), started while a native
    // form has the keyboard; the presses they report go to `pressed`.
    std::unique_ptr<HotkeyGrabber> startedShortcuts(const NativeForm& form,
                                                    QList<std::pair<quint16, quint64>>& pressed) {
        std::unique_ptr<HotkeyGrabber> hotkeys = DesktopBackend::createHotkeyGrabber();
        if (!viewOf(form, NativeForm::Toolkit::gtk, QStringLiteral("text")) || !hotkeys->start()) {
            ADD_FAILURE() << "no form, or " << hotkeys->errorString().toStdString();
            return nullptr;
        }
        QObject::connect(hotkeys.get(), &HotkeyGrabber::keyPressed,
                         [&pressed](quint16 code, quint64 flags) {
                             pressed.append({code, flags});
                         });
        return hotkeys;
    }

    std::unique_ptr<DesktopActor> actor = DesktopBackend::createDesktopActor();
};

// While `hotkeys` holds the palette shortcut, a second holder of the same kind is refused plainly;
// once `hotkeys` stops, it is given the shortcut.
template <class Grabber> void expectHeldUntilStopped(HotkeyGrabber& hotkeys) {
    Grabber second;
    EXPECT_FALSE(second.start());
    EXPECT_TRUE(second.errorString().contains(QStringLiteral("Another program holds Control-/")));
    second.stop();
    hotkeys.stop();
    EXPECT_TRUE(second.start()) << second.errorString().toStdString();
    second.stop();
}

// A key frame of display `id` with `hidden` blacked out, saved at `path`; its size when saved.
inline std::optional<Size> savedFrame(FrameCapturer& frames, quint32 id, const QList<Rect>& hidden,
                                      const QString& path) {
    QFuture<std::optional<Size>> future = frames.captureAndSave(id, 1920, 1080, hidden, path);
    if (!waitFor([&] { return future.isFinished(); }, 10000))
        return std::nullopt;
    return future.result();
}

} // namespace tavrik::test
