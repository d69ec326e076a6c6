#pragma once

namespace tavrik::wayland {

// How far one wheel step moves a view's scroll bar, by its toolkit's own rule, so that a scroll
// seen only as the bar's new value is recorded as the wheel steps that repeat it. GTK 3 on
// Wayland moves by one and a half times the page size to the power 2/3 (a wheel step comes as 15
// units, which it divides by 10; the page is about the bar's length in points, where its scrolled
// views count); Qt by three of the bar's single steps, which it reports as its minimum increment.
class WheelSteps {
public:
    struct Bar {
        // Along the bar's own axis, in points.
        double length = 0;
        double minimumIncrement = 0;
        bool qt = false;
    };

    // The value one step moves `bar` by; 0 when nothing says.
    static double unit(const Bar& bar);
    // Steps from `from` to `to`, positive where the value grows (down, right); fractions for a
    // toolkit that animates one step through several values.
    static double between(double from, double to, const Bar& bar);
};

} // namespace tavrik::wayland
