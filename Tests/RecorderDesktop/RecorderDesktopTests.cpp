#include "DesktopApp.h"
#include "DesktopDriver.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikCore/Recorder/Recorder.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopBackend.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QThread>
#include <gtest/gtest.h>

// Xlib defines macros (None, Bool) that clash with gtest: it comes last.
// clang-format off
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
// clang-format on

using namespace tavrik;
using tavrik::test::DesktopApp;
using tavrik::test::waitUntil;

namespace {

// Lets the applications and the recorder react, and keeps interactions further apart than the
// key-frame gap and the double-click time.
void settle(int ms = 450) {
    waitUntil([] { return false; }, ms);
}

bool near(const Rect& a, const Rect& b, double slack = 3) {
    return std::abs(a.origin.x - b.origin.x) <= slack &&
           std::abs(a.origin.y - b.origin.y) <= slack &&
           std::abs(a.size.width - b.size.width) <= slack &&
           std::abs(a.size.height - b.size.height) <= slack;
}

class RecorderDesktop : public testing::Test {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            GTEST_SKIP()
                << "needs an X display with an accessibility bus (scripts/virtual-desktop)";
        ASSERT_TRUE(desktop.isOpen());
    }

    void clickAt(Point p, unsigned button = 1) {
        desktop.moveTo(int(p.x), int(p.y));
        desktop.click(button);
        // The server has taken the click before anything else happens (the recorder starting).
        desktop.sync();
        settle();
    }
    // Clicks an element and waits until the window manager has made its window the active one and
    // the application has moved its focus there: keys sent earlier would go to the window that had
    // the focus, and the recorder would read the focus from before the click.
    bool focusBy(Point p, const QString& windowTitle, const QString& role) {
        clickAt(p);
        return waitForFocus(windowTitle, role);
    }
    void type(const char* text) {
        for (const char* c = text; *c; ++c)
            desktop.tap(XStringToKeysym(QByteArray(1, *c).constData()));
        settle();
    }
    // The application shows its tree on the accessibility bus a little after its window.
    // Asked on a resolver of the test's own, so that the recorder's sees only its own questions.
    bool waitForFocus(const QString& windowTitle, const QString& role) {
        return waitUntil(
            [&] {
                const std::optional<AXTarget> t = probe->focusedTarget();
                return t && t->windowTitle == windowTitle && t->axRole == role;
            },
            15000);
    }
    static bool waitForRole(AXResolver& resolver, Point at, const QString& role) {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 15000) {
            const std::optional<AXTarget> t = resolver.target(at);
            if (t && t->axRole == role)
                return true;
            QThread::msleep(50);
        }
        return false;
    }

    test::TempSupportFolder support;
    test::DesktopDriver desktop;
    std::unique_ptr<AXResolver> probe = DesktopBackend::createAXResolver();
};

TEST_F(RecorderDesktop, RecordsRealApplicationsDrivenLikeAUser) {
    DesktopApp gtk({"--title", "Recorder GTK Form", "--at", "60", "80"});
    ASSERT_TRUE(gtk.started());
    DesktopApp qt({"--title", "Recorder Qt Form", "--rows", "100"}, DesktopApp::Toolkit::qt);
    ASSERT_TRUE(qt.started());

    Recorder recorder(DesktopBackend::createInputMonitor(), DesktopBackend::createFrameCapturer(),
                      DesktopBackend::createAXResolver());
    ASSERT_TRUE(recorder.resolver().isAvailable()) << "no accessibility bus";
    ASSERT_TRUE(recorder.capturer().isAvailable())
        << recorder.capturer().errorString().toStdString();
    ASSERT_TRUE(waitForRole(recorder.resolver(), gtk.centre("button"), "push button"));
    ASSERT_TRUE(waitForRole(recorder.resolver(), qt.centre("button"), "push button"));
    // The GTK window is in front when recording starts.
    ASSERT_TRUE(focusBy(gtk.centre("button"), "Recorder GTK Form", "push button"));

    recorder.start();
    ASSERT_TRUE(recorder.monitor().isRunning()) << recorder.monitor().errorString().toStdString();
    settle(300);

    const Rect entry = gtk.rect("entry");
    ASSERT_TRUE(focusBy(gtk.centre("entry"), "Recorder GTK Form", "text"));
    type("abc");
    desktop.tap(XK_Return);
    settle();
    // Select part of the entry's text by dragging across it.
    desktop.moveTo(int(entry.origin.x + 8), int(gtk.centre("entry").y));
    desktop.button(1, true);
    for (int dx = 10; dx <= 80; dx += 10)
        desktop.moveTo(int(entry.origin.x + 8 + dx), int(gtk.centre("entry").y));
    desktop.button(1, false);
    settle();
    ASSERT_TRUE(focusBy(gtk.centre("password"), "Recorder GTK Form", "password text"));
    type("zebra");
    desktop.chord({XK_Control_L}, XK_c);
    settle();
    desktop.moveTo(int(gtk.centre("button").x), int(gtk.centre("button").y));
    for (int i = 0; i < 3; ++i)
        desktop.click(5);
    settle();

    ASSERT_TRUE(focusBy(qt.centre("entry"), "Recorder Qt Form", "text"));
    type("xyz");
    ASSERT_TRUE(focusBy(qt.centre("password"), "Recorder Qt Form", "password text"));
    type("walrus");
    desktop.moveTo(int(qt.centre("list").x), int(qt.centre("list").y));
    desktop.click(5);
    desktop.click(5);
    settle();
    clickAt(qt.centre("button"));

    QFuture<std::optional<Recording>> stopped = recorder.stop();
    ASSERT_TRUE(waitUntil([&] { return stopped.isFinished(); }, 20000));
    ASSERT_TRUE(stopped.result());
    const QUuid id = stopped.result()->id;

    // Everything below is read back from disk.
    const Result<Recording> loaded = RecordingStore().load(id);
    ASSERT_TRUE(loaded.ok());
    const Recording& r = *loaded;
    ASSERT_TRUE(r.endedAt);
    ASSERT_EQ(r.displays.size(), 1);
    EXPECT_EQ(r.displays[0].frame, Rect(0, 0, 1920, 1080));

    using T = ActionType;
    QList<T> types;
    for (const ActionEvent& e : r.events)
        types.append(e.type);
    const QList<T> expected{T::click,     T::keystroke, T::keystroke, T::drag,  T::click,
                            T::keystroke, T::keystroke, T::scroll,    T::click, T::keystroke,
                            T::click,     T::keystroke, T::scroll,    T::click};
    ASSERT_EQ(types, expected);

    const ActionEvent& entryClick = r.events[0];
    ASSERT_TRUE(entryClick.target);
    EXPECT_EQ(entryClick.target->axRole, "text");
    EXPECT_EQ(entryClick.target->appBundleID, "org.tavrik.TestForm");
    EXPECT_EQ(entryClick.target->windowTitle, "Recorder GTK Form");
    EXPECT_EQ(r.events[1].typedText, "abc");
    EXPECT_EQ(r.events[1].target->axRole, "text");
    EXPECT_EQ(r.events[2].keyCode, KeyCodes::returnKey);
    EXPECT_FALSE(r.events[2].typedText);
    EXPECT_EQ(r.events[3].location->y, r.events[3].endLocation->y);
    EXPECT_NEAR(r.events[3].endLocation->x - r.events[3].location->x, 80, 1);

    const ActionEvent& passwordClick = r.events[4];
    ASSERT_TRUE(passwordClick.target);
    EXPECT_TRUE(passwordClick.target->isSecure);
    EXPECT_EQ(passwordClick.target->axRole, "password text");
    EXPECT_FALSE(passwordClick.target->axValue);
    ASSERT_TRUE(r.events[5].target);
    EXPECT_TRUE(r.events[5].target->isSecure);
    EXPECT_FALSE(r.events[5].typedText);
    EXPECT_EQ(r.events[6].keyCode, KeyCodes::c);
    EXPECT_TRUE(*r.events[6].modifierFlags & ModifierFlags::control);
    EXPECT_EQ(r.events[7].scrollDelta, (Size{0, -3}));
    EXPECT_EQ(r.events[7].target->axTitle, "Submit");

    EXPECT_EQ(r.events[8].target->windowTitle, "Recorder Qt Form");
    EXPECT_EQ(r.events[8].target->axRole, "text");
    EXPECT_EQ(r.events[9].typedText, "xyz");
    EXPECT_TRUE(r.events[10].target->isSecure);
    EXPECT_TRUE(r.events[11].target->isSecure);
    EXPECT_FALSE(r.events[11].typedText);
    EXPECT_EQ(r.events[12].scrollDelta, (Size{0, -2}));
    EXPECT_EQ(r.events[13].target->axRole, "push button");
    EXPECT_EQ(r.events[13].target->axTitle, "Submit");

    // The GTK form was in front at the start; the Qt form is noted when first acted on.
    ASSERT_EQ(r.appContexts.size(), 2);
    EXPECT_EQ(r.appContexts[0].bundleID, "org.tavrik.TestForm");
    EXPECT_EQ(r.appContexts[0].windowTitle, "Recorder GTK Form");
    EXPECT_TRUE(r.appContexts[1].bundleID);
    EXPECT_NE(r.appContexts[1].bundleID, r.appContexts[0].bundleID);
    EXPECT_EQ(r.appContexts[1].windowTitle, "Recorder Qt Form");
    EXPECT_NEAR(r.appContexts[1].timeOffset, r.events[8].timeOffset, 0.5);

    // Every interaction here was far enough from the last to have its own frame, and every
    // frame is on disk at the size recorded.
    ASSERT_EQ(r.frames.size(), r.events.size());
    for (int i = 0; i < r.events.size(); ++i)
        EXPECT_EQ(r.events[i].frameIndex, i);
    for (const FrameRef& frame : r.frames) {
        const QImage image(RecordingStore().framePath(id, frame.relativePath));
        ASSERT_FALSE(image.isNull()) << frame.relativePath.toStdString();
        EXPECT_EQ(frame.pixelSize, (Size{1920, 1080}));
        EXPECT_EQ(image.size(), QSize(1920, 1080));
    }

    // The password field is black in the frames taken while its window was in front.
    const Rect password = gtk.rect("password");
    for (int index : {4, 5, 6}) {
        const FrameRef& frame = r.frames[index];
        ASSERT_EQ(frame.redactedRegions.size(), 1) << index;
        EXPECT_TRUE(near(frame.redactedRegions[0], password)) << index;
        const QImage image(RecordingStore().framePath(id, frame.relativePath));
        int notBlack = 0;
        for (int y = int(password.origin.y) + 1; y < password.origin.y + password.size.height - 1;
             ++y)
            for (int x = int(password.origin.x) + 1;
                 x < password.origin.x + password.size.width - 1; ++x)
                if ((image.pixel(x, y) & 0xFFFFFF) != 0)
                    ++notBlack;
        EXPECT_EQ(notBlack, 0) << index;
        // The entry above it is not.
        EXPECT_NE(image.pixel(int(entry.origin.x + 4), int(entry.origin.y + 4)) & 0xFFFFFF, 0u);
    }
    EXPECT_EQ(r.frames[11].redactedRegions.size(), 1);
    EXPECT_TRUE(near(r.frames[11].redactedRegions.value(0), qt.rect("password")));

    // What was typed into the password fields, and what they held before, is nowhere on disk.
    QDirIterator files(Paths::recording(id), QDir::Files, QDirIterator::Subdirectories);
    int read = 0;
    while (files.hasNext()) {
        QFile file(files.next());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        for (const char* secret : {"zebra", "walrus", "hunter2"})
            EXPECT_FALSE(bytes.contains(secret))
                << secret << " in " << file.fileName().toStdString();
        ++read;
    }
    EXPECT_EQ(read, 1 + r.frames.size());
}

} // namespace

namespace {

// A key code the layout leaves empty, given `keysym` for as long as it lives: xmodmap does this,
// and so does an input method or a layout switch in the middle of a recording.
class RemappedKey {
public:
    RemappedKey(Display* display, KeySym keysym) : m_display(display) {
        int first = 0, last = 0, perCode = 0;
        XDisplayKeycodes(display, &first, &last);
        KeySym* map = XGetKeyboardMapping(display, KeyCode(first), last - first + 1, &perCode);
        for (int code = last; code >= first && !m_code; --code) {
            bool empty = true;
            for (int i = 0; i < perCode; ++i)
                empty = empty && map[(code - first) * perCode + i] == NoSymbol;
            if (empty)
                m_code = KeyCode(code);
        }
        XFree(map);
        if (m_code)
            XChangeKeyboardMapping(display, m_code, 1, &keysym, 1);
        XSync(display, False);
    }
    ~RemappedKey() {
        KeySym none = NoSymbol;
        if (m_code)
            XChangeKeyboardMapping(m_display, m_code, 1, &none, 1);
        XSync(m_display, False);
    }
    RemappedKey(const RemappedKey&) = delete;
    RemappedKey& operator=(const RemappedKey&) = delete;

    KeyCode code() const { return m_code; }
    void tap() const {
        XTestFakeKeyEvent(m_display, m_code, True, CurrentTime);
        XTestFakeKeyEvent(m_display, m_code, False, CurrentTime);
        XSync(m_display, False);
    }

private:
    Display* m_display;
    KeyCode m_code = 0;
};

} // namespace

TEST_F(RecorderDesktop, AKeyMappedDuringTheRecordingTypesItsTextIntoTheRun) {
    DesktopApp gtk({"--title", "Remapped Key Form", "--at", "60", "80"});
    ASSERT_TRUE(gtk.started());
    Recorder recorder(DesktopBackend::createInputMonitor(), DesktopBackend::createFrameCapturer(),
                      DesktopBackend::createAXResolver());
    ASSERT_TRUE(recorder.resolver().isAvailable()) << "no accessibility bus";
    ASSERT_TRUE(waitForRole(recorder.resolver(), gtk.centre("entry"), "text"));
    ASSERT_TRUE(focusBy(gtk.centre("entry"), "Remapped Key Form", "text"));

    recorder.start();
    ASSERT_TRUE(recorder.monitor().isRunning()) << recorder.monitor().errorString().toStdString();
    type("ab");
    // Mapped, pressed and given back before the recorder reads a thing, as a tool typing
    // characters the layout lacks does: each key still has to be read with its own map. Both
    // take the same free key code.
    for (const KeySym unicode : {0x10003b1, 0x10003b2}) { // α, β
        const RemappedKey key(desktop.display(), unicode);
        ASSERT_NE(key.code(), 0) << "no free key code to map";
        key.tap();
    }
    type("c");
    QFuture<std::optional<Recording>> stopped = recorder.stop();
    ASSERT_TRUE(waitUntil([&] { return stopped.isFinished(); }, 20000));
    const std::optional<Recording> recording = stopped.result();
    ASSERT_TRUE(recording);
    QStringList typed;
    for (const ActionEvent& e : recording->events)
        if (e.type == ActionType::keystroke)
            typed << e.typedText.value_or("<no text>");
    EXPECT_EQ(typed, QStringList{"abαβc"});
}

// A field keeps reporting focus after the keyboard left it (a toolkit telling the change late):
// the focus is asked as it is at each key, so the later typing is not put on the field before.
TEST_F(RecorderDesktop, TypingGoesToTheFieldFocusedAtTheKeyWhileTheOneBeforeStillClaimsIt) {
    DesktopApp gtk({"--title", "Lingering Focus Form", "--at", "60", "80", "--no-password",
                    "--lingering-note"});
    ASSERT_TRUE(gtk.started());
    Recorder recorder(DesktopBackend::createInputMonitor(), DesktopBackend::createFrameCapturer(),
                      DesktopBackend::createAXResolver());
    ASSERT_TRUE(recorder.resolver().isAvailable()) << "no accessibility bus";
    ASSERT_TRUE(waitForRole(recorder.resolver(), gtk.centre("note"), "text"));
    ASSERT_TRUE(focusBy(gtk.centre("note"), "Lingering Focus Form", "text"));

    recorder.start();
    ASSERT_TRUE(recorder.monitor().isRunning()) << recorder.monitor().errorString().toStdString();
    type("abc");
    gtk.discardLines();
    clickAt(gtk.centre("entry"));
    ASSERT_TRUE(gtk.waitForLine("entry focused"));
    type("xyz");
    QFuture<std::optional<Recording>> stopped = recorder.stop();
    ASSERT_TRUE(waitUntil([&] { return stopped.isFinished(); }, 20000));
    const std::optional<Recording> recording = stopped.result();
    ASSERT_TRUE(recording);

    QStringList runs;
    for (const ActionEvent& e : recording->events)
        if (e.type == ActionType::keystroke && e.target)
            runs << e.typedText.value_or("<no text>") + " on " +
                        e.target->axTitle.value_or("(no name)");
    EXPECT_EQ(runs, (QStringList{"abc on Note", "xyz on (no name)"}));
}
