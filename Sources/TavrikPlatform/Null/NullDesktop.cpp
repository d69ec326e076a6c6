#include "TavrikPlatform/Null/NullDesktop.h"

#include <QPromise>

namespace tavrik {

QString desktopUnavailableReason() {
#ifdef TAVRIK_HAVE_X11
    return QStringLiteral("No X11 display (DISPLAY is not set): global input, hotkeys and screen "
                          "capture are not available.");
#else
    return QStringLiteral("This build has no desktop backend: global input, hotkeys and screen "
                          "capture are not available.");
#endif
}

QFuture<std::optional<Size>> NullFrameCapturer::captureAndSave(quint32, int, int, QList<Rect>,
                                                               QString) {
    QPromise<std::optional<Size>> promise;
    promise.start();
    promise.addResult(std::optional<Size>());
    promise.finish();
    return promise.future();
}

} // namespace tavrik
