#include "TavrikPlatform/Wayland/SliderGeometry.h"

#include <algorithm>

namespace tavrik::wayland {

Point SliderGeometry::pointFor(const Rect& frame, double value, double minimum, double maximum,
                               Axis axis, bool minimumAtTop) {
    const double length = axis == Axis::horizontal ? frame.size.width : frame.size.height;
    const double thickness = axis == Axis::horizontal ? frame.size.height : frame.size.width;
    const double inset = std::min({thickness / 2, maxInset, length / 2});
    const double fraction =
        maximum > minimum ? std::clamp((value - minimum) / (maximum - minimum), 0.0, 1.0) : 0.0;
    const double travel = fraction * (length - 2 * inset);
    if (axis == Axis::horizontal)
        return Point{frame.origin.x + inset + travel, frame.origin.y + frame.size.height / 2};
    const double y = minimumAtTop ? frame.origin.y + inset + travel
                                  : frame.origin.y + frame.size.height - inset - travel;
    return Point{frame.origin.x + frame.size.width / 2, y};
}

} // namespace tavrik::wayland
