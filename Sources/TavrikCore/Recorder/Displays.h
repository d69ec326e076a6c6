#pragma once

#include "TavrikCore/Models/DisplayInfo.h"

#include <QList>
#include <optional>

namespace tavrik::Displays {

// The display for a point: the first whose frame contains it (minimum edges inclusive, maximum
// edges exclusive), else the main one, else the first; absent only for an empty list.
std::optional<DisplayInfo> displayContaining(Point point, const QList<DisplayInfo>& displays);

} // namespace tavrik::Displays
