#pragma once

#include "TavrikCore/Models/Point.h"
#include "TavrikCore/Models/Rect.h"

namespace tavrik::wayland {

// Where a slider's handle stands for a value, read from what accessibility gives: the slider's
// frame and its range. The handle's centre travels the frame's long side less half its thickness
// at each end (about where GTK and Qt stop it), at most `maxInset` for sliders drawn with their
// value beside them. A press there takes the handle, so a drag recorded from where it stood
// replays as one on any toolkit, including those whose click in the groove only steps.
class SliderGeometry {
public:
    enum class Axis { horizontal, vertical };

    static constexpr double maxInset = 20;

    // `minimumAtTop` for a vertical slider: GTK puts the minimum at the top, Qt at the bottom.
    static Point pointFor(const Rect& frame, double value, double minimum, double maximum,
                          Axis axis, bool minimumAtTop);
};

} // namespace tavrik::wayland
