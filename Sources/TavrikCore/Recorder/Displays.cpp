#include "TavrikCore/Recorder/Displays.h"

namespace tavrik::Displays {

std::optional<DisplayInfo> displayContaining(Point point, const QList<DisplayInfo>& displays) {
    for (const DisplayInfo& d : displays) {
        const Rect& f = d.frame;
        if (point.x >= f.origin.x && point.x < f.origin.x + f.size.width && point.y >= f.origin.y &&
            point.y < f.origin.y + f.size.height)
            return d;
    }
    for (const DisplayInfo& d : displays)
        if (d.isMain)
            return d;
    if (displays.isEmpty())
        return std::nullopt;
    return displays.first();
}

} // namespace tavrik::Displays
