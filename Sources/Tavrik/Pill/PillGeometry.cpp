#include "Tavrik/Pill/PillGeometry.h"

namespace tavrik::PillGeometry {

namespace {

// Contains with the far edges included, as a point on the border belongs to the zone.
bool inside(const QRect& zone, QPoint point) {
    return point.x() >= zone.left() && point.x() <= zone.left() + zone.width() &&
           point.y() >= zone.top() && point.y() <= zone.top() + zone.height();
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

} // namespace tavrik::PillGeometry
