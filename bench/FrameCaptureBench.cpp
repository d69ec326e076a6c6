// Key frame cost: screen grab, redaction and PNG of one display. The grab needs an X display
// (run under scripts/virtual-desktop; VIRTUAL_DESKTOP_SIZE=3840x2160x24 for a 4K screen); the
// encoding benchmarks run anywhere.
#include "TavrikCore/Recorder/FrameCapturer.h"

#ifdef TAVRIK_HAVE_X11
#include "TavrikPlatform/X11/PngWriter.h"
#include "TavrikPlatform/X11/X11FrameCapturer.h"
#include "TavrikPlatform/X11/XConnection.h"
#endif

#include <QImage>
#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#ifdef TAVRIK_HAVE_X11
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#endif

using namespace tavrik;

namespace {

// Something like a desktop: panels, buttons, rules and lines of glyph-sized marks.
QImage uiLikeImage(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor(246, 246, 246));
    QPainter p(&image);
    QRandomGenerator random(42);
    const int unit = width / 1920 > 1 ? 2 : 1;
    p.fillRect(0, 0, width, 32 * unit, QColor(40, 44, 52));
    p.fillRect(0, 32 * unit, 280 * unit, height, QColor(230, 232, 236));
    for (int y = 48 * unit; y < height - 40; y += 22 * unit) {
        int x = 300 * unit + int(random.bounded(40)) * unit;
        const int end = x + int(random.bounded(300, 1400)) * unit;
        while (x < std::min(end, width - 20)) {
            const int w = int(random.bounded(4, 9)) * unit;
            p.fillRect(x, y, w, int(random.bounded(7, 12)) * unit, QColor(30, 30, 30, 200));
            x += w + unit + (random.bounded(6) == 0 ? 5 * unit : 0);
        }
        if (random.bounded(9) == 0) {
            p.setPen(QColor(210, 210, 210));
            p.drawLine(300 * unit, y - 4, width - 20, y - 4);
            p.fillRect(width - 220 * unit, y, 120 * unit, 18 * unit, QColor(53, 132, 228));
        }
    }
    return image;
}

void EncodePng(benchmark::State& state) {
#ifdef TAVRIK_HAVE_X11
    const QImage image = uiLikeImage(int(state.range(0)), int(state.range(1)));
    qsizetype bytes = 0;
    for (auto _ : state)
        bytes = PngWriter::encode(image)->size();
    state.counters["kB"] = double(bytes) / 1024;
#else
    state.SkipWithError("built without X11/libpng");
#endif
}
BENCHMARK(EncodePng)->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMillisecond);

#ifdef TAVRIK_HAVE_X11
// Puts the desktop-like picture on the root window of the running X server; returns the
// display id of the first monitor, 0 without a display.
quint32 prepareScreen(QSize* size) {
    static quint32 id = 0;
    static QSize screenSize;
    static bool done = false;
    if (!done) {
        done = true;
        x11::X11FrameCapturer capturer;
        const QList<DisplayInfo> displays = capturer.displays();
        if (displays.isEmpty())
            return 0;
        id = displays.first().id;
        screenSize =
            QSize(int(displays.first().frame.size.width), int(displays.first().frame.size.height));
        x11::XConnection connection;
        Display* d = connection.display();
        QImage picture = uiLikeImage(screenSize.width(), screenSize.height());
        const Pixmap pixmap = XCreatePixmap(d, connection.root(), unsigned(picture.width()),
                                            unsigned(picture.height()), 24);
        XImage* ximage =
            XCreateImage(d, DefaultVisual(d, DefaultScreen(d)), 24, ZPixmap, 0,
                         reinterpret_cast<char*>(picture.bits()), unsigned(picture.width()),
                         unsigned(picture.height()), 32, int(picture.bytesPerLine()));
        GC gc = XCreateGC(d, pixmap, 0, nullptr);
        XPutImage(d, pixmap, gc, ximage, 0, 0, 0, 0, unsigned(picture.width()),
                  unsigned(picture.height()));
        XSetWindowBackgroundPixmap(d, connection.root(), pixmap);
        XClearWindow(d, connection.root());
        XFreeGC(d, gc);
        ximage->data = nullptr;
        XDestroyImage(ximage);
        XFreePixmap(d, pixmap);
        XSync(d, False);
    }
    *size = screenSize;
    return id;
}
#endif

void GrabDisplay(benchmark::State& state) {
#ifdef TAVRIK_HAVE_X11
    QSize size;
    const quint32 id = prepareScreen(&size);
    if (!id) {
        state.SkipWithError("needs an X display");
        return;
    }
    x11::X11FrameCapturer::Grabber grabber;
    QString error;
    for (auto _ : state)
        benchmark::DoNotOptimize(grabber.grab(id, &error).constBits());
    state.SetLabel(QStringLiteral("%1x%2").arg(size.width()).arg(size.height()).toStdString());
#else
    state.SkipWithError("built without X11");
#endif
}
BENCHMARK(GrabDisplay)->Unit(benchmark::kMillisecond);

// The whole key frame as the recorder asks for it: grab, redact two fields, PNG, file.
void CaptureAndSave(benchmark::State& state) {
#ifdef TAVRIK_HAVE_X11
    QSize size;
    const quint32 id = prepareScreen(&size);
    if (!id) {
        state.SkipWithError("needs an X display");
        return;
    }
    QTemporaryDir dir;
    x11::X11FrameCapturer::Grabber grabber;
    const QList<Rect> redact{Rect(400, 300, 320, 28), Rect(400, 360, 320, 28)};
    Size written;
    QString error;
    for (auto _ : state)
        if (!grabber.captureAndSave(id, size.width(), size.height(), redact,
                                    dir.filePath("frame.png"), &written, &error))
            state.SkipWithError(error.toStdString().c_str());
    state.SetLabel(QStringLiteral("%1x%2").arg(size.width()).arg(size.height()).toStdString());
#else
    state.SkipWithError("built without X11");
#endif
}
BENCHMARK(CaptureAndSave)->Unit(benchmark::kMillisecond);

} // namespace
