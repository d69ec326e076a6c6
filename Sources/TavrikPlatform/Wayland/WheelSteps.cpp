#include "TavrikPlatform/Wayland/WheelSteps.h"

#include <cmath>

namespace tavrik::wayland {

namespace {
// Qt's default number of lines a wheel step scrolls.
constexpr double kQtWheelLines = 3;
// What GTK 3 makes of a Wayland wheel step: 15 units over its 10.
constexpr double kGtkWaylandStep = 1.5;
} // namespace

double WheelSteps::unit(const Bar& bar) {
    if (bar.qt && bar.minimumIncrement > 0)
        return kQtWheelLines * bar.minimumIncrement;
    return bar.length > 0 ? kGtkWaylandStep * std::pow(bar.length, 2.0 / 3.0) : 0;
}

double WheelSteps::between(double from, double to, const Bar& bar) {
    const double step = unit(bar);
    return step > 0 ? (to - from) / step : 0;
}

} // namespace tavrik::wayland
