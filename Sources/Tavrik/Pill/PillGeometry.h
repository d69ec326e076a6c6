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

// The fastest a hand moves the pointer, in points per millisecond: across a 1920-point screen
// in about a third of a second.
inline constexpr double fastestPointerSpeed = 6.0;

// How long the next poll may wait, in milliseconds, after a poll that found `hover`: the time
// the pointer needs at the fastest to reach a zone where a poll would change something, within
// [minimumMs, maximumMs]. An open or clickable pill answers at the minimum, as leaving it matters
// at once.
int nextPollDelay(const QRect& frame, QPoint pointer, Hover hover, bool hasTip,
                  SkillPanelPhase phase, int minimumMs, int maximumMs);

} // namespace tavrik::PillGeometry
