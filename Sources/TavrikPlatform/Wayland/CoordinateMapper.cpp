#include "TavrikPlatform/Wayland/CoordinateMapper.h"

#include <algorithm>

namespace tavrik::wayland {

CoordinateMapper::Toolkit CoordinateMapper::toolkitNamed(const QString& name) {
    if (name.compare(QLatin1String("gtk"), Qt::CaseInsensitive) == 0)
        return Toolkit::gtk;
    if (name.compare(QLatin1String("qt"), Qt::CaseInsensitive) == 0)
        return Toolkit::qt;
    return Toolkit::other;
}

Point CoordinateMapper::origin(const WindowGeometry& window, Toolkit toolkit) {
    if (toolkit == Toolkit::gtk && window.buffer)
        return window.buffer->origin;
    if (toolkit == Toolkit::qt && window.content)
        return window.content->origin;
    return window.frame.origin;
}

Rect CoordinateMapper::toGlobal(const Rect& local, const WindowGeometry& window, Toolkit toolkit) {
    const Point zero = origin(window, toolkit);
    return Rect(Point{zero.x + local.origin.x, zero.y + local.origin.y}, local.size);
}

Point CoordinateMapper::toLocal(Point global, const WindowGeometry& window, Toolkit toolkit) {
    const Point zero = origin(window, toolkit);
    return Point{global.x - zero.x, global.y - zero.y};
}

Rect CoordinateMapper::qtContent(const Rect& frame) {
    constexpr double side = 3, top = 30;
    return Rect(frame.origin.x + side, frame.origin.y + top,
                std::max(0.0, frame.size.width - 2 * side),
                std::max(0.0, frame.size.height - top - side));
}

} // namespace tavrik::wayland
