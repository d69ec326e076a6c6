#include "DesktopDriver.h"
#include "TavrikPlatform/DesktopBackend.h"
#include "TavrikPlatform/X11/X11FrameCapturer.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <unistd.h>

// Xlib defines macros (None, Bool) that clash with gtest: it comes last.
// clang-format off
#include <X11/Xatom.h>
#include <X11/Xlib.h>
// clang-format on

using namespace tavrik;

namespace {

class Capture : public testing::Test {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            GTEST_SKIP() << "needs an X display (run under scripts/virtual-desktop)";
        ASSERT_TRUE(desktop.isOpen());
        ASSERT_TRUE(capturer.isAvailable()) << capturer.errorString().toStdString();
        displays = capturer.displays();
        ASSERT_FALSE(displays.isEmpty());
        main = displays.first();
        ASSERT_TRUE(main.isMain);
        // Fixed colours at known places: red top-left, blue in the middle; the pointer out of
        // the way.
        desktop.createWindow(0, 0, 200, 100, 0xff0000);
        desktop.createWindow(500, 300, 100, 100, 0x0000ff);
        desktop.moveTo(int(main.frame.size.width) - 2, int(main.frame.size.height) - 2);
        desktop.sync();
    }

    // Marks a window as belonging to this process, as the toolkit does for its own windows.
    void markAsOurs(unsigned long window) {
        const long pid = long(getpid());
        XChangeProperty(desktop.display(), window,
                        XInternAtom(desktop.display(), "_NET_WM_PID", False), XA_CARDINAL, 32,
                        PropModeReplace, reinterpret_cast<const unsigned char*>(&pid), 1);
        desktop.sync();
    }

    QImage captureImage() {
        const QString path = dir.filePath("frame.png");
        if (!capture(int(main.frame.size.width), int(main.frame.size.height), {}, path))
            return {};
        return QImage(path);
    }

    std::optional<Size> capture(int width, int height, QList<Rect> redact, const QString& path,
                                quint32 id = 0) {
        QFuture<std::optional<Size>> future =
            capturer.captureAndSave(id ? id : main.id, width, height, redact, path);
        test::waitUntil([&] { return future.isFinished(); }, 10000);
        return future.isFinished() ? future.result() : std::nullopt;
    }

    static bool isColour(const QImage& image, int x, int y, int r, int g, int b) {
        const QRgb p = image.pixel(x, y);
        return qRed(p) == r && qGreen(p) == g && qBlue(p) == b;
    }

    test::DesktopDriver desktop;
    x11::X11FrameCapturer capturer;
    QList<DisplayInfo> displays;
    DisplayInfo main;
    QTemporaryDir dir;
};

} // namespace

TEST_F(Capture, TheDisplayIsTheWholeScreenAtScaleOne) {
    EXPECT_EQ(displays.size(), 1);
    EXPECT_EQ(main.frame.origin, (Point{0, 0}));
    EXPECT_GT(main.frame.size.width, 0);
    EXPECT_EQ(main.scaleFactor, 1.0);
}

TEST_F(Capture, SavedFrameShowsTheScreenWithRedactedRegionsBlack) {
    const int w = int(main.frame.size.width), h = int(main.frame.size.height);
    const QString path = dir.filePath("000001.png");
    // Redact the top rows of the red window and a box in the blue one.
    const std::optional<Size> size =
        capture(w, h, {Rect(0, 0, 50, 10), Rect(520, 320, 20, 20)}, path);
    ASSERT_TRUE(size.has_value());
    EXPECT_EQ(*size, (Size{double(w), double(h)}));

    QImage image(path);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), QSize(w, h));
    EXPECT_TRUE(isColour(image, 0, 0, 0, 0, 0));
    EXPECT_TRUE(isColour(image, 49, 9, 0, 0, 0));
    EXPECT_TRUE(isColour(image, 50, 9, 255, 0, 0));
    EXPECT_TRUE(isColour(image, 10, 10, 255, 0, 0));
    EXPECT_TRUE(isColour(image, 199, 99, 255, 0, 0));
    EXPECT_TRUE(isColour(image, 510, 310, 0, 0, 255));
    EXPECT_TRUE(isColour(image, 525, 325, 0, 0, 0));

    // A second capture reuses the buffer: the redaction of the first is gone.
    ASSERT_TRUE(capture(w, h, {}, path));
    EXPECT_TRUE(isColour(QImage(path), 0, 0, 255, 0, 0));
}

TEST_F(Capture, ThisProcesssWindowsAreLeftOutAndThePointerIsDrawnIn) {
    // A green window of ours over a corner of the blue one and a white one of someone else.
    const unsigned long ours = desktop.createWindow(450, 250, 100, 100, 0x00ff00);
    markAsOurs(ours);
    desktop.createWindow(780, 780, 60, 60, 0xffffff);
    desktop.moveTo(810, 810);
    desktop.sync();
    const QImage image = captureImage();
    ASSERT_FALSE(image.isNull());
    EXPECT_TRUE(isColour(image, 520, 320, 0, 0, 255)); // the blue window under ours
    EXPECT_TRUE(isColour(image, 549, 349, 0, 0, 255));
    for (int y = 250; y < 350; y += 7)
        for (int x = 450; x < 550; x += 7)
            ASSERT_FALSE(isColour(image, x, y, 0, 255, 0)) << x << "," << y;
    // The pointer over the white window.
    int marked = 0;
    for (int y = 795; y < 825; ++y)
        for (int x = 795; x < 825; ++x)
            marked += !isColour(image, x, y, 255, 255, 255);
    EXPECT_GT(marked, 10);

    // Someone else's window in the same place is captured as it is.
    const unsigned long theirs = desktop.createWindow(450, 250, 100, 100, 0x00ff00);
    Q_UNUSED(theirs);
    EXPECT_TRUE(isColour(captureImage(), 520, 320, 0, 255, 0));
}

TEST_F(Capture, FrameIsScaledToTheRequestedPixelSize) {
    const int w = int(main.frame.size.width) / 2, h = int(main.frame.size.height) / 2;
    const QString path = dir.filePath("half.png");
    ASSERT_EQ(capture(w, h, {}, path), (Size{double(w), double(h)}));
    QImage image(path);
    EXPECT_EQ(image.size(), QSize(w, h));
    EXPECT_TRUE(isColour(image, 50, 25, 255, 0, 0));
    EXPECT_TRUE(isColour(image, 275, 175, 0, 0, 255));
}

TEST_F(Capture, FailuresGiveNothingAndLeaveNoFile) {
    const QString path = dir.filePath("missing.png");
    EXPECT_FALSE(capture(100, 100, {}, path, 0xDEAD).has_value());
    EXPECT_FALSE(capture(0, 100, {}, path).has_value());
    EXPECT_FALSE(capture(100, 100, {}, dir.filePath("no/such/folder/x.png")).has_value());
    EXPECT_FALSE(QFile::exists(path));

    // Captures queue up on one worker and all finish.
    QList<QFuture<std::optional<Size>>> futures;
    for (int i = 0; i < 3; ++i)
        futures.append(
            capturer.captureAndSave(main.id, 320, 180, {}, dir.filePath(QString::number(i))));
    ASSERT_TRUE(test::waitUntil(
        [&] {
            return std::all_of(futures.begin(), futures.end(),
                               [](auto& f) { return f.isFinished(); });
        },
        10000));
    for (auto& f : futures)
        EXPECT_TRUE(f.result().has_value());
}

TEST(DesktopBackend, WithoutADisplayEverythingSaysItIsUnavailable) {
    const QByteArray display = qgetenv("DISPLAY");
    qunsetenv("DISPLAY");
    auto monitor = DesktopBackend::createInputMonitor();
    auto grabber = DesktopBackend::createHotkeyGrabber();
    auto capturer = DesktopBackend::createFrameCapturer();
    qputenv("DISPLAY", display);
    EXPECT_FALSE(monitor->start());
    EXPECT_FALSE(monitor->errorString().isEmpty());
    EXPECT_FALSE(grabber->start());
    EXPECT_FALSE(capturer->isAvailable());
    EXPECT_TRUE(capturer->displays().isEmpty());
    auto future = capturer->captureAndSave(1, 10, 10, {}, "/tmp/never.png");
    EXPECT_TRUE(future.isFinished());
    EXPECT_FALSE(future.result().has_value());
}
