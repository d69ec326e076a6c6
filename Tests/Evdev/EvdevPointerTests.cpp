#include "Evdev/EventStream.h"
#include "Support/InputLog.h"
#include "TavrikPlatform/Evdev/EvdevDevices.h"
#include "TavrikPlatform/Evdev/EvdevPointer.h"
#include "TavrikPlatform/Null/NullDesktop.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tavrik::evdev {
namespace {

// What the monitor reported, one line per signal.
QStringList lines(const QList<test::SeenInput>& seen) {
    QStringList out;
    for (const test::SeenInput& s : seen) {
        QStringList parts{s.kind, QStringLiteral("%1,%2").arg(s.point.x).arg(s.point.y)};
        if (s.kind == QLatin1String("down"))
            parts << (s.button == int(InputMonitor::MouseButton::left) ? "left" : "right")
                  << QString::number(s.clickCount);
        if (s.kind == QLatin1String("scroll"))
            parts << QString::number(s.dx) << QString::number(s.dy);
        out << parts.join(u' ');
    }
    return out;
}

// The compositor's answers, one per question; nothing once they run out.
struct Compositor {
    QList<std::optional<Point>> answers;
    std::optional<Point> next() { return answers.isEmpty() ? std::nullopt : answers.takeFirst(); }
};

QStringList replay(const Stream& stream, Compositor& compositor) {
    NullInputMonitor monitor;
    test::InputLog log(monitor);
    EvdevPointer pointer(monitor, [&] { return compositor.next(); });
    EvdevDecoder decoder;
    for (const InputEvent& event : decoder.feed(stream.bytes()))
        pointer.take(event);
    return lines(log.seen);
}

constexpr qint64 t0 = 1700000000LL * 1000000;

TEST(EvdevPointer, ClicksArePlacedWhereTheCompositorSaysAndCounted) {
    Stream s;
    // A double click, a right click, then a press the compositor cannot place: it is left out
    // with its release, and the key between is no pointer matter.
    s.add(t0, EV_KEY, BTN_LEFT, 1).sync(t0).add(t0 + 80'000, EV_KEY, BTN_LEFT, 0).sync(t0 + 80'000);
    s.add(t0 + 200'000, EV_KEY, BTN_LEFT, 1).sync(t0 + 200'000);
    s.add(t0 + 260'000, EV_KEY, BTN_LEFT, 0).sync(t0 + 260'000);
    s.add(t0 + 900'000, EV_KEY, BTN_RIGHT, 1).sync(t0 + 900'000);
    s.add(t0 + 950'000, EV_KEY, BTN_RIGHT, 0).sync(t0 + 950'000);
    s.add(t0 + 960'000, EV_KEY, KEY_A, 1).sync(t0 + 960'000);
    s.add(t0 + 2'000'000, EV_KEY, BTN_LEFT, 1).sync(t0 + 2'000'000);
    s.add(t0 + 2'050'000, EV_KEY, BTN_LEFT, 0).sync(t0 + 2'050'000);
    Compositor compositor{{Point{100, 40}, Point{100, 40}, Point{101, 41}, Point{101, 41},
                           Point{300, 200}, Point{300, 200}, std::nullopt, Point{5, 5}}};
    EXPECT_EQ(replay(s, compositor),
              (QStringList{"down 100,40 left 1", "up 100,40", "down 101,41 left 2", "up 101,41",
                           "down 300,200 right 1", "up 300,200"}));
}

TEST(EvdevPointer, DragsMoveAndScrollsAreReportedInTheMonitorsTerms) {
    Stream s;
    // Hover, a drag whose motion comes faster than it is placed, a release the compositor does
    // not answer for (the last place stands), and a wheel step down and one to the right.
    s.add(t0, EV_REL, REL_X, 4).sync(t0);
    s.add(t0 + 100'000, EV_KEY, BTN_LEFT, 1).sync(t0 + 100'000);
    s.add(t0 + 110'000, EV_REL, REL_X, 2).sync(t0 + 110'000);
    s.add(t0 + 120'000, EV_REL, REL_X, 2).sync(t0 + 120'000);
    s.add(t0 + 160'000, EV_REL, REL_Y, 9).sync(t0 + 160'000);
    s.add(t0 + 170'000, EV_KEY, BTN_LEFT, 0).sync(t0 + 170'000);
    s.add(t0 + 300'000, EV_REL, REL_WHEEL, -1).sync(t0 + 300'000);
    s.add(t0 + 400'000, EV_REL, REL_HWHEEL, 1).sync(t0 + 400'000);
    Compositor compositor{{Point{10, 10}, Point{14, 10}, Point{16, 10}, Point{20, 30}, std::nullopt,
                           Point{50, 60}, Point{50, 60}}};
    EXPECT_EQ(replay(s, compositor),
              (QStringList{"move 10,10", "down 14,10 left 1", "drag 16,10", "drag 20,30",
                           "up 20,30", "scroll 50,60 0 -1", "scroll 50,60 -1 0"}));
}

TEST(EvdevDevices, FilesThatAreNoPointerDeviceNeitherBlockNorCount) {
    // A named pipe, a plain file and a link to a character device that is no input device,
    // named as event devices are: none is a pointer, and opening the pipe must not wait for a
    // writer.
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    ASSERT_EQ(mkfifo(QFile::encodeName(folder.filePath("event0")).constData(), 0600), 0);
    QFile plain(folder.filePath("event1"));
    ASSERT_TRUE(plain.open(QIODevice::WriteOnly));
    plain.write(QByteArray(48, 'x'));
    plain.close();
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/null"), folder.filePath("event2")));

    for (const EvdevDevices::Kind kind :
         {EvdevDevices::Kind::pointer, EvdevDevices::Kind::keyboard}) {
        EXPECT_FALSE(EvdevDevices::anyReadable(kind, folder.path()));
        EvdevDevices devices(kind, folder.path());
        EXPECT_FALSE(devices.start());
        EXPECT_TRUE(devices.errorString().contains(QStringLiteral("input group")));
    }
}

} // namespace
} // namespace tavrik::evdev
