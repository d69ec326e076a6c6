#pragma once

#include <QRegion>

namespace tavrik::x11 {

// Sets the part of a window that takes pointer input (its X input shape); an empty region lets
// every click through to what lies beneath. Works on the application's own X connection, so only
// under the xcb platform; false when there is none.
bool setInputShape(quintptr window, const QRegion& region);

} // namespace tavrik::x11
