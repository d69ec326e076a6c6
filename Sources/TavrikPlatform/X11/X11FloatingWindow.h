#pragma once

#include <QRegion>

namespace tavrik::x11 {

// Sets the part of a window that takes pointer input (its X input shape); an empty region lets
// every click through to what lies beneath. Works on the application's own X connection, so only
// under the xcb platform; false when there is none.
bool setInputShape(quintptr window, const QRegion& region);

// Asks the server to keep no copy of what the window covers. Qt asks for one on tool windows; a
// server that keeps it puts the old pixels back when the window shrinks or hides instead of
// letting the windows beneath repaint, and without a compositor they show as stale or black
// rectangles. False without an X connection.
bool disableSaveUnder(quintptr window);

} // namespace tavrik::x11
