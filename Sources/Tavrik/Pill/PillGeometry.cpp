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

QSize sizeFor(SkillPanelPhase phase, const Parts& parts) {
    if (phase != SkillPanelPhase::idle)
        return {parts.panel.width() + panelRightRoom, parts.panel.height() + 2 * activeMargin};
    return {std::max(parts.card.width(), parts.tip.width() + tipRightRoom),
            std::max({parts.card.height(), parts.tip.height(), tabZone.height()}) + 2 * idleMargin};
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

QRect tipZoneRect(const QRect& frame, const Parts& parts) {
    return QRect(frame.left(), midY(frame) - parts.tip.height() / 2, frame.width() - tipRightRoom,
                 parts.tip.height());
}

QRect panelZoneRect(const QRect& frame, const Parts& parts) {
    return QRect(frame.left(), midY(frame) - parts.panel.height() / 2,
                 frame.width() - panelRightRoom, parts.panel.height());
}

Hover poll(const QRect& frame, QPoint pointer, bool expanded, bool hasTip, SkillPanelPhase phase,
           const Parts& parts) {
    Hover hover;
    hover.expanded = expanded;
    if (!expanded && inside(tabZoneRect(frame), pointer))
        hover.expanded = true;
    else if (expanded && !inside(frame.adjusted(-collapseMargin, -collapseMargin, collapseMargin,
                                                collapseMargin),
                                 pointer))
        hover.expanded = false;
    const bool inTip = hasTip && inside(tipZoneRect(frame, parts), pointer);
    const bool inPanel =
        phase != SkillPanelPhase::idle && inside(panelZoneRect(frame, parts), pointer);
    hover.acceptsMouse = hover.expanded || inTip || inPanel;
    return hover;
}

int nextPollDelay(const QRect& frame, QPoint pointer, Hover hover, bool hasTip,
                  SkillPanelPhase phase, int minimumMs, int maximumMs, const Parts& parts) {
    if (hover.expanded || hover.acceptsMouse)
        return minimumMs;
    double nearest = distance(tabZoneRect(frame), pointer);
    if (hasTip)
        nearest = std::min(nearest, distance(tipZoneRect(frame, parts), pointer));
    if (phase != SkillPanelPhase::idle)
        nearest = std::min(nearest, distance(panelZoneRect(frame, parts), pointer));
    const double ms = nearest / fastestPointerSpeed;
    return int(std::clamp(ms, double(minimumMs), double(maximumMs)));
}

} // namespace tavrik::PillGeometry
