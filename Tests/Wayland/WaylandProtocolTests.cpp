#include "NativeForm.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/Wayland/AccessiblePointer.h"
#include "TavrikPlatform/Wayland/ClickInference.h"
#include "TavrikPlatform/Wayland/CoordinateMapper.h"
#include "TavrikPlatform/Wayland/GnomeShellWindows.h"
#include "TavrikPlatform/Wayland/MutterRemoteDesktop.h"
#include "TavrikPlatform/Wayland/PipeWireFrameReader.h"
#include "TavrikPlatform/Wayland/SliderGeometry.h"
#include "TavrikPlatform/Wayland/SwayHotkeys.h"
#include "TavrikPlatform/Wayland/SwayIpc.h"
#include "TavrikPlatform/Wayland/SwayPointer.h"
#include "TavrikPlatform/Wayland/SwayWindowLocator.h"
#include "TavrikPlatform/Wayland/WaylandDesktop.h"
#include "TavrikPlatform/Wayland/WaylandWindows.h"
#include "TavrikPlatform/Wayland/WheelSteps.h"
#include "TavrikPlatform/Wayland/WtypeInput.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace tavrik::wayland {
namespace {

TEST(SwayIpcFraming, MessagesComeOffAStreamWholeAndInOrder) {
    const QByteArray first = SwayIpc::encode(SwayIpc::getTree, R"({"id":1})");
    const QByteArray second = SwayIpc::encode(SwayIpc::runCommand, "");
    ASSERT_EQ(first.size(), 14 + 8);
    EXPECT_TRUE(first.startsWith("i3-ipc"));

    // Byte by byte, as a socket may hand it over: nothing until the first is complete.
    QByteArray stream = first + second;
    QByteArray buffer;
    QList<SwayIpc::Message> taken;
    for (char c : stream) {
        buffer.append(c);
        bool malformed = true;
        while (std::optional<SwayIpc::Message> message = SwayIpc::take(buffer, &malformed))
            taken.append(*message);
        EXPECT_FALSE(malformed);
    }
    ASSERT_EQ(taken.size(), 2);
    EXPECT_EQ(taken[0].type, quint32(SwayIpc::getTree));
    EXPECT_EQ(taken[0].payload, QByteArray(R"({"id":1})"));
    EXPECT_EQ(taken[1].type, quint32(SwayIpc::runCommand));
    EXPECT_TRUE(taken[1].payload.isEmpty());
    EXPECT_TRUE(buffer.isEmpty());

    // A stream that is not sway's, or out of step, is reported rather than waited on.
    bool malformed = false;
    QByteArray foreign("HTTP/1.1 200 OK\r\n");
    EXPECT_FALSE(SwayIpc::take(foreign, &malformed));
    EXPECT_TRUE(malformed);
    QByteArray huge = SwayIpc::encode(0, "");
    huge[6] = huge[7] = huge[8] = huge[9] = char(0xff);
    EXPECT_FALSE(SwayIpc::take(huge, &malformed));
    EXPECT_TRUE(malformed);
}

// A get_tree reply as sway 1.7 gives it, trimmed: an output, a workspace, a tiled native window
// with a title bar, a floating Xwayland one, and the scratchpad's empty workspace.
constexpr char kTree[] = R"({
  "id": 1, "type": "root", "rect": {"x":0,"y":0,"width":1920,"height":1080},
  "nodes": [{
    "id": 3, "type": "output", "name": "HEADLESS-1",
    "nodes": [{
      "id": 4, "type": "workspace", "name": "1",
      "nodes": [{"id": 7, "type": "con", "pid": 4242, "app_id": "org.tavrik.TaskForm",
                 "name": "Order Form", "focused": true, "visible": true,
                 "rect": {"x": 960, "y": 0, "width": 960, "height": 1080},
                 "window_rect": {"x": 2, "y": 24, "width": 956, "height": 1054}, "nodes": []}],
      "floating_nodes": [{"id": 9, "type": "floating_con", "pid": 5151, "app_id": null,
                 "window_properties": {"class": "XTerm"}, "name": "xterm", "focused": false,
                 "visible": true, "rect": {"x": 100, "y": 200, "width": 300, "height": 200},
                 "window_rect": {"x": 0, "y": 0, "width": 300, "height": 200}, "nodes": []}]
    }]
  }, {"id": 2, "type": "output", "name": "__i3", "nodes": [{"id": 5, "type": "workspace",
      "name": "__i3_scratch", "nodes": [], "floating_nodes": []}]}]
})";

TEST(SwayWindowLocator, ReadsWindowsAndOutputsFromRepliesAsSwayGivesThem) {
    const QList<CompositorWindow> windows =
        SwayWindowLocator::parseTree(QJsonDocument::fromJson(kTree).object());
    ASSERT_EQ(windows.size(), 2);
    const CompositorWindow& form = windows[0];
    EXPECT_EQ(form.id, 7);
    EXPECT_EQ(form.pid, 4242);
    EXPECT_EQ(form.appID, QStringLiteral("org.tavrik.TaskForm"));
    EXPECT_TRUE(form.focused);
    // The surface starts below sway's title bar and inside its border.
    EXPECT_EQ(form.frame, Rect(962, 24, 956, 1054));
    EXPECT_EQ(form.outline, Rect(960, 0, 960, 1080));
    EXPECT_EQ(windows[1].appID, QStringLiteral("XTerm"));
    EXPECT_EQ(windows[1].frame, Rect(100, 200, 300, 200));
    EXPECT_FALSE(windows[1].focused);

    const QList<DisplayInfo> outputs = SwayWindowLocator::parseOutputs(QJsonDocument::fromJson(R"([
        {"name": "HEADLESS-1", "active": true, "focused": false, "scale": 2.0,
         "rect": {"x": 0, "y": 0, "width": 960, "height": 540}},
        {"name": "HEADLESS-2", "active": false, "rect": {"x": 0, "y": 0, "width": 0, "height": 0}},
        {"name": "HEADLESS-3", "active": true, "focused": false,
         "rect": {"x": 960, "y": 0, "width": 1280, "height": 1024}}])")
                                                                           .array());
    ASSERT_EQ(outputs.size(), 2);
    EXPECT_EQ(outputs[0].frame, Rect(0, 0, 960, 540));
    EXPECT_EQ(outputs[0].scaleFactor, 2.0);
    EXPECT_TRUE(outputs[0].isMain); // none focused: the first one
    EXPECT_EQ(outputs[1].id, 3u);
    EXPECT_EQ(outputs[1].frame, Rect(960, 0, 1280, 1024));
}

// What the GNOME Shell extension answers: topmost first, minimised windows hidden, GTK named by
// its application id and the rest by class, the buffer kept for GTK's shadow.
TEST(GnomeShellWindows, ReadsTheExtensionsWindowList) {
    const QList<CompositorWindow> windows = GnomeShellWindows::parseWindows(R"([
        {"id": 7, "pid": 40, "title": "Order", "wmClass": "form_app.py",
         "appId": "app.tavrik.TestForm", "client": "wayland", "focused": true, "minimized": false,
         "shown": true,
         "frame": {"x": 158, "y": 64, "width": 400, "height": 200},
         "buffer": {"x": 132, "y": 41, "width": 452, "height": 252}},
        {"id": 9, "pid": 41, "title": "Qt", "wmClass": "qt_task_app", "appId": "",
         "focused": false, "minimized": true, "shown": true,
         "frame": {"x": 0, "y": 0, "width": 406, "height": 233}},
        {"id": 11, "pid": 42, "title": "not placed yet", "shown": false,
         "frame": {"x": 0, "y": 32, "width": 420, "height": 597}},
        {"id": 0, "title": "no id"},
        "not an object"
    ])");
    ASSERT_EQ(windows.size(), 3);
    EXPECT_EQ(windows[0].appID, QStringLiteral("app.tavrik.TestForm"));
    EXPECT_EQ(windows[0].buffer, Rect(132, 41, 452, 252));
    EXPECT_TRUE(windows[0].focused && windows[0].visible);
    EXPECT_EQ(windows[1].appID, QStringLiteral("qt_task_app"));
    EXPECT_FALSE(windows[1].visible);
    EXPECT_FALSE(windows[1].buffer);
    EXPECT_FALSE(windows[2].visible);
    EXPECT_TRUE(GnomeShellWindows::parseWindows("{").isEmpty());
}

// A compositor that lists windows the way a test says.
class ListedWindows final : public CompositorWindows {
public:
    ListedWindows(QList<CompositorWindow> windows, bool stacked)
        : m_windows(std::move(windows)), m_stacked(stacked) {}
    bool isReachable() override { return true; }
    QList<CompositorWindow> windows() override { return m_windows; }
    bool keepsStackingOrder() const override { return m_stacked; }
    bool clientsDecorate() const override { return m_stacked; }
    bool focus(qint64) override { return false; }

private:
    QList<CompositorWindow> m_windows;
    bool m_stacked;
};

// Hit tests take the first window containing a point, so the order is what matters: the
// compositor's stacking where it keeps one, else the focused window first. Elements are placed
// from each toolkit's zero: the buffer for GTK, the content under Qt's own title bar where
// clients decorate.
TEST(WaylandWindows, OrderAndOriginsFollowWhatTheCompositorKnows) {
    CompositorWindow below{1,
                           40,
                           "app.tavrik.TestForm",
                           "Order",
                           Rect(158, 64, 400, 200),
                           Rect(158, 64, 400, 200),
                           Rect(132, 41, 452, 252),
                           false,
                           true};
    CompositorWindow above{2,
                           41,
                           "qt_task_app",
                           "Qt",
                           Rect(300, 100, 406, 233),
                           Rect(300, 100, 406, 233),
                           std::nullopt,
                           true,
                           true};
    CompositorWindow hidden{3,  42,    "x",  "x", Rect(0, 0, 10, 10), Rect(0, 0, 10, 10),
                            {}, false, false};
    for (const bool stacked : {true, false}) {
        SCOPED_TRACE(stacked ? "stacked" : "focus first");
        WaylandWindows windows(std::make_unique<ListedWindows>(
            QList<CompositorWindow>{below, above, hidden}, stacked));
        const QList<atspi::ClientWindow> clients = windows.clients();
        ASSERT_EQ(clients.size(), 2);
        EXPECT_EQ(clients[0].id, stacked ? 1u : 2u);
        EXPECT_EQ(windows.active()->id, 2u);
        EXPECT_EQ(windows.accessibleOrigin(clients[stacked ? 0 : 1], QStringLiteral("GTK")),
                  (Point{132, 41}));
        EXPECT_EQ(windows.accessibleOrigin(clients[stacked ? 1 : 0], QStringLiteral("Qt")),
                  (stacked ? Point{303, 130} : Point{300, 100}));
    }
    EXPECT_TRUE(WaylandWindows(nullptr).clients().isEmpty());
}

// The toolkits' zeros as measured: GTK3 with client-side decoration counts from the buffer, whose
// shadow reaches beyond the frame; Qt from the content below its own title bar.
TEST(CoordinateMapper, EachToolkitCountsFromItsOwnCorner) {
    using T = CoordinateMapper::Toolkit;
    const WindowGeometry csd{Rect(158, 64, 400, 200), Rect(132, 41, 452, 252), std::nullopt};
    const Rect button(26, 60, 400, 34);
    EXPECT_EQ(CoordinateMapper::toGlobal(button, csd, T::gtk), Rect(158, 101, 400, 34));
    EXPECT_EQ(CoordinateMapper::toLocal(Point{158, 101}, csd, T::gtk), (Point{26, 60}));

    const WindowGeometry qtOwn{Rect(300, 100, 406, 233), std::nullopt, Rect(303, 130, 400, 200)};
    EXPECT_EQ(CoordinateMapper::toGlobal(Rect(10, 20, 80, 30), qtOwn, T::qt),
              Rect(313, 150, 80, 30));
    // GTK without a known buffer, Qt without known content, anything else: the frame's corner.
    EXPECT_EQ(CoordinateMapper::origin(qtOwn, T::gtk), (Point{300, 100}));
    EXPECT_EQ(CoordinateMapper::origin(csd, T::qt), (Point{158, 64}));
    EXPECT_EQ(CoordinateMapper::origin(csd, T::other), (Point{158, 64}));

    EXPECT_EQ(CoordinateMapper::toolkitNamed(QStringLiteral("GTK")), T::gtk);
    EXPECT_EQ(CoordinateMapper::toolkitNamed(QStringLiteral("gtk")), T::gtk);
    EXPECT_EQ(CoordinateMapper::toolkitNamed(QStringLiteral("Qt")), T::qt);
    EXPECT_EQ(CoordinateMapper::toolkitNamed(QStringLiteral("GAIL")), T::other);
}

TEST(WtypeInput, KeysAndTextBecomeWtypeArguments) {
    const QStringList chord =
        WtypeInput::keyArguments(KeyCodes::a, ModifierFlags::control | ModifierFlags::shift);
    EXPECT_EQ(chord,
              (QStringList{"-M", "ctrl", "-M", "shift", "-k", "a", "-m", "shift", "-m", "ctrl"}));
    EXPECT_EQ(WtypeInput::keyArguments(KeyCodes::returnKey, 0), (QStringList{"-k", "Return"}));
    EXPECT_EQ(WtypeInput::keysymName(KeyCodes::f5), QStringLiteral("F5"));
    EXPECT_EQ(WtypeInput::keysymName(KeyCodes::digit7), QStringLiteral("7"));
    EXPECT_EQ(WtypeInput::keysymName(KeyCodes::slash), QStringLiteral("slash"));
    EXPECT_EQ(WtypeInput::keysymName(KeyCodes::deleteKey), QStringLiteral("BackSpace"));
    EXPECT_TRUE(WtypeInput::keyArguments(KeyCodes::unknown, 0).isEmpty());
    // A leading dash would be an option to wtype.
    EXPECT_EQ(WtypeInput::textArguments(QStringLiteral("-5 °C")),
              (QStringList{"-k", "minus", "5 °C"}));
    EXPECT_EQ(WtypeInput::textArguments(QStringLiteral("Grace")), QStringList{"Grace"});
}

// Without a pointer a click lands on what accessibility finds under the point: the innermost
// element when it takes clicks, else the row or pressable element it sits in.
TEST(AccessiblePointer, AClickActsOnTheElementUnderThePointOrTheRowAroundIt) {
    const auto element = [](const char* role, const char* path, Rect frame,
                            QStringList actions = {}, bool editable = false) {
        LiveElement e;
        e.role = QString::fromUtf8(role);
        e.path = QString::fromUtf8(path);
        e.frame = frame;
        e.actions = actions;
        e.editable = editable;
        return e;
    };
    const QList<LiveElement> elements{
        element("filler", "filler:0", Rect(0, 0, 400, 400)),
        element("text", "filler:0/text:0", Rect(10, 10, 380, 30), {}, true),
        element("list box", "filler:0/list box:1", Rect(10, 50, 380, 90)),
        element("list item", "filler:0/list box:1/list item:0", Rect(10, 50, 380, 30)),
        element("label", "filler:0/list box:1/list item:0/label:0", Rect(12, 52, 300, 20)),
        element("list item", "filler:0/list box:1/list item:1", Rect(10, 80, 380, 30)),
        element("label", "filler:0/list box:1/list item:1/label:0", Rect(12, 82, 300, 20)),
        element("push button", "filler:0/push button:2", Rect(10, 150, 100, 30), {"click"}),
        element("label", "filler:0/push button:2/label:0", Rect(20, 155, 60, 20)),
    };
    const auto target = [&](double x, double y) {
        const std::optional<LiveElement> t = AccessiblePointer::clickTarget(elements, Point{x, y});
        return t ? t->path.toStdString() : std::string("(none)");
    };
    EXPECT_EQ(target(50, 90), "filler:0/list box:1/list item:1");  // on a row's label
    EXPECT_EQ(target(350, 60), "filler:0/list box:1/list item:0"); // on the row beside it
    EXPECT_EQ(target(30, 160), "filler:0/push button:2");          // on the button's label
    EXPECT_EQ(target(100, 20), "filler:0/text:0");
    EXPECT_EQ(target(200, 300), "(none)"); // the window's empty filler takes nothing
    EXPECT_EQ(target(500, 20), "(none)");
}

TEST(WaylandDesktop, SaysWhatIsMissingAndHowToGetIt) {
    WaylandDesktop::Offer gnome;
    gnome.gnome = true;
    EXPECT_TRUE(WaylandDesktop::missing(gnome).join(' ').contains(
        QStringLiteral("gnome-extensions enable tavrik@tavrik.app")));
    gnome.gnomeExtension = true;
    EXPECT_FALSE(WaylandDesktop::missing(gnome).join(' ').contains(QStringLiteral("enable")));

    // weston and the like: accessibility, and a double tap only from readable keyboards.
    WaylandDesktop::Offer elsewhere{false, true, true};
    const QStringList bare = WaylandDesktop::missing(elsewhere);
    ASSERT_EQ(bare.size(), 2);
    EXPECT_TRUE(bare.first().contains(QStringLiteral("accessibility only")));
    EXPECT_TRUE(bare.last().contains(QStringLiteral("double tap of Control does not start")));
    EXPECT_TRUE(bare.last().contains(QStringLiteral("input group")));
    elsewhere.inputDevices = true;
    EXPECT_EQ(WaylandDesktop::missing(elsewhere).size(), 1);
    const QString bareSway = WaylandDesktop::missing({true, false, false}).join(u'\n');
    EXPECT_TRUE(bareSway.contains(QStringLiteral("install the grim package")));
    EXPECT_TRUE(bareSway.contains(QStringLiteral("install the wtype package")));
    // What sway never gives is said, with no step to take.
    const QStringList sway = WaylandDesktop::missing({true, true, true});
    ASSERT_EQ(sway.size(), 1);
    EXPECT_TRUE(sway.first().contains(QStringLiteral("a scroll in a view without a scroll bar")));
    EXPECT_FALSE(sway.first().contains(QStringLiteral("input group")));

    WaylandDesktop::Offer kwin;
    kwin.kwin = true;
    const QString ungranted = WaylandDesktop::missing(kwin).join(u'\n');
    EXPECT_TRUE(ungranted.contains(QStringLiteral("KWin gives key frames")));
    EXPECT_TRUE(ungranted.contains(QStringLiteral("start Tavrik from its menu entry")));
    EXPECT_TRUE(ungranted.contains(QStringLiteral("input group")));
    kwin.kwinFakeInput = true;
    kwin.inputDevices = true;
    EXPECT_EQ(WaylandDesktop::missing(kwin).size(), 1);
    kwin.kwinScreenShot = true;
    EXPECT_TRUE(WaylandDesktop::missing(kwin).isEmpty());

    // GNOME with the extension: frames need a screen cast and GStreamer, input mutter.
    gnome.screenCast = true;
    gnome.gstreamer = true;
    gnome.remoteDesktop = true;
    gnome.inputDevices = true;
    EXPECT_TRUE(WaylandDesktop::missing(gnome).isEmpty());
    gnome.gstreamer = false;
    EXPECT_TRUE(WaylandDesktop::missing(gnome).join(' ').contains(
        QStringLiteral("install the gstreamer1.0-tools and gstreamer1.0-pipewire packages")));
    gnome.screenCast = false;
    gnome.remoteDesktop = false;
    const QString bareGnome = WaylandDesktop::missing(gnome).join(' ');
    EXPECT_TRUE(bareGnome.contains(QStringLiteral("install xdg-desktop-portal-gnome")));
    EXPECT_FALSE(bareGnome.contains(QStringLiteral("gstreamer")));
    EXPECT_TRUE(bareGnome.contains(QStringLiteral("make up keys and clicks")));
}

// mutter takes keysyms: named keys by their X names' values, printable keys as their unshifted
// character, and any character to type by Latin-1 value or Unicode code point.
TEST(MutterRemoteDesktop, KeysAndCharactersBecomeKeysyms) {
    EXPECT_EQ(MutterRemoteDesktop::keysym(KeyCodes::returnKey), 0xff0du);
    EXPECT_EQ(MutterRemoteDesktop::keysym(KeyCodes::deleteKey), 0xff08u); // BackSpace
    EXPECT_EQ(MutterRemoteDesktop::keysym(KeyCodes::downArrow), 0xff54u);
    EXPECT_EQ(MutterRemoteDesktop::keysym(KeyCodes::f1), 0xffbeu);
    EXPECT_EQ(MutterRemoteDesktop::keysym(KeyCodes::f12), 0xffc9u);
    EXPECT_EQ(MutterRemoteDesktop::keysym(KeyCodes::a), quint32('a'));
    EXPECT_EQ(MutterRemoteDesktop::keysym(KeyCodes::slash), quint32('/'));
    EXPECT_EQ(MutterRemoteDesktop::keysym(KeyCodes::space), 0x20u);
    EXPECT_EQ(MutterRemoteDesktop::keysym(KeyCodes::unknown), 0u);

    EXPECT_EQ(MutterRemoteDesktop::keysymForCharacter(U'Z'), quint32('Z'));
    EXPECT_EQ(MutterRemoteDesktop::keysymForCharacter(U'é'), 0xe9u);
    EXPECT_EQ(MutterRemoteDesktop::keysymForCharacter(U'α'), 0x010003b1u);
    EXPECT_EQ(MutterRemoteDesktop::keysymForCharacter(U'😀'), 0x0101f600u);
    EXPECT_EQ(MutterRemoteDesktop::keysymForCharacter(U'\n'), 0xff0du);
    EXPECT_EQ(MutterRemoteDesktop::keysymForCharacter(U'\t'), 0xff09u);
    EXPECT_EQ(MutterRemoteDesktop::keysymForCharacter(char32_t(0x07)), 0u);
    EXPECT_EQ(MutterRemoteDesktop::buttonCode(SyntheticInput::Button::right), 0x111);
}

// Raw frames arrive from the pipeline's pipe in pieces of any size and the newest whole one is
// kept; once the pipeline has ended there is no frame, and its last words say why.
TEST(PipeWireFrameReader, KeepsTheNewestWholeFrameWhileThePipelineRuns) {
    constexpr qsizetype frameBytes = 4 * 2 * 4;
    QByteArray pending =
        QByteArray(frameBytes, 'a') + QByteArray(frameBytes, 'b') + QByteArray(frameBytes / 2, 'c');
    EXPECT_EQ(PipeWireFrameReader::takeNewestFrame(pending, frameBytes),
              QByteArray(frameBytes, 'b'));
    EXPECT_EQ(pending, QByteArray(frameBytes / 2, 'c'));
    EXPECT_TRUE(PipeWireFrameReader::takeNewestFrame(pending, frameBytes).isEmpty());
    EXPECT_EQ(pending.size(), frameBytes / 2);

    const QStringList arguments = PipeWireFrameReader::arguments(42, QSize(1920, 1080));
    EXPECT_TRUE(arguments.contains(QStringLiteral("path=42")));
    EXPECT_TRUE(
        arguments.contains(QStringLiteral("video/x-raw,format=BGRx,width=1920,height=1080")));

    // Stand-ins for the pipeline: two frames of 4x2 pixels (red, then blue) and half a third,
    // then either running on or ending with a complaint.
    QTemporaryDir dir;
    const QString frames = dir.filePath(QStringLiteral("frames"));
    QFile out(frames);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    const auto pixels = [](QRgb colour, int count) {
        QByteArray bytes;
        for (int i = 0; i < count; ++i)
            bytes.append(reinterpret_cast<const char*>(&colour), 4);
        return bytes;
    };
    out.write(pixels(qRgb(255, 0, 0), 8) + pixels(qRgb(0, 0, 255), 8) + pixels(qRgb(0, 255, 0), 4));
    out.close();
    const auto pipeline = [&](const QString& name, const QString& afterwards) {
        const QString program = dir.filePath(name);
        QFile script(program);
        EXPECT_TRUE(script.open(QIODevice::WriteOnly));
        script.write(QStringLiteral("#!/bin/sh\ncat '%1'\n%2\n").arg(frames, afterwards).toUtf8());
        script.close();
        script.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        return program;
    };
    {
        PipeWireFrameReader reader(
            pipeline(QStringLiteral("running"), QStringLiteral("exec sleep 600")));
        reader.start(7, QSize(4, 2));
        const QImage image = reader.latest(10000);
        ASSERT_EQ(image.size(), QSize(4, 2));
        EXPECT_EQ(image.pixel(3, 1), qRgb(0, 0, 255));
        EXPECT_TRUE(reader.errorString().isEmpty());
    }
    PipeWireFrameReader ended(
        pipeline(QStringLiteral("ending"), QStringLiteral("echo 'stream gone' >&2; exit 1")));
    ended.start(7, QSize(4, 2));
    ASSERT_TRUE(test::waitFor([&] { return !ended.errorString().isEmpty(); }, 10000));
    EXPECT_EQ(ended.errorString(), QStringLiteral("stream gone"));
    EXPECT_TRUE(ended.latest(0).isNull());

    PipeWireFrameReader nothing(QStringLiteral("/bin/false"));
    nothing.start(7, QSize(4, 2));
    EXPECT_TRUE(nothing.latest(10000).isNull());
    EXPECT_FALSE(nothing.errorString().isEmpty());
}

// What a demonstration shows accessibility, in order, and which of it were clicks.
// A scroll bar's move counted in the wheel steps of its toolkit, which replay gives again.
TEST(WheelSteps, CountTheToolkitsOwnStep) {
    // GTK: a 216-point page steps by 1.5 × 36 (216^(2/3)); one step may come in pieces.
    const WheelSteps::Bar gtk{216, 1, false};
    EXPECT_NEAR(WheelSteps::between(0, 162, gtk), 3, 1e-9);
    EXPECT_NEAR(WheelSteps::between(0, 10, gtk) + WheelSteps::between(10, 108, gtk), 2, 1e-9);
    EXPECT_NEAR(WheelSteps::between(108, 54, gtk), -1, 1e-9);
    // Qt: three single steps (lines of a plain text view), whatever the bar's length.
    const WheelSteps::Bar qt{216, 1, true};
    EXPECT_NEAR(WheelSteps::between(9, 0, qt), -3, 1e-9);
    // A Qt bar that reports no increment is counted by its length, as GTK's.
    EXPECT_NEAR(WheelSteps::between(0, 54, {216, 0, true}), 1, 1e-9);
    // Nothing to count by: no scroll is made up.
    EXPECT_EQ(WheelSteps::between(0, 50, {0, 0, false}), 0);
}

TEST(ClickInference, ClicksAreToldFromKeysAndFromTheApplication) {
    using Change = ClickInference::Change;
    int name = 0;
    int notes = 0;
    int box = 0;
    int row = 0;
    int other = 0;
    ClickInference clicks;
    // Typing does not move the focus: the next focus is a click.
    EXPECT_TRUE(clicks.isClick(&name, Change::focused));
    // The same focus reported again (toolkits send it in two forms) is no second click.
    EXPECT_FALSE(clicks.isClick(&name, Change::focused));
    clicks.key(KeyCodes::a, 0);
    EXPECT_TRUE(clicks.isClick(&notes, Change::focused));
    // Tab moves it; so do shortcuts and mnemonics.
    clicks.key(KeyCodes::tab, 0);
    EXPECT_FALSE(clicks.isClick(&name, Change::focused));
    clicks.key(KeyCodes::s, ModifierFlags::alt);
    EXPECT_FALSE(clicks.isClick(&notes, Change::focused));
    // A click on a box without the focus: focus, then checked, one click.
    EXPECT_TRUE(clicks.isClick(&box, Change::focused));
    EXPECT_FALSE(clicks.isClick(&box, Change::checked));
    // Clicked again where it has the focus: only the state changes.
    EXPECT_TRUE(clicks.isClick(&box, Change::checked));
    EXPECT_TRUE(clicks.isClick(&box, Change::checked));
    // Space toggles it from the keyboard.
    clicks.key(KeyCodes::space, 0);
    EXPECT_FALSE(clicks.isClick(&box, Change::checked));
    // Tabbed onto, then clicked: the state change is the click.
    clicks.key(KeyCodes::tab, 0);
    EXPECT_FALSE(clicks.isClick(&box, Change::focused));
    EXPECT_TRUE(clicks.isClick(&box, Change::checked));
    // Arrows move focus and selection together.
    clicks.key(KeyCodes::downArrow, 0);
    EXPECT_FALSE(clicks.isClick(&row, Change::focused));
    EXPECT_FALSE(clicks.isClick(&row, Change::selected));
    // A click on a row: its focus and its selection are one click; another row's is another.
    EXPECT_TRUE(clicks.isClick(&other, Change::focused));
    EXPECT_FALSE(clicks.isClick(&other, Change::selected));
    EXPECT_TRUE(clicks.isClick(&row, Change::selected));
    // A window that opens focuses its first field by itself.
    clicks.windowActivated();
    EXPECT_FALSE(clicks.isClick(&name, Change::focused));
    EXPECT_TRUE(clicks.isClick(&notes, Change::focused));
}

TEST(ClickInference, ASliderMovedByNoKeyWasDragged) {
    using Change = ClickInference::Change;
    int slider = 0;
    ClickInference clicks;
    // The press focuses the slider, then every step of the drag moves its value.
    EXPECT_TRUE(clicks.isClick(&slider, Change::focused));
    EXPECT_TRUE(clicks.isClick(&slider, Change::value));
    EXPECT_TRUE(clicks.isClick(&slider, Change::value));
    // Arrows and Page keys move it too, held or not.
    clicks.key(KeyCodes::rightArrow, 0);
    EXPECT_FALSE(clicks.isClick(&slider, Change::value));
    EXPECT_FALSE(clicks.isClick(&slider, Change::value));
    clicks.key(KeyCodes::pageUp, 0);
    EXPECT_FALSE(clicks.isClick(&slider, Change::value));
    // Typing elsewhere explains nothing about it.
    clicks.key(KeyCodes::a, 0);
    EXPECT_TRUE(clicks.isClick(&slider, Change::value));
}

// Where the handle stands for a value: along the long side, inset by half the thickness (at most
// maxInset), the minimum at the top for GTK's vertical sliders and at the bottom for Qt's.
TEST(SliderGeometry, TheHandleTravelsTheLongSideWithinItsInsets) {
    using Axis = SliderGeometry::Axis;
    const Rect wide(100, 50, 440, 20);
    EXPECT_EQ(SliderGeometry::pointFor(wide, 0, 0, 100, Axis::horizontal, true), (Point{110, 60}));
    EXPECT_EQ(SliderGeometry::pointFor(wide, 100, 0, 100, Axis::horizontal, true),
              (Point{530, 60}));
    EXPECT_EQ(SliderGeometry::pointFor(wide, 25, 0, 100, Axis::horizontal, true), (Point{215, 60}));
    // A value outside the range stays at its end; an empty range at the start.
    EXPECT_EQ(SliderGeometry::pointFor(wide, 300, 0, 100, Axis::horizontal, true),
              (Point{530, 60}));
    EXPECT_EQ(SliderGeometry::pointFor(wide, 5, 5, 5, Axis::horizontal, true), (Point{110, 60}));
    // A slider drawn with its value above it is thick, but its handle is not.
    const Rect labelled(0, 0, 1000, 80);
    EXPECT_EQ(SliderGeometry::pointFor(labelled, 0, 0, 1, Axis::horizontal, true).x,
              SliderGeometry::maxInset);

    const Rect tall(10, 0, 20, 220);
    EXPECT_EQ(SliderGeometry::pointFor(tall, -10, -10, 10, Axis::vertical, true), (Point{20, 10}));
    EXPECT_EQ(SliderGeometry::pointFor(tall, -10, -10, 10, Axis::vertical, false),
              (Point{20, 210}));
    EXPECT_EQ(SliderGeometry::pointFor(tall, 5, -10, 10, Axis::vertical, false), (Point{20, 60}));
}

TEST(SwayPointer, GesturesBecomeOneRunOfCursorCommands) {
    EXPECT_EQ(SwayPointer::clickCommands(Point{10.4, 20.6}, SyntheticInput::Button::left, 1),
              (QStringList{"seat - cursor set 10 21", "seat - cursor press button1",
                           "seat - cursor release button1"}));
    const QStringList twice =
        SwayPointer::clickCommands(Point{5, 5}, SyntheticInput::Button::right, 2);
    EXPECT_EQ(twice.count(QStringLiteral("seat - cursor press button3")), 2);
    EXPECT_EQ(twice.last(), QStringLiteral("seat - cursor release button3"));

    // A drag's absolute motion spans the box around the active outputs, wherever they start.
    const auto outputs = [](const char* json) { return QJsonDocument::fromJson(json).array(); };
    const std::optional<Rect> box = SwayPointer::layoutBox(outputs(
        R"([{"active":true,"rect":{"x":-1280,"y":0,"width":1280,"height":1024}},
            {"active":true,"rect":{"x":0,"y":200,"width":1920,"height":1080}},
            {"active":false,"rect":{"x":0,"y":0,"width":0,"height":0}}])"));
    ASSERT_TRUE(box);
    EXPECT_EQ(box->origin, (Point{-1280, 0}));
    EXPECT_EQ(box->size, (Size{3200, 1280}));
    EXPECT_FALSE(SwayPointer::layoutBox(outputs(R"([{"active":false,"rect":{}}])")));

    // Wheel steps: down and right are positive.
    EXPECT_EQ(SwayPointer::scrollCommands(Point{1, 2}, 0, 2),
              (QStringList{"seat - cursor set 1 2", "seat - cursor press button5",
                           "seat - cursor press button5"}));
    EXPECT_EQ(SwayPointer::scrollCommands(Point{1, 2}, -1, -1).mid(1),
              (QStringList{"seat - cursor press button4", "seat - cursor press button6"}));

    // Every command of the run must have succeeded.
    const auto reply = [](const char* json) { return QJsonDocument::fromJson(json); };
    EXPECT_TRUE(SwayPointer::succeeded(reply(R"([{"success":true},{"success":true}])"), 2));
    EXPECT_FALSE(SwayPointer::succeeded(
        reply(R"([{"success":true},{"success":false,"error":"no pointer"}])"), 2));
    EXPECT_FALSE(SwayPointer::succeeded(reply(R"([{"success":true}])"), 2));
}

TEST(SwayHotkeys, BindingsRunTavrikAndConflictsAreFoundWhateverTheSpelling) {
    const QList<SwayHotkeys::Binding> plain =
        SwayHotkeys::bindings(QStringLiteral("/usr/bin/tavrik"));
    ASSERT_FALSE(plain.isEmpty());
    EXPECT_EQ(plain.first().keys, QStringLiteral("ctrl+slash"));
    EXPECT_EQ(plain.first().command, QStringLiteral("exec /usr/bin/tavrik palette"));
    // sway strips quotes twice on the way to the shell: such a path is heard instead.
    const QList<SwayHotkeys::Binding> spaced =
        SwayHotkeys::bindings(QStringLiteral("/opt/my apps/tavrik"));
    EXPECT_EQ(spaced.first().command, QStringLiteral("nop tavrik-palette"));
    EXPECT_EQ(SwayHotkeys::tagOf(R"({"binding":{"command":"nop tavrik-palette"}})"),
              spaced.first().command);

    const QString config = QStringLiteral("set $mod Mod4\n"
                                          "bindsym $mod+Return exec foot\n"
                                          "  bindsym --to-code Slash+Control exec rofi\n"
                                          "# bindsym ctrl+slash exec commented\n"
                                          "bindsym ctrl+shift+slash exec other\n");
    EXPECT_EQ(SwayHotkeys::conflicts(config, QStringLiteral("ctrl+slash")),
              QStringList{QStringLiteral("bindsym --to-code Slash+Control exec rofi")});
    EXPECT_TRUE(SwayHotkeys::conflicts(config, QStringLiteral("Control_L")).isEmpty());

    EXPECT_EQ(SwayHotkeys::tagOf(R"({"change":"run","binding":{"command":"nop tavrik-escape"}})"),
              QStringLiteral("nop tavrik-escape"));
    EXPECT_TRUE(
        SwayHotkeys::tagOf(R"({"change":"run","binding":{"command":"exec foot"}})").isEmpty());
    EXPECT_TRUE(SwayHotkeys::tagOf("not json").isEmpty());
}

} // namespace
} // namespace tavrik::wayland
