#pragma once

#include "NativeForm.h"
#include "TavrikCore/Models/Rect.h"

#include <QImage>

// The desktop portal's one question about sharing the screen, answered as a person would through
// its accessibility tree; and the check on a key frame that every frame source must pass.
namespace tavrik::test {

// Whether the portal's screen-sharing dialog is open.
bool screenCastDialogOpen();
// Waits for the dialog, picks the first screen and presses Share.
bool answerScreenCastDialog(int timeoutMs);
// Gives Tavrik's own capturer (the one the recorder gets) its grant once per session, as the
// user would on first use, so that later ones start without asking. Fails the test otherwise.
void grantScreenCast();

// No pixel of `hidden` is visible, and the band just above it is not black: the window is there.
void expectHiddenInFrame(const QImage& image, const Rect& hidden);

} // namespace tavrik::test
