#include "NativeForm.h"
#include "SavedOrder.h"
#include "ScreenCastGrant.h"
#include "Support/OrderSkill.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Hotkeys/HotkeyEngine.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikCore/Recorder/Recorder.h"
#include "TavrikCore/Replay/CastRoute.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Synthesis/Synthesizer.h"
#include "TavrikPlatform/AtSpi/AtSpiKeyListener.h"
#include "TavrikPlatform/DesktopBackend.h"
#include "TavrikPlatform/DesktopSession.h"
#include "TavrikPlatform/Wayland/ScreenCastFrameCapturer.h"
#include "TavrikPlatform/Wayland/SliderGeometry.h"
#include "TavrikPlatform/Wayland/SwayPointer.h"
#ifdef TAVRIK_HAVE_WLR_VIRTUAL_POINTER
#include "TavrikPlatform/Wayland/VirtualPointer/WlrVirtualPointer.h"
#endif
#include "TavrikPlatform/Wayland/SwayHotkeys.h"
#include "TavrikPlatform/Wayland/WtypeInput.h"
#include "WaylandSession.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <functional>
#include <iostream>

namespace tavrik {
namespace {

using test::NativeForm;
using test::underGnome;
using test::underSway;
using test::waitFor;
using test::WaylandSession;

// A demonstration given under sway or GNOME as a person gives it (under sway the seat's pointer
// moved and clicked by sway and keys from a virtual keyboard, under GNOME both through mutter's
// remote desktop), heard by the real recorder through accessibility, turned
// into a skill as a drafted SKILL.md is, and replayed with another name into a fresh form.
class WaylandRecording : public WaylandSession,
                         public testing::WithParamInterface<NativeForm::Toolkit> {
protected:
    void SetUp() override {
        WaylandSession::SetUp();
        if (IsSkipped())
            return;
        if (!underSway() && !underGnome())
            GTEST_SKIP() << "input can be given on sway and GNOME only";
        // The recorder's key frames on GNOME come from a screen cast the user allowed once.
        if (underGnome())
            test::grantScreenCast();
        ASSERT_TRUE(input->isAvailable());
        QObject::connect(&m_listener, &InputMonitor::key, [this] { ++m_keys; });
        ASSERT_TRUE(m_listener.start());
    }

    std::optional<LiveElement> named(const LiveWindow& window, const QString& name) {
        std::optional<LiveElement> found;
        waitFor(
            [&] {
                // The first is the control itself, before the label inside it.
                for (const LiveElement& e : actor->elements(window, QString(), 400))
                    if (!found && e.name == name && e.showing && e.frame.size.width > 0)
                        found = e;
                return found.has_value();
            },
            10000);
        return found;
    }

    // Clicks `e` near its left edge (Qt's check box takes no click beyond its label), or at its
    // centre, and waits until `effect` holds.
    bool click(const LiveElement& e, double inset, const std::function<bool()>& effect) {
        if (!input->click(pointIn(e, inset), SyntheticInput::Button::left, 1))
            return false;
        return waitFor(effect, 5000) && handedOver();
    }

    static Point pointIn(const LiveElement& e, double inset = 0) {
        return Point{e.frame.origin.x + (inset > 0 ? inset : e.frame.size.width / 2),
                     e.frame.origin.y + e.frame.size.height / 2};
    }

    std::function<bool()> focused(const LiveElement& e) {
        return [this, e] {
            const std::optional<LiveElement> now = actor->refresh(e);
            return now && now->focused;
        };
    }

    // Types (through wtype or mutter) while this process keeps answering: a toolkit hands each key
    // to the accessibility registry, which hands it to the recorder here, before the key takes
    // effect.
    bool type(const QString& text, const std::function<bool()>& effect) {
        // The recorder's listener and this one hear each key at once, when the registry hands
        // it over; a toolkit that waited too long for the registry may show the key before.
        const qsizetype before = m_keys;
        if (underSway()) {
            QProcess wtype;
            // A new virtual keyboard loses its first event: a Shift tap.
            wtype.start(QStringLiteral("wtype"),
                        QStringList{QStringLiteral("-k"), QStringLiteral("Shift_L")} +
                            wayland::WtypeInput::textArguments(text));
            if (!waitFor([&] { return wtype.state() == QProcess::NotRunning; }, 10000) ||
                wtype.exitCode() != 0)
                return false;
        } else if (!input->typeText(text)) {
            return false;
        }
        return waitFor(effect, 5000) &&
               waitFor([&] { return m_keys >= before + text.size(); }, 5000) && handedOver();
    }

    // The recorder hears keys and clicks from the event loop, in order: what was queued before
    // this returns has been heard.
    static bool handedOver() {
        bool done = false;
        QMetaObject::invokeMethod(
            qApp, [&done] { done = true; }, Qt::QueuedConnection);
        return waitFor([&] { return done; }, 5000);
    }

    std::function<bool()> shows(const LiveElement& field, const QString& text) {
        return [this, field, text] { return actor->text(field) == text; };
    }

    std::unique_ptr<SyntheticInput> input = DesktopBackend::createSyntheticInput();
    atspi::AtSpiKeyListener m_listener;
    qsizetype m_keys = 0;
};

TEST_P(WaylandRecording, ATypingTaskRecordedOnWaylandReplaysWithOtherValues) {
    const NativeForm::Toolkit toolkit = GetParam();
    test::TempSupportFolder support;
    std::optional<Recording> recording;
    {
        NativeForm form(toolkit);
        ASSERT_TRUE(form.started());
        const std::optional<LiveWindow> window = windowOf(NativeForm::appID(toolkit));
        ASSERT_TRUE(window);
        std::optional<LiveElement> save = named(*window, QStringLiteral("Save"));
        ASSERT_TRUE(save);
        QList<LiveElement> fields = actor->elements(*window, QStringLiteral("text"), 10);
        ASSERT_GE(fields.size(), 2);
        const std::optional<LiveElement> password =
            element(*window, QStringLiteral("password text"));
        const std::optional<LiveElement> subscribe = named(*window, QStringLiteral("Subscribe"));
        const std::optional<LiveElement> pears = named(*window, QStringLiteral("Pears"));
        ASSERT_TRUE(password && subscribe && pears);

        // Tavrik makes its capturer at launch, long before a recording; a screen cast has
        // started by then.
        std::unique_ptr<FrameCapturer> frames = DesktopBackend::createFrameCapturer();
        if (const auto* cast = dynamic_cast<wayland::ScreenCastFrameCapturer*>(frames.get()))
            ASSERT_TRUE(waitFor([&] { return cast->isStreaming(); }, 5000));
        Recorder recorder(DesktopBackend::createInputMonitor(), std::move(frames),
                          DesktopBackend::createAXResolver());
        recorder.start();
        ASSERT_TRUE(click(fields[0], 0, focused(fields[0])));
        ASSERT_TRUE(type(QStringLiteral("Ada"), shows(fields[0], QStringLiteral("Ada"))));
        ASSERT_TRUE(click(fields[1], 0, focused(fields[1])));
        ASSERT_TRUE(type(QStringLiteral("fast"), shows(fields[1], QStringLiteral("fast"))));
        ASSERT_TRUE(click(*password, 0, focused(*password)));
        ASSERT_TRUE(type(QStringLiteral("pw123"), [&] {
            const std::optional<QJsonObject> typed =
                form.waitForEvent(QStringLiteral("password"), 0);
            return typed && typed->value("length").toInt() == 5;
        }));
        ASSERT_TRUE(click(*subscribe, 10, [&] {
            const std::optional<LiveElement> now = actor->refresh(*subscribe);
            return now && now->checked;
        }));
        const Point row = pointIn(*pears, 20);
        ASSERT_TRUE(click(*pears, 20, [&] {
            for (const LiveElement& e : actor->elements(*window, QStringLiteral("list item"), 50))
                if (e.selected && row.x >= e.frame.origin.x && row.y >= e.frame.origin.y &&
                    row.x < e.frame.origin.x + e.frame.size.width &&
                    row.y < e.frame.origin.y + e.frame.size.height)
                    return true;
            return false;
        }));
        ASSERT_TRUE(input->click(pointIn(*save), SyntheticInput::Button::left, 1));
        // The demonstration itself did what the replay must do again.
        const std::optional<QJsonObject> shown = form.waitForEvent(QStringLiteral("saved"), 5000);
        ASSERT_TRUE(shown);
        EXPECT_EQ(shown->value("name").toString(), QStringLiteral("Ada"));
        EXPECT_EQ(shown->value("password").toString(), QStringLiteral("pw123"));
        QFuture<std::optional<Recording>> stopped = recorder.stop();
        ASSERT_TRUE(waitFor([&] { return stopped.isFinished(); }, 20000));
        recording = stopped.result();
    }
    ASSERT_TRUE(recording);

    // What was heard: the texts on their fields, the password only as typed, the clicks on the
    // controls, all of it in the form's own identity and global points.
    QStringList heard;
    for (const ActionEvent& e : recording->events) {
        ASSERT_TRUE(e.target);
        EXPECT_EQ(e.target->appBundleID, NativeForm::appID(toolkit));
        if (e.type == ActionType::keystroke)
            heard << (e.target->isSecure ? QStringLiteral("secret")
                                         : e.typedText.value_or(QStringLiteral("?")));
        else if (e.type == ActionType::click)
            heard << QStringLiteral("click ") + e.target->axRole.value_or(QStringLiteral("?"));
    }
    EXPECT_TRUE(heard.contains(QStringLiteral("Ada")) && heard.contains(QStringLiteral("fast")))
        << heard.join(u',').toStdString();
    EXPECT_EQ(heard.count(QStringLiteral("secret")), 1) << heard.join(u',').toStdString();
    EXPECT_EQ(heard.last(), QStringLiteral("click push button")) << heard.join(u',').toStdString();
    EXPECT_EQ(recording->events.last().target->axTitle, QStringLiteral("Save"));
    EXPECT_FALSE(recording->frames.isEmpty());

    Skill skill =
        Synthesizer::skillFromMarkdown(QString::fromUtf8(test::orderSkillText), *recording);
    skill.sourceRecordingID = recording->id;
    ASSERT_TRUE(SkillStore().save(skill).ok());
    const QList<qsizetype> secrets = CastRoute::secretSteps(skill);
    ASSERT_EQ(secrets.size(), 1);

    NativeForm form(toolkit);
    ASSERT_TRUE(form.started());
    ASSERT_TRUE(windowOf(NativeForm::appID(toolkit)));
    const test::ReplayResult result =
        test::replay(Paths::skill(skill.id), {QStringLiteral("full_name=Grace")},
                     {{secrets.first(), QStringLiteral("s3cret")}});
    ASSERT_EQ(result.exitCode, 0) << result.transcript().toStdString();
    const std::optional<QJsonObject> saved = form.waitForEvent(QStringLiteral("saved"), 5000);
    ASSERT_TRUE(saved) << result.transcript().toStdString();
    // What did not replay here would not replay on X11 either.
    ASSERT_TRUE(
        test::isTheReplayedOrder(*saved, QStringLiteral("Grace"), QStringLiteral("s3cret")));

    // The other way round: the skill recorded here replays on X11 into the same form. That half
    // runs this program again inside a private X desktop, where it is the session.
    if (!underSway())
        return;
    QProcess x11;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"WAYLAND_DISPLAY", "SWAYSOCK", "I3SOCK", "XDG_SESSION_TYPE",
                             "GDK_BACKEND", "QT_QPA_PLATFORM"})
        environment.remove(QString::fromLatin1(name));
    environment.insert(QStringLiteral("TAVRIK_TEST_WAYLAND_SKILL"), Paths::skill(skill.id));
    environment.insert(QStringLiteral("TAVRIK_TEST_SECRET_STEP"), QString::number(secrets.first()));
    environment.insert(QStringLiteral("TAVRIK_TEST_TOOLKIT"), toolkit == NativeForm::Toolkit::gtk
                                                                  ? QStringLiteral("gtk")
                                                                  : QStringLiteral("qt"));
    // Its actor reads the form's tree while the form starts.
    test::unwindAllocationsFully(environment);
    x11.setProcessEnvironment(environment);
    x11.setProcessChannelMode(QProcess::MergedChannels);
    QElapsedTimer clock;
    clock.start();
    x11.start(QStringLiteral(TAVRIK_VIRTUAL_DESKTOP),
              {QCoreApplication::applicationFilePath(),
               QStringLiteral("--gtest_filter=X11Half.TheSkillRecordedOnSwayFillsInTheForm")});
    ASSERT_TRUE(waitFor([&] { return x11.state() == QProcess::NotRunning; }, 180000));
    const QString transcript = QString::fromUtf8(x11.readAll());
    std::cout << "[ measure  ] replayed on X11, with the X desktop's start: " << clock.elapsed()
              << " ms\n";
    EXPECT_EQ(x11.exitCode(), 0) << transcript.toStdString();
    EXPECT_TRUE(transcript.contains(QStringLiteral("[  PASSED  ] 1 test")))
        << transcript.toStdString();
}

// A key reaches this process over another connection than the events of the click before it.
// Here both wait while this thread is busy (it does not run its event loop from the click until
// the key has shown): the key must still come after the click, or the recorder takes it for the
// field before.
TEST_P(WaylandRecording, AKeyTypedRightAfterAClickIsHeardAfterTheClick) {
    if (!underSway())
        GTEST_SKIP() << "keys are typed with wtype";
    NativeForm form(GetParam());
    ASSERT_TRUE(form.started());
    const std::optional<LiveWindow> window = windowOf(NativeForm::appID(GetParam()));
    ASSERT_TRUE(window);
    const QList<LiveElement> fields = actor->elements(*window, QStringLiteral("text"), 10);
    ASSERT_GE(fields.size(), 2);
    const std::unique_ptr<InputMonitor> monitor = DesktopBackend::createInputMonitor();
    QStringList heard;
    QObject::connect(monitor.get(), &InputMonitor::mouseDown, [&](Point p) {
        const auto on = [&](const LiveElement& e) {
            const Rect& f = e.frame;
            return p.x >= f.origin.x && p.y >= f.origin.y && p.x < f.origin.x + f.size.width &&
                   p.y < f.origin.y + f.size.height;
        };
        heard << (on(fields[0])   ? QStringLiteral("click first")
                  : on(fields[1]) ? QStringLiteral("click second")
                                  : QStringLiteral("click elsewhere"));
    });
    QObject::connect(monitor.get(), &InputMonitor::key,
                     [&](quint16, quint64, const std::optional<QString>& characters) {
                         heard << QStringLiteral("key ") + characters.value_or(QStringLiteral("?"));
                     });
    ASSERT_TRUE(monitor->start());
    ASSERT_TRUE(click(fields[0], 0, focused(fields[0])));
    ASSERT_TRUE(type(QStringLiteral("A"), shows(fields[0], QStringLiteral("A"))));

    // Polls without running the event loop.
    const auto holdUntil = [](const std::function<bool()>& done) {
        const QDeadlineTimer deadline(5000);
        while (!done()) {
            if (deadline.hasExpired())
                return false;
            QThread::msleep(20);
        }
        return true;
    };
    ASSERT_TRUE(input->click(pointIn(fields[1]), SyntheticInput::Button::left, 1));
    ASSERT_TRUE(holdUntil(focused(fields[1])));
    QProcess wtype;
    // A new virtual keyboard loses its first event: a Shift tap.
    wtype.start(QStringLiteral("wtype"),
                QStringList{QStringLiteral("-k"), QStringLiteral("Shift_L")} +
                    wayland::WtypeInput::textArguments(QStringLiteral("f")));
    ASSERT_TRUE(wtype.waitForFinished(10000) && wtype.exitCode() == 0);
    ASSERT_TRUE(holdUntil(shows(fields[1], QStringLiteral("f"))));

    waitFor([&] { return heard.size() >= 3; }, 5000);
    ASSERT_TRUE(handedOver());
    // The first field had the focus already: its click changed nothing to be heard.
    EXPECT_EQ(heard, (QStringList{QStringLiteral("key A"), QStringLiteral("click second"),
                                  QStringLiteral("key f")}));
}

// A wheel scroll over a view under sway, where no program hears the wheel: the view's scroll bar
// moved with no key behind it, which is recorded as the wheel steps that move it as far, over
// the view, and replayed by Tavrik's pointer into a fresh form. GTK animates each step through
// several values on some desktops.
TEST_P(WaylandRecording, AWheelScrollInAViewIsRecordedAndReplayed) {
    if (!underSway())
        GTEST_SKIP() << "the wheel is the sway seat's";
    const NativeForm::Toolkit toolkit = GetParam();
    const QStringList withLog{QStringLiteral("--long-view")};
    constexpr int steps = 3;
    // Where the toolkit's own wheel rule puts the view after `steps` (GTK: 1.5 times the page to
    // the power 2/3 a step; Qt: three lines).
    const auto settled = [&](NativeForm& form) {
        std::optional<double> expected;
        const bool reached = waitFor(
            [&] {
                const std::optional<QJsonObject> now =
                    form.waitForEvent(QStringLiteral("scrolled"), 0);
                if (!now)
                    return false;
                const double page = now->value("page").toDouble();
                expected = toolkit == NativeForm::Toolkit::gtk
                               ? steps * 1.5 * std::pow(page, 2.0 / 3.0)
                               : steps * 3.0;
                return std::abs(now->value("value").toDouble() - *expected) < 1;
            },
            5000);
        if (!reached)
            for (const QJsonObject& e : form.events())
                std::cout << QJsonDocument(e).toJson(QJsonDocument::Compact).toStdString() << "\n";
        return reached ? expected : std::nullopt;
    };
    test::TempSupportFolder support;
    std::optional<Recording> recording;
    std::optional<double> recorded;
    {
        NativeForm form(toolkit, withLog);
        ASSERT_TRUE(form.started());
        const std::optional<LiveWindow> window = windowOf(NativeForm::appID(toolkit));
        ASSERT_TRUE(window);
        const std::optional<LiveElement> log = named(*window, QStringLiteral("Log"));
        ASSERT_TRUE(log);
        Recorder recorder(DesktopBackend::createInputMonitor(),
                          DesktopBackend::createFrameCapturer(),
                          DesktopBackend::createAXResolver());
        recorder.start();
        ASSERT_TRUE(input->scroll(pointIn(*log), 0, steps));
        recorded = settled(form);
        ASSERT_TRUE(recorded);
        ASSERT_TRUE(handedOver());
        QFuture<std::optional<Recording>> stopped = recorder.stop();
        ASSERT_TRUE(waitFor([&] { return stopped.isFinished(); }, 20000));
        recording = stopped.result();
    }
    ASSERT_TRUE(recording);
    QStringList heard;
    for (const ActionEvent& e : recording->events)
        heard << QString::number(int(e.type));
    ASSERT_EQ(recording->events.size(), 1) << heard.join(u',').toStdString();
    const ActionEvent& scroll = recording->events.first();
    EXPECT_EQ(scroll.type, ActionType::scroll);
    ASSERT_TRUE(scroll.target && scroll.scrollDelta);
    EXPECT_EQ(scroll.target->appBundleID, NativeForm::appID(toolkit));
    // Down, by the steps given, whatever pieces the toolkit moved in.
    EXPECT_NEAR(scroll.scrollDelta->height, -steps, 0.25);
    EXPECT_EQ(scroll.scrollDelta->width, 0);

    Skill skill = Synthesizer::skillFromMarkdown(
        QStringLiteral("---\nname: Read on\n---\n\n# Read on\n\nScrolls the log.\n"), *recording);
    skill.sourceRecordingID = recording->id;
    ASSERT_TRUE(SkillStore().save(skill).ok());
    NativeForm form(toolkit, withLog);
    ASSERT_TRUE(form.started());
    ASSERT_TRUE(windowOf(NativeForm::appID(toolkit)));
    const test::ReplayResult result = test::replay(Paths::skill(skill.id), {}, {});
    ASSERT_EQ(result.exitCode, 0) << result.transcript().toStdString();
    const std::optional<double> replayed = settled(form);
    ASSERT_TRUE(replayed) << result.transcript().toStdString();
    EXPECT_NEAR(*replayed, *recorded, 1);
}

// The X11 half of the test above, run by it inside scripts/virtual-desktop with the skill it
// recorded on Wayland: the same form as an X11 client, filled in with other values.
TEST(X11Half, TheSkillRecordedOnSwayFillsInTheForm) {
    const QString folder = qEnvironmentVariable("TAVRIK_TEST_WAYLAND_SKILL");
    if (folder.isEmpty())
        GTEST_SKIP() << "run by the Wayland recording test inside an X desktop";
    ASSERT_EQ(DesktopSession::current(), DesktopSession::Kind::x11);
    const auto toolkit = qEnvironmentVariable("TAVRIK_TEST_TOOLKIT") == QLatin1String("qt")
                             ? NativeForm::Toolkit::qt
                             : NativeForm::Toolkit::gtk;
    test::TaskForm form(toolkit, QStringLiteral(TAVRIK_QT_TASK_APP), {},
                        QProcessEnvironment::systemEnvironment());
    ASSERT_TRUE(form.started());
    const std::unique_ptr<DesktopActor> actor = DesktopBackend::createDesktopActor();
    ASSERT_TRUE(waitFor(
        [&] {
            const QList<LiveWindow> windows = actor->windows();
            return std::any_of(windows.cbegin(), windows.cend(), [&](const LiveWindow& w) {
                return w.appID == NativeForm::appID(toolkit);
            });
        },
        15000));
    const test::ReplayResult result = test::replay(
        folder, {QStringLiteral("full_name=Hopper")},
        {{qEnvironmentVariable("TAVRIK_TEST_SECRET_STEP").toLongLong(), QStringLiteral("x11pw")}});
    ASSERT_EQ(result.exitCode, 0) << result.transcript().toStdString();
    const std::optional<QJsonObject> saved = form.waitForEvent(QStringLiteral("saved"), 5000);
    ASSERT_TRUE(saved) << result.transcript().toStdString();
    QStringList shown;
    for (const QJsonObject& event : form.events())
        shown << QString::fromUtf8(QJsonDocument(event).toJson(QJsonDocument::Compact));
    EXPECT_TRUE(test::isTheReplayedOrder(*saved, QStringLiteral("Hopper"), QStringLiteral("x11pw")))
        << result.transcript().toStdString() << "\nthe form said:\n"
        << shown.join(u'\n').toStdString();
}

INSTANTIATE_TEST_SUITE_P(Toolkits, WaylandRecording,
                         testing::Values(NativeForm::Toolkit::gtk, NativeForm::Toolkit::qt),
                         [](const auto& info) {
                             return info.param == NativeForm::Toolkit::gtk ? "Gtk" : "Qt";
                         });

// A slider dragged under sway: no compositor shows where the pointer went, so the drag is
// recorded from what accessibility reports, from where the handle stood when the press took the
// focus to where the last value put it, and replayed by Tavrik's own pointer device into a fresh
// form.
TEST_F(WaylandSession, ASliderDraggedOnSwayIsRecordedAsADragAndReplayed) {
    if (!underSway())
        GTEST_SKIP() << "the pointer device is wlroots'";
#ifdef TAVRIK_HAVE_WLR_VIRTUAL_POINTER
    const QStringList withSlider{QStringLiteral("--quantity")};
    const auto slider = [&](NativeForm& form) -> std::optional<LiveElement> {
        const auto view = viewOf(form, NativeForm::Toolkit::gtk, QStringLiteral("slider"));
        return view ? std::optional<LiveElement>(view->element) : std::nullopt;
    };
    const auto reached = [](NativeForm& form, double value) {
        return waitFor(
            [&] {
                const std::optional<QJsonObject> now =
                    form.waitForEvent(QStringLiteral("quantity"), 0);
                // One point of the pointer is about half a unit of this slider.
                return now && std::abs(now->value("value").toDouble() - value) <= 1;
            },
            5000);
    };
    const auto handleAt = [](const LiveElement& e, double value) {
        return wayland::SliderGeometry::pointFor(e.frame, value, 0, 100,
                                                 wayland::SliderGeometry::Axis::horizontal, true);
    };
    const std::optional<QJsonDocument> outputs =
        wayland::SwayIpc(wayland::SwayIpc::socketFromEnvironment())
            .request(wayland::SwayIpc::getOutputs);
    ASSERT_TRUE(outputs);
    const std::optional<Rect> layout = wayland::SwayPointer::layoutBox(outputs->array());
    ASSERT_TRUE(layout);
    test::TempSupportFolder support;
    std::optional<Recording> recording;
    {
        NativeForm form(NativeForm::Toolkit::gtk, withSlider);
        const std::optional<LiveElement> quantity = slider(form);
        ASSERT_TRUE(quantity);
        Recorder recorder(DesktopBackend::createInputMonitor(),
                          DesktopBackend::createFrameCapturer(),
                          DesktopBackend::createAXResolver());
        recorder.start();
        // A person's drag: the press lands on the handle, which takes the focus, and only then
        // does the pointer move.
        wayland::WlrVirtualPointer hand;
        hand.setLayout(*layout);
        ASSERT_TRUE(hand.press(handleAt(*quantity, 20)));
        ASSERT_TRUE(waitFor(
            [&] {
                const std::optional<LiveElement> now = actor->refresh(*quantity);
                return now && now->focused;
            },
            5000));
        bool heard = false;
        QMetaObject::invokeMethod(
            qApp, [&heard] { heard = true; }, Qt::QueuedConnection);
        ASSERT_TRUE(waitFor([&] { return heard; }, 5000));
        for (const double value : {30, 45, 60, 70})
            ASSERT_TRUE(hand.moveTo(handleAt(*quantity, value)));
        ASSERT_TRUE(hand.release());
        ASSERT_TRUE(reached(form, 70));
        QFuture<std::optional<Recording>> stopped = recorder.stop();
        ASSERT_TRUE(waitFor([&] { return stopped.isFinished(); }, 20000));
        recording = stopped.result();
    }
    ASSERT_TRUE(recording);
    // One drag on the slider, and no click beside it: the slider's focus came from the press.
    ASSERT_EQ(recording->events.size(), 1);
    const ActionEvent& drag = recording->events.first();
    EXPECT_EQ(drag.type, ActionType::drag);
    ASSERT_TRUE(drag.target && drag.endLocation && drag.location);
    EXPECT_EQ(drag.target->axRole, QStringLiteral("slider"));
    EXPECT_EQ(drag.target->axTitle, QStringLiteral("Quantity"));
    EXPECT_GT(drag.endLocation->x, drag.location->x);

    Skill skill = Synthesizer::skillFromMarkdown(
        QStringLiteral("---\nname: More pears\n---\n\n# More pears\n\nSets the quantity.\n"),
        *recording);
    skill.sourceRecordingID = recording->id;
    ASSERT_TRUE(SkillStore().save(skill).ok());
    NativeForm form(NativeForm::Toolkit::gtk, withSlider);
    ASSERT_TRUE(slider(form));
    // Away from the slider: a press that landed where the pointer was would not take the handle.
    ASSERT_TRUE(wayland::SwayIpc(wayland::SwayIpc::socketFromEnvironment())
                    .request(wayland::SwayIpc::runCommand, "seat - cursor set 5 5"));
    const test::ReplayResult result = test::replay(Paths::skill(skill.id), {}, {});
    ASSERT_EQ(result.exitCode, 0) << result.transcript().toStdString();
    EXPECT_TRUE(reached(form, 70)) << result.transcript().toStdString();
#else
    GTEST_SKIP() << "built without libwayland-client";
#endif
}

// Tavrik's shortcuts are sway bindings while it runs: Control-/ runs `tavrik palette` (a stand-in
// program here), a double tap of Control reaches the hotkey engine's signals, Esc only while
// grabbed; at stop every binding is gone again.
TEST_F(WaylandSession, SwayBindsTheShortcutsWhileRunningAndUnbindsThemAtStop) {
    if (!underSway())
        GTEST_SKIP() << "bindings are sway's";
    QTemporaryDir dir;
    const QString ran = dir.filePath(QStringLiteral("ran"));
    const QString program = dir.filePath(QStringLiteral("tavrik-stand-in"));
    QFile script(program);
    ASSERT_TRUE(script.open(QIODevice::WriteOnly));
    script.write(QStringLiteral("#!/bin/sh\necho \"$@\" >> '%1'\n").arg(ran).toUtf8());
    script.close();
    // sway runs its commands as the user it runs as, who is not root under the test session.
    const QFile::Permissions everyone = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                        QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
    script.setPermissions(everyone);
    QFile::setPermissions(dir.path(), everyone);

    const std::unique_ptr<SyntheticInput> keys = DesktopBackend::createSyntheticInput();
    wayland::SwayHotkeys hotkeys(wayland::SwayIpc::socketFromEnvironment(), program);
    QList<quint64> controls;
    QList<quint16> pressed;
    QObject::connect(&hotkeys, &HotkeyGrabber::flagsChanged,
                     [&](quint16, quint64 flags, double) { controls << flags; });
    QObject::connect(&hotkeys, &HotkeyGrabber::keyPressed,
                     [&](quint16 code, quint64) { pressed << code; });
    ASSERT_TRUE(hotkeys.start()) << hotkeys.errorString().toStdString();

    ASSERT_TRUE(keys->pressKey(KeyCodes::slash, ModifierFlags::control));
    const auto ranLines = [&] {
        QFile file(ran);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    };
    EXPECT_TRUE(waitFor([&] { return ranLines() == QStringLiteral("palette\n"); }, 5000))
        << ranLines().toStdString();

    // Two taps at a person's pace, after the Shift tap a new virtual keyboard may lose.
    ASSERT_EQ(QProcess::execute(QStringLiteral("wtype"),
                                {"-k", "Shift_L", "-s", "100", "-P", "Control_L", "-p", "Control_L",
                                 "-s", "80", "-P", "Control_L", "-p", "Control_L"}),
              0);
    EXPECT_TRUE(waitFor([&] { return controls.size() >= 4; }, 5000));
    EXPECT_EQ(controls.mid(0, 4),
              (QList<quint64>{ModifierFlags::control, 0, ModifierFlags::control, 0}));

    hotkeys.setEscapeGrabbed(true);
    ASSERT_TRUE(keys->pressKey(KeyCodes::escape, 0));
    EXPECT_TRUE(waitFor([&] { return pressed.contains(KeyCodes::escape); }, 5000));
    hotkeys.setEscapeGrabbed(false);

    hotkeys.stop();
    wayland::SwayIpc ipc(wayland::SwayIpc::socketFromEnvironment());
    for (const char* binding : {"ctrl+slash", "--release Control_L", "Escape"}) {
        const std::optional<QJsonDocument> reply =
            ipc.request(wayland::SwayIpc::runCommand, QByteArray("unbindsym ") + binding);
        ASSERT_TRUE(reply);
        EXPECT_FALSE(reply->array().first()[QLatin1String("success")].toBool()) << binding;
    }
}

// A double tap of Control records on sway as on X11: sway's release bindings of the lone Control
// keys feed the hotkey engine, which keeps the tap timing for every desktop. A Control that
// served Control-C is no tap, so Control-C followed by one tap records nothing, nor does one
// tapped under another modifier. (The application turns the engine's toggle into a recording.)
TEST_F(WaylandSession, SwayControlDoubleTapTogglesRecordingButControlCDoesNotCount) {
    if (!underSway())
        GTEST_SKIP() << "Control taps are heard through sway's bindings";
    std::unique_ptr<HotkeyGrabber> grabber = DesktopBackend::createHotkeyGrabber();
    HotkeyGrabber* hotkeys = grabber.get();
    HotkeyEngine engine(std::move(grabber));
    int toggles = 0;
    int changes = 0;
    QObject::connect(&engine, &HotkeyEngine::triggered, [&](HotkeyEngine::Event event) {
        toggles += event == HotkeyEngine::Event::toggleRecording ? 1 : 0;
    });
    QObject::connect(hotkeys, &HotkeyGrabber::flagsChanged, [&] { ++changes; });
    ASSERT_TRUE(engine.start()) << engine.errorString().toStdString();
    EXPECT_TRUE(hotkeys->reportsControlTaps());
    const auto typed = [](const QStringList& keys) {
        // A new virtual keyboard loses its first event: a Shift tap.
        return QProcess::execute(QStringLiteral("wtype"),
                                 QStringList{QStringLiteral("-k"), QStringLiteral("Shift_L")} +
                                     keys) == 0;
    };

    // Control-C, then one tap at once: had the first Control counted, the two would be a pair.
    ASSERT_TRUE(typed(
        {"-P", "Control_L", "-k", "c", "-p", "Control_L", "-P", "Control_R", "-p", "Control_R"}));
    ASSERT_TRUE(waitFor([&] { return changes >= 2; }, 5000));
    QCoreApplication::processEvents();
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(toggles, 0);

    // Control tapped twice under Shift, Alt or Super (held as a keyboard holds them: in the
    // modifier state) is a chord, not a double tap. The plain pair after them is the barrier:
    // its taps are the only ones heard.
    for (const char* modifier : {"shift", "alt", "logo"})
        ASSERT_TRUE(typed({"-M", modifier, "-P", "Control_L", "-p", "Control_L", "-s", "80", "-P",
                           "Control_R", "-p", "Control_R", "-m", modifier}));
    ASSERT_TRUE(typed(
        {"-P", "Control_L", "-p", "Control_L", "-s", "80", "-P", "Control_L", "-p", "Control_L"}));
    EXPECT_TRUE(waitFor([&] { return toggles == 1; }, 5000)) << changes;
    QCoreApplication::processEvents();
    EXPECT_EQ(changes, 2 + 4);
    EXPECT_EQ(toggles, 1);
    engine.stop();
}

} // namespace
} // namespace tavrik
