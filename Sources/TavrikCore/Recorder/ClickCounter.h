#pragma once

#include "TavrikCore/Models/Point.h"

namespace tavrik {

// Counts multi-clicks where the platform does not: a press of the same button within the
// double-click interval and distance of the previous press continues the series.
class ClickCounter {
public:
    // `interval` in seconds, `distance` in points along either axis.
    explicit ClickCounter(double interval = 0.4, double distance = 5)
        : m_interval(interval), m_distance(distance) {}

    // Returns the press's click count: 1 single, 2 double, ...
    int press(int button, Point point, double time);
    void reset() { m_count = 0; }

private:
    double m_interval;
    double m_distance;
    int m_count = 0;
    int m_button = -1;
    Point m_point;
    double m_time = 0;
};

} // namespace tavrik
