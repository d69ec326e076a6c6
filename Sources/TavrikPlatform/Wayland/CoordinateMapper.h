#pragma once

#include "TavrikCore/Models/Rect.h"

#include <QString>
#include <optional>

namespace tavrik::wayland {

// Where a window is, as far as the compositor says; global points.
struct WindowGeometry {
    Rect frame;                  // the window as placed (its visible bounds)
    std::optional<Rect> buffer;  // the whole surface, with a client-side shadow around the frame
    std::optional<Rect> content; // inside decorations the toolkit draws itself
};

// Turns window-local accessibility coordinates into global points. On Wayland toolkits report
// their extents relative to the window for every coordinate type, and each toolkit picks its own
// zero: GTK3 the surface's buffer, shadow included, when it decorates the window itself; Qt the
// content below its own title bar. Recordings keep global points as on X11, so skills move
// between sessions.
class CoordinateMapper {
public:
    enum class Toolkit { gtk, qt, other };

    // From AT-SPI's toolkit name ("GTK", "gtk", "Qt").
    static Toolkit toolkitNamed(const QString& name);
    // The global point of the toolkit's local zero; the frame's corner when the compositor does
    // not say more.
    static Point origin(const WindowGeometry& window, Toolkit toolkit);
    static Rect toGlobal(const Rect& local, const WindowGeometry& window, Toolkit toolkit);
    static Point toLocal(Point global, const WindowGeometry& window, Toolkit toolkit);
    // Qt's content inside the title bar and borders it draws itself where the compositor leaves
    // decorations to clients (measured: 3 pixels each side and below, 30 above).
    static Rect qtContent(const Rect& frame);
};

} // namespace tavrik::wayland
