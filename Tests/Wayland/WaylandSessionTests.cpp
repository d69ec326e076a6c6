#include "NativeForm.h"
#include "SavedOrder.h"
#include "ScreenCastGrant.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikCore/Replay/ReplaySecrets.h"
#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/AtSpi/AtSpiKeyListener.h"
#include "TavrikPlatform/DesktopBackend.h"
#include "TavrikPlatform/DesktopSession.h"
#include "TavrikPlatform/Evdev/EvdevHotkeys.h"
#include "TavrikPlatform/Wayland/GnomeShellHotkeys.h"
#include "TavrikPlatform/Wayland/GnomeShellWindows.h"
#include "TavrikPlatform/Wayland/KWinWindows.h"
#include "TavrikPlatform/Wayland/MutterRemoteDesktop.h"
#include "TavrikPlatform/Wayland/ScreenCastFrameCapturer.h"
#include "TavrikPlatform/Wayland/SwayIpc.h"
#include "TavrikPlatform/Wayland/SwayWindowLocator.h"
#include "TavrikPlatform/Wayland/WaylandDesktop.h"
#include "WaylandSession.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace tavrik {
namespace {

using test::NativeForm;
using test::replay;
using test::ReplayResult;
using test::underGnome;
using test::underKwin;
using test::underSway;
using test::waitFor;
using test::WaylandSession;

// Where the compositor says a process's window is, under a compositor that says.
std::optional<wayland::CompositorWindow> placedWindowOf(qint64 pid) {
    if (underSway())
        return wayland::SwayWindowLocator(wayland::SwayIpc::socketFromEnvironment())
            .windowOfProcess(pid);
    if (underKwin())
        return wayland::KWinWindows(wayland::KWinScript::shared()).windowOfProcess(pid);
    return wayland::GnomeShellWindows().windowOfProcess(pid);
}

// The session is Wayland whatever else is set, X11's DISPLAY included, and each interface gets
// what this compositor offers: under sway window places, frames, keys, the pointer, hotkeys and
// input through accessibility; under weston accessibility alone, said plainly. The override
// picks a backend outright.
TEST_F(WaylandSession, TheBackendsFollowTheCompositor) {
    const test::ScopedEnvironment display("DISPLAY", ":0");
    EXPECT_EQ(DesktopSession::current(), DesktopSession::Kind::wayland);
    EXPECT_FALSE(DesktopBackend::hasX11());
    EXPECT_TRUE(actor->isAvailable());
    EXPECT_TRUE(DesktopBackend::createAXResolver()->isAvailable());
    if (underGnome())
        test::grantScreenCast();
    const std::unique_ptr<SyntheticInput> input = DesktopBackend::createSyntheticInput();
    const std::unique_ptr<FrameCapturer> frames = DesktopBackend::createFrameCapturer();
    const std::unique_ptr<InputMonitor> monitor = DesktopBackend::createInputMonitor();
    EXPECT_TRUE(monitor->start()) << monitor->errorString().toStdString();
    monitor->stop();
    const QString limits = DesktopSession::limitations(DesktopSession::Kind::wayland);
    EXPECT_TRUE(limits.contains(QStringLiteral("not drags, scrolls")));
    if (underSway()) {
        EXPECT_TRUE(input->isAvailable());
        // Nothing is at the screen's corner, but sway's cursor went there and clicked.
        EXPECT_TRUE(input->click(Point{1900, 1060}, SyntheticInput::Button::left, 1));
        ASSERT_TRUE(frames->isAvailable()) << frames->errorString().toStdString();
        ASSERT_EQ(frames->displays().size(), 1);
        EXPECT_EQ(frames->displays().first().frame, Rect(0, 0, 1920, 1080));
        const std::unique_ptr<HotkeyGrabber> hotkeys = DesktopBackend::createHotkeyGrabber();
        EXPECT_TRUE(hotkeys->start()) << hotkeys->errorString().toStdString();
    } else if (underGnome()) {
        EXPECT_TRUE(wayland::GnomeShellWindows().isReachable());
        EXPECT_NE(dynamic_cast<wayland::MutterRemoteDesktop*>(input.get()), nullptr);
        const auto* cast = dynamic_cast<const wayland::ScreenCastFrameCapturer*>(frames.get());
        ASSERT_NE(cast, nullptr);
        // Granted once above: this one starts without asking.
        EXPECT_TRUE(waitFor([&] { return cast->isStreaming(); }, 5000))
            << cast->errorString().toStdString();
        EXPECT_EQ(frames->displays().value(0).frame, Rect(0, 0, 1920, 1080));
        EXPECT_FALSE(limits.contains(QStringLiteral("key frames")));
        EXPECT_FALSE(limits.contains(QStringLiteral("make up keys")));
    } else if (underKwin()) {
        EXPECT_TRUE(wayland::KWinWindows(wayland::KWinScript::shared()).isReachable());
        EXPECT_TRUE(input->isAvailable());
        // The session's menu entry for this program asks for KWin's screenshots.
        EXPECT_TRUE(frames->isAvailable()) << frames->errorString().toStdString();
        EXPECT_FALSE(limits.contains(QStringLiteral("KWin gives key frames")));
        EXPECT_FALSE(limits.contains(QStringLiteral("start Tavrik from its menu entry")));
        const std::unique_ptr<HotkeyGrabber> hotkeys = DesktopBackend::createHotkeyGrabber();
        // KWin's shortcuts, with Control taps from the keyboards where they can be read.
        EXPECT_NE(dynamic_cast<evdev::EvdevHotkeys*>(hotkeys.get()), nullptr);
    } else {
        EXPECT_FALSE(input->isAvailable());
        EXPECT_FALSE(frames->isAvailable());
        EXPECT_TRUE(limits.contains(QStringLiteral("accessibility only")));
    }
    {
        const test::ScopedEnvironment chosen("TAVRIK_DESKTOP_BACKEND", "null");
        EXPECT_EQ(DesktopSession::current(), DesktopSession::Kind::none);
        EXPECT_FALSE(DesktopBackend::createDesktopActor()->isAvailable());
        EXPECT_FALSE(DesktopBackend::createInputMonitor()->start());
    }
    const test::ScopedEnvironment chosen("TAVRIK_DESKTOP_BACKEND", "x11");
    EXPECT_TRUE(DesktopBackend::hasX11());
}

// Native windows carry the identity X11 gives the same programs, so recordings match; under
// sway their elements are placed globally inside the window sway reports.
TEST_F(WaylandSession, NativeWindowsAreNamedAsOnX11AndPlacedWhereTheCompositorSays) {
    for (const NativeForm::Toolkit toolkit : {NativeForm::Toolkit::gtk, NativeForm::Toolkit::qt}) {
        SCOPED_TRACE(NativeForm::appID(toolkit).toStdString());
        NativeForm form(toolkit);
        ASSERT_TRUE(viewOf(form, toolkit, QStringLiteral("push button"), QStringLiteral("Save")));
        if (!underSway() && !underGnome() && !underKwin())
            continue;
        // The compositor may still be laying out a window it already lists (sway once gave
        // y 0 and a moment later y 25): the live window follows it once it settles.
        std::optional<wayland::CompositorWindow> placed;
        std::optional<LiveWindow> live;
        waitFor(
            [&] {
                placed = placedWindowOf(form.pid());
                live = windowOf(NativeForm::appID(toolkit));
                return placed && live && live->frame == placed->frame;
            },
            10000);
        ASSERT_TRUE(placed && live);
        EXPECT_EQ(live->frame, placed->frame);
        const std::optional<LiveElement> save =
            element(*live, QStringLiteral("push button"), QStringLiteral("Save"));
        ASSERT_TRUE(save);
        const Rect& b = save->frame;
        const Rect& f = placed->frame;
        EXPECT_GT(b.size.width, 0);
        EXPECT_GE(b.origin.x, f.origin.x);
        EXPECT_GE(b.origin.y, f.origin.y);
        EXPECT_LE(b.origin.x + b.size.width, f.origin.x + f.size.width);
        EXPECT_LE(b.origin.y + b.size.height, f.origin.y + f.size.height);
    }
}

// grim's frame with the password field's rectangle black, found by role as on X11; keys typed
// through wtype reach the focused field whole (the first event of a new virtual keyboard is lost
// to the Shift tap).
TEST_F(WaylandSession, SwayFramesHidePasswordsAndKeysReachTheFocusedField) {
    if (!underSway())
        GTEST_SKIP() << "frames and keys are served on sway only";
    NativeForm form(NativeForm::Toolkit::gtk);
    const std::optional<FormView> view =
        viewOf(form, NativeForm::Toolkit::gtk, QStringLiteral("password text"));
    ASSERT_TRUE(view);
    const LiveWindow* window = &view->window;
    const LiveElement* password = &view->element;
    EXPECT_TRUE(password->secure);

    const std::unique_ptr<FrameCapturer> frames = DesktopBackend::createFrameCapturer();
    ASSERT_TRUE(frames->isAvailable());
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("frame.png"));
    ASSERT_EQ(test::savedFrame(*frames, frames->displays().first().id, {password->frame}, path),
              (Size{1920, 1080}));
    test::expectHiddenInFrame(QImage(path), password->frame);

    std::optional<LiveElement> name;
    ASSERT_TRUE(waitFor(
        [&] { return (name = element(*window, QStringLiteral("text"))).has_value(); }, 10000));
    ASSERT_TRUE(actor->focus(*name));
    ASSERT_TRUE(actor->replaceText(*name, QString()));
    const std::unique_ptr<SyntheticInput> input = DesktopBackend::createSyntheticInput();
    ASSERT_TRUE(input->typeText(QStringLiteral("Zoe")));
    ASSERT_TRUE(input->pressKey(KeyCodes::a, 0));
    EXPECT_TRUE(waitFor([&] { return actor->text(*name) == QStringLiteral("Zoea"); }, 5000))
        << actor->text(*name).value_or(QStringLiteral("(none)")).toStdString();
}

#ifdef TAVRIK_HAVE_ATSPI
// Recording on Wayland can hear keys only through accessibility: those of the focused
// application, with their text and the modifiers held.
TEST_F(WaylandSession, TheKeystrokeListenerHearsKeysOfTheFocusedApplication) {
    if (!underSway())
        GTEST_SKIP() << "keys can be typed on sway only";
    NativeForm form(NativeForm::Toolkit::gtk);
    ASSERT_TRUE(form.started());
    const std::optional<LiveWindow> window = windowOf(NativeForm::appID(NativeForm::Toolkit::gtk));
    ASSERT_TRUE(window);
    std::optional<LiveElement> name;
    ASSERT_TRUE(waitFor(
        [&] { return (name = element(*window, QStringLiteral("text"))).has_value(); }, 10000));
    ASSERT_TRUE(actor->focus(*name));

    atspi::AtSpiKeyListener listener;
    QStringList keys;
    QStringList texts;
    QObject::connect(&listener, &InputMonitor::key,
                     [&](quint16 code, quint64 flags, std::optional<QString> text) {
                         keys << QStringLiteral("%1/%2").arg(code).arg(flags);
                         texts << text.value_or(QString());
                     });
    QList<quint64> flagChanges;
    QObject::connect(&listener, &InputMonitor::flagsChanged,
                     [&](quint16, quint64 flags) { flagChanges << flags; });
    ASSERT_TRUE(listener.start()) << listener.errorString().toStdString();
    const std::unique_ptr<SyntheticInput> input = DesktopBackend::createSyntheticInput();
    ASSERT_TRUE(input->typeText(QStringLiteral("Hi")));
    ASSERT_TRUE(input->pressKey(KeyCodes::a, ModifierFlags::control));
    EXPECT_TRUE(waitFor([&] { return keys.size() >= 3; }, 5000));
    // wtype types a capital through a key of its own, without Shift.
    EXPECT_EQ(keys,
              (QStringList{QStringLiteral("%1/0").arg(KeyCodes::h),
                           QStringLiteral("%1/0").arg(KeyCodes::i),
                           QStringLiteral("%1/%2").arg(KeyCodes::a).arg(ModifierFlags::control)}));
    EXPECT_EQ(texts.mid(0, 2), (QStringList{QStringLiteral("H"), QStringLiteral("i")}));
    // Each run's Shift tap (wtype's Control is a modifier state, not a key).
    EXPECT_TRUE(flagChanges.contains(ModifierFlags::shift));
    EXPECT_EQ(flagChanges.value(flagChanges.size() - 1, 1), 0u);
    listener.stop();
    EXPECT_FALSE(listener.isRunning());
}
#endif

// A person's keyboard on GNOME: keys through mutter's own remote-desktop interface.
class MutterKeyboard {
public:
    MutterKeyboard() {
        const QDBusMessage created = call(QStringLiteral("/org/gnome/Mutter/RemoteDesktop"),
                                          QStringLiteral("org.gnome.Mutter.RemoteDesktop"),
                                          QStringLiteral("CreateSession"), {});
        if (created.arguments().isEmpty())
            return;
        m_session = created.arguments().first().value<QDBusObjectPath>().path();
        session(QStringLiteral("Start"), {});
        // A new virtual device loses its first event.
        tap(0xffe1);
    }
    ~MutterKeyboard() {
        if (!m_session.isEmpty())
            session(QStringLiteral("Stop"), {});
    }
    bool isReady() const { return !m_session.isEmpty(); }

    void tap(uint keysym, const QList<uint>& held = {}) {
        for (const uint modifier : held)
            key(modifier, true);
        key(keysym, true);
        key(keysym, false);
        for (const uint modifier : held)
            key(modifier, false);
    }

private:
    void key(uint keysym, bool pressed) {
        session(QStringLiteral("NotifyKeyboardKeysym"), {keysym, pressed});
    }
    QDBusMessage session(const QString& method, const QList<QVariant>& arguments) {
        return call(m_session, QStringLiteral("org.gnome.Mutter.RemoteDesktop.Session"), method,
                    arguments);
    }
    static QDBusMessage call(const QString& path, const QString& interface, const QString& method,
                             const QList<QVariant>& arguments) {
        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("org.gnome.Mutter.RemoteDesktop"), path, interface, method);
        message.setArguments(arguments);
        return QDBusConnection::sessionBus().call(message, QDBus::Block, 5000);
    }

    QString m_session;
};

// The palette shortcut reaches Tavrik through the extension while another application has the
// keyboard; Esc only while asked for; a shortcut already taken is refused plainly, and stopping
// gives it back.
TEST_F(WaylandSession, GnomeShellTakesThePaletteShortcutAndGivesItBack) {
    if (!underGnome())
        GTEST_SKIP() << "needs GNOME Shell with Tavrik's extension";
    constexpr uint controlL = 0xffe3, shiftL = 0xffe1, slash = 0x2f, escape = 0xff1b;
    // The grabber Tavrik chooses here: the extension's, with keyboards added where readable.
    NativeForm form(NativeForm::Toolkit::gtk);
    QList<std::pair<quint16, quint64>> pressed;
    const std::unique_ptr<HotkeyGrabber> hotkeys = startedShortcuts(form, pressed);
    ASSERT_TRUE(hotkeys);
    MutterKeyboard keyboard;
    ASSERT_TRUE(keyboard.isReady());

    keyboard.tap(slash, {controlL, shiftL});
    ASSERT_TRUE(waitFor([&] { return !pressed.isEmpty(); }, 5000));
    EXPECT_EQ(pressed.takeFirst(),
              std::make_pair(KeyCodes::slash, ModifierFlags::control | ModifierFlags::shift));

    hotkeys->setEscapeGrabbed(true);
    keyboard.tap(escape);
    ASSERT_TRUE(waitFor([&] { return !pressed.isEmpty(); }, 5000));
    EXPECT_EQ(pressed.takeFirst().first, KeyCodes::escape);
    hotkeys->setEscapeGrabbed(false);

    test::expectHeldUntilStopped<wayland::GnomeShellHotkeys>(*hotkeys);
}

// A skill recorded on X11 (the desktop tests' order, saved by them and checked in) replays into
// the same form running as a native Wayland client: fields through accessibility, the list row
// through a click that accessibility places, no key needed.
class WaylandReplay : public WaylandSession,
                      public testing::WithParamInterface<NativeForm::Toolkit> {};

TEST_P(WaylandReplay, ASkillRecordedOnX11FillsInTheNativeForm) {
    const NativeForm::Toolkit toolkit = GetParam();
    test::TempSupportFolder support;
    const QString source = QStringLiteral(TAVRIK_SOURCE_DIR "/Tests/Wayland/skills/") +
                           (toolkit == NativeForm::Toolkit::gtk ? "gtk" : "qt");
    const QString folder = support.path() + QStringLiteral("/order-fruit");
    ASSERT_TRUE(QDir().mkpath(folder));
    for (const QString& file : QDir(source).entryList(QDir::Files))
        ASSERT_TRUE(QFile::copy(source + u'/' + file, folder + u'/' + file));

    NativeForm form(toolkit);
    // The form answers for its whole tree before the replay's own first, short-budgeted look.
    const std::optional<FormView> view =
        viewOf(form, toolkit, QStringLiteral("push button"), QStringLiteral("Save"));
    ASSERT_TRUE(view);
    const ReplayResult result =
        replay(folder, {QStringLiteral("full_name=Grace")}, {{5, QStringLiteral("s3cret")}});
    if (!underSway() && !underGnome() && !underKwin()) {
        // weston's headless backend has no seat, so no window ever gets the keyboard focus that
        // clicking into the first field must give: the replay stops there and guesses nothing.
        EXPECT_EQ(result.exitCode, 1) << result.transcript().toStdString();
        EXPECT_TRUE(result.transcript().contains(QStringLiteral("✗ Step 1 ")))
            << result.transcript().toStdString();
        EXPECT_FALSE(form.waitForEvent(QStringLiteral("saved"), 500));
        return;
    }
    ASSERT_EQ(result.exitCode, 0) << result.transcript().toStdString();
    EXPECT_FALSE(result.transcript().contains(QStringLiteral("s3cret")));
    const std::optional<QJsonObject> saved = form.waitForEvent(QStringLiteral("saved"), 5000);
    ASSERT_TRUE(saved) << result.transcript().toStdString();
    EXPECT_TRUE(
        test::isTheReplayedOrder(*saved, QStringLiteral("Grace"), QStringLiteral("s3cret")));
}

INSTANTIATE_TEST_SUITE_P(Toolkits, WaylandReplay,
                         testing::Values(NativeForm::Toolkit::gtk, NativeForm::Toolkit::qt),
                         [](const auto& info) {
                             return info.param == NativeForm::Toolkit::gtk ? "Gtk" : "Qt";
                         });

} // namespace
} // namespace tavrik
