#pragma once

class QWindow;

// What a window floating over other programs needs from the windowing system beyond Qt: that
// what it uncovers is repainted by the windows beneath, and that clicks can pass through it.
namespace tavrik::FloatingWindow {

// Once the native window exists (after show): what it covers is never restored from a copy the
// server kept, so the windows beneath repaint themselves.
void prepare(QWindow* window);
// Whether clicks reach the window or fall through to what lies beneath. On X the input shape
// changes in place, without remapping the window, and a later window shape cannot bring input
// back behind our back; elsewhere Qt's flag does it.
void setTakesClicks(QWindow* window, bool takes);

} // namespace tavrik::FloatingWindow
