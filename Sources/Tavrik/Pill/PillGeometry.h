#pragma once

#include "Tavrik/SkillPanelPhase.h"

#include <QPoint>
#include <QRect>
#include <QSize>

// Where the pill sits and which of its parts take the pointer. Pure arithmetic in screen
// coordinates (y grows downwards), so the hover rules can be tested without a window.
namespace tavrik::PillGeometry {

inline constexpr QSize idleSize{320, 140};
inline constexpr QSize activeSize{580, 240};
inline constexpr QSize tabZone{24, 60};
// Leaving the frame by up to this much keeps the pill open, so it does not flicker at its border.
inline constexpr int collapseMargin = 10;

QSize sizeFor(SkillPanelPhase phase);
// Right edge on the right edge of `visible`, centred vertically.
QRect frameFor(const QRect& visible, QSize size);

// Zones of a pill frame, in the same coordinates as the frame.
QRect tabZoneRect(const QRect& frame);
QRect tipZoneRect(const QRect& frame);
QRect panelZoneRect(const QRect& frame);

struct Hover {
    bool expanded = false;
    bool acceptsMouse = false;
};

// One pointer poll: the expansion after it and whether the window should take clicks.
Hover poll(const QRect& frame, QPoint pointer, bool expanded, bool hasTip, SkillPanelPhase phase);

} // namespace tavrik::PillGeometry
