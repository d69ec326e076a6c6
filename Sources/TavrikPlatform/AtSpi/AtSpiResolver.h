#pragma once

#include "TavrikCore/Recorder/AXResolver.h"
#include "TavrikPlatform/AtSpi/WindowDirectory.h"

#include <memory>

// libatspi's name, declared as it declares it.
typedef struct _AtspiAccessible AtspiAccessible; // NOLINT(bugprone-reserved-identifier)

namespace tavrik::atspi {

// AXResolver on AT-SPI2 (libatspi) with window-manager state, X11's by default. X11 has no
// system-wide hit test or z-order in the accessibility tree, so the topmost client window at a
// point (or the active window) is found from X first; only its application is asked over the
// accessibility bus.
//
// Each question (a target, the focus, the secure fields) has `timeoutMs` for all its
// accessibility calls together; what could not be read within it is left out. An application
// that does not answer a call at all is left alone for `cooldownMs`: meanwhile its targets carry
// only what X knows (identity and window title) and its secure fields are the last ones seen, so
// a hung application costs at most one timeout per cooldown. An element that could not be read
// counts as secure where it may be one (the focus in a window not known to be free of secure
// fields, a point inside a secure field seen last), so that typing is never stored in the clear
// for want of an answer. Use from one thread.
class AtSpiResolver final : public AXResolver {
public:
    struct Options {
        int timeoutMs = 400;
        int cooldownMs = 3000;
    };

    AtSpiResolver();
    explicit AtSpiResolver(Options options);
    // Windows from another window system than X (Wayland), which may report coordinates relative
    // to each window.
    AtSpiResolver(std::unique_ptr<WindowDirectory> windows, Options options);
    ~AtSpiResolver() override;

    std::optional<AXTarget> target(Point at) override;
    // Keeps the element under a resting pointer with its window: a later target() at that point
    // whose window is no longer mapped, or no longer shows an element there, answers with it.
    // Nothing waits on this read but input that keeps its own time, so it has a few times a
    // question's budget: a loaded application is slow to answer, not gone.
    bool hover(Point at) override;
    std::optional<AXTarget> focusedTarget() override;
    QList<Rect> secureFieldRects() override;
    std::optional<FrontmostApplication> frontmostApplication() override;
    bool isAvailable() const override;
    // What a press at the global point `at` (absent: the element's centre) on `element` landed
    // on, as target() would say, but found from the element down rather than from the window at
    // the point: for input known to have come from it (a click inferred from its own event). Only
    // its window when its application did not answer in time (a few budgets); absent when its
    // window is not known.
    std::optional<AXTarget> describe(AtspiAccessible* element, std::optional<Point> at);

private:
    std::optional<AXTarget> read(Point at, std::optional<ClientWindow> window, int budgetMs);

    struct Private;
    std::unique_ptr<Private> d; // NOLINT(readability-identifier-naming): the private part
};

} // namespace tavrik::atspi
