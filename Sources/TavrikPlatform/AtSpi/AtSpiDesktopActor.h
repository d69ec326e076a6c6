#pragma once

#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikPlatform/AtSpi/WindowDirectory.h"

#include <memory>

namespace tavrik::atspi {

// DesktopActor on AT-SPI2 (libatspi), with the window system for what the accessibility bus does
// not know: an application's identity (the same one AtSpiResolver records on X11, read from its
// windows by process id), which window is active, activating one, and on Wayland where a window
// is. X11 by default; a Wayland directory in a Wayland session. Tavrik's own windows are left out.
//
// Each question has `timeoutMs` for all its accessibility calls together (a walk of a big window
// `walkTimeoutMs`); an application that stops answering is left alone for `cooldownMs`, during
// which its windows are missing and acting on its elements fails at once. Handles stay valid
// for the life of the actor unless it has handed out more than `maxHandles`, when the elements'
// (not the windows') are forgotten. Use from one thread.
class AtSpiDesktopActor final : public DesktopActor {
public:
    struct Options {
        int timeoutMs = 1000;
        int walkTimeoutMs = 3000;
        int cooldownMs = 3000;
        int activationTimeoutMs = 1000;
        int maxHandles = 20000;
    };

    AtSpiDesktopActor();
    explicit AtSpiDesktopActor(Options options);
    AtSpiDesktopActor(std::unique_ptr<WindowDirectory> windows, Options options);
    ~AtSpiDesktopActor() override;

    bool isAvailable() const override;
    QList<LiveWindow> windows() override;
    QList<LiveElement> elements(const LiveWindow& window, const QString& role, int limit) override;
    QStringList outline(const LiveWindow& window, int limit) override;
    std::optional<LiveElement> refresh(const LiveElement& element) override;
    std::optional<LiveElement> parent(const LiveElement& element) override;
    bool reaches(const LiveElement& element, Point at) override;
    bool performAction(const LiveElement& element, const QString& action) override;
    bool focus(const LiveElement& element) override;
    bool select(const LiveElement& element) override;
    bool insertText(const LiveElement& element, const QString& text) override;
    bool replaceText(const LiveElement& element, const QString& text) override;
    std::optional<QString> text(const LiveElement& element) override;
    bool activateWindow(const LiveWindow& window) override;

private:
    struct Private;
    std::unique_ptr<Private> d; // NOLINT(readability-identifier-naming): the private part
};

} // namespace tavrik::atspi
