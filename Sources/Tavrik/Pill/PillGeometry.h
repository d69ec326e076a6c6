#pragma once

#include "Tavrik/SkillPanelPhase.h"

#include <QPoint>
#include <QRect>
#include <QSize>

// Where the pill sits and which of its parts take the pointer. Pure arithmetic in screen
// coordinates (y grows downwards), so the hover rules can be tested without a window.
namespace tavrik::PillGeometry {

inline constexpr QSize tabZone{24, 60};
// Room right of the tip and of the panel, where the tab shows beside them.
inline constexpr int tipRightRoom = 46;
inline constexpr int panelRightRoom = 34;
// Room above and below the tallest part.
inline constexpr int idleMargin = 8;
inline constexpr int activeMargin = 30;
// Leaving the frame by up to this much keeps the pill open, so it does not flicker at its border.
inline constexpr int collapseMargin = 10;

// The sizes of the pill's parts, measured from their content and font; these defaults are the
// least each part takes, whatever it holds.
struct Parts {
    QSize card{320, 124};
    QSize tip{274, 84};
    QSize panel{546, 180};
    bool operator==(const Parts&) const = default;
};

QSize sizeFor(SkillPanelPhase phase, const Parts& parts = {});
// Right edge on the right edge of `visible`, centred vertically.
QRect frameFor(const QRect& visible, QSize size);

// Zones of a pill frame, in the same coordinates as the frame.
QRect tabZoneRect(const QRect& frame);
QRect tipZoneRect(const QRect& frame, const Parts& parts = {});
QRect panelZoneRect(const QRect& frame, const Parts& parts = {});

struct Hover {
    bool expanded = false;
    bool acceptsMouse = false;
};

// One pointer poll: the expansion after it and whether the window should take clicks.
Hover poll(const QRect& frame, QPoint pointer, bool expanded, bool hasTip, SkillPanelPhase phase,
           const Parts& parts = {});

// The fastest a hand moves the pointer, in points per millisecond: across a 1920-point screen
// in about a third of a second.
inline constexpr double fastestPointerSpeed = 6.0;

// How long the next poll may wait, in milliseconds, after a poll that found `hover`: the time
// the pointer needs at the fastest to reach a zone where a poll would change something, within
// [minimumMs, maximumMs]. An open or clickable pill answers at the minimum, as leaving it matters
// at once.
int nextPollDelay(const QRect& frame, QPoint pointer, Hover hover, bool hasTip,
                  SkillPanelPhase phase, int minimumMs, int maximumMs, const Parts& parts = {});

} // namespace tavrik::PillGeometry
