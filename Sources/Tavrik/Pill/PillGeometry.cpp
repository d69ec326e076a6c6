#include "Tavrik/Pill/PillGeometry.h"

#include <algorithm>
#include <cmath>

namespace tavrik::PillGeometry {

namespace {

// Contains with the far edges included, as a point on the border belongs to the zone.
bool inside(const QRect& zone, QPoint point) {
    return point.x() >= zone.left() && point.x() <= zone.left() + zone.width() &&
           point.y() >= zone.top() && point.y() <= zone.top() + zone.height();
}

// Straight-line distance from a point outside `zone` to its nearest edge; 0 inside.
double distance(const QRect& zone, QPoint point) {
    const int dx = std::max({zone.left() - point.x(), 0, point.x() - (zone.left() + zone.width())});
    const int dy = std::max({zone.top() - point.y(), 0, point.y() - (zone.top() + zone.height())});
    return std::hypot(double(dx), double(dy));
}

int midY(const QRect& frame) {
    return frame.top() + frame.height() / 2;
}

} // namespace

QSize sizeFor(SkillPanelPhase phase) {
    return phase == SkillPanelPhase::idle ? idleSize : activeSize;
}

QRect frameFor(const QRect& visible, QSize size) {
    return QRect(QPoint(visible.left() + visible.width() - size.width(),
                        visible.top() + visible.height() / 2 - size.height() / 2),
                 size);
}

QRect tabZoneRect(const QRect& frame) {
    return QRect(frame.left() + frame.width() - tabZone.width(), midY(frame) - tabZone.height() / 2,
                 tabZone.width(), tabZone.height());
}

QRect tipZoneRect(const QRect& frame) {
    return QRect(frame.left(), midY(frame) - 42, frame.width() - 46, 84);
}

QRect panelZoneRect(const QRect& frame) {
    return QRect(frame.left(), midY(frame) - 90, frame.width() - 34, 180);
}

Hover poll(const QRect& frame, QPoint pointer, bool expanded, bool hasTip, SkillPanelPhase phase) {
    Hover hover;
    hover.expanded = expanded;
    if (!expanded && inside(tabZoneRect(frame), pointer))
        hover.expanded = true;
    else if (expanded && !inside(frame.adjusted(-collapseMargin, -collapseMargin, collapseMargin,
                                                collapseMargin),
                                 pointer))
        hover.expanded = false;
    const bool inTip = hasTip && inside(tipZoneRect(frame), pointer);
    const bool inPanel = phase != SkillPanelPhase::idle && inside(panelZoneRect(frame), pointer);
    hover.acceptsMouse = hover.expanded || inTip || inPanel;
    return hover;
}

int nextPollDelay(const QRect& frame, QPoint pointer, Hover hover, bool hasTip,
                  SkillPanelPhase phase, int minimumMs, int maximumMs) {
    if (hover.expanded || hover.acceptsMouse)
        return minimumMs;
    double nearest = distance(tabZoneRect(frame), pointer);
    if (hasTip)
        nearest = std::min(nearest, distance(tipZoneRect(frame), pointer));
    if (phase != SkillPanelPhase::idle)
        nearest = std::min(nearest, distance(panelZoneRect(frame), pointer));
    const double ms = nearest / fastestPointerSpeed;
    return int(std::clamp(ms, double(minimumMs), double(maximumMs)));
}

} // namespace tavrik::PillGeometry
