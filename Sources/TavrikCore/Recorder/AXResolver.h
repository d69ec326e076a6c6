#pragma once

#include "TavrikCore/Models/AXTarget.h"
#include "TavrikCore/Models/Point.h"
#include "TavrikCore/Models/Rect.h"
#include "TavrikCore/Recorder/FrontmostApplication.h"

#include <QList>
#include <optional>

namespace tavrik {

// What the recorder needs to know about the elements on screen. Implementations answer on the
// calling thread and within a bounded time, even when an application does not respond: a slow
// application gives a poorer answer (or none), never a stalled recording.
class AXResolver {
public:
    // Bounds of one secure-field scan: at most this many elements, depths 0 to maxSecureScanDepth.
    static constexpr int maxSecureScanElements = 4000;
    static constexpr int maxSecureScanDepth = 29;

    virtual ~AXResolver() = default;

    // The deepest element under a global screen point, in the topmost window there.
    virtual std::optional<AXTarget> target(Point at) = 0;
    // The pointer rests at `at`. What is under it may be read now and kept, so that a press there
    // is still told what it landed on when a quick release closed its window before the press
    // was read. False when the application there did not answer in time: worth asking again
    // while the pointer stays.
    virtual bool hover(Point at) {
        Q_UNUSED(at);
        return true;
    }
    // The element holding keyboard focus in the active window.
    virtual std::optional<AXTarget> focusedTarget() = 0;
    // Rectangles (global points) of the secure text fields of the active window.
    virtual QList<Rect> secureFieldRects() = 0;
    // The application in front.
    virtual std::optional<FrontmostApplication> frontmostApplication() = 0;
    // False when the backend cannot answer at all (no accessibility bus, no display).
    virtual bool isAvailable() const = 0;
};

} // namespace tavrik
