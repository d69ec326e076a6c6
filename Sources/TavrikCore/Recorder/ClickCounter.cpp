#include "TavrikCore/Recorder/ClickCounter.h"

#include <cmath>

namespace tavrik {

int ClickCounter::press(int button, Point point, double time) {
    const double gap = time - m_time;
    const bool continues = m_count > 0 && button == m_button && gap >= 0 && gap <= m_interval &&
                           std::abs(point.x - m_point.x) <= m_distance &&
                           std::abs(point.y - m_point.y) <= m_distance;
    m_count = continues ? m_count + 1 : 1;
    m_button = button;
    m_point = point;
    m_time = time;
    return m_count;
}

} // namespace tavrik
