#pragma once

#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikCore/Replay/SyntheticInput.h"

#include <memory>

namespace tavrik::wayland {

// Synthetic input where a Wayland compositor gives clients no pointer: a left click lands on the
// accessible element under the point instead (its press action, the row it sits in selected, or
// the keyboard focus for a field), found among the windows the actor places globally. Keys go to
// `keys`. Drags, scrolls, right and double clicks have no such stand-in and are refused.
class AccessiblePointer final : public SyntheticInput {
public:
    AccessiblePointer(std::unique_ptr<DesktopActor> actor, std::unique_ptr<SyntheticInput> keys);

    bool isAvailable() const override;
    bool pressKey(quint16 keyCode, quint64 modifierFlags) override;
    bool typeText(const QString& text) override;
    bool click(Point at, Button button, int count) override;
    bool drag(Point, Point) override { return false; }
    bool scroll(Point, int, int) override { return false; }

    // Of `elements` (one window's, depth first, with paths), the innermost containing `at`, and
    // the element a click there acts on: itself when it can be pressed, focused or selected, else
    // its nearest row or pressable ancestor. Absent when nothing there takes a click.
    static std::optional<LiveElement> clickTarget(const QList<LiveElement>& elements, Point at);

private:
    std::unique_ptr<DesktopActor> m_actor;
    std::unique_ptr<SyntheticInput> m_keys;
};

} // namespace tavrik::wayland
