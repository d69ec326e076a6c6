#include "DesktopApp.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/AtSpi/AtSpiDesktopActor.h"
#include "TavrikPlatform/AtSpi/AtSpiResolver.h"
#include "TavrikPlatform/AtSpi/ClientWindows.h"
#include "TavrikPlatform/X11/XTestInput.h"

#include <QElapsedTimer>
#include <QHash>
#include <QThread>
#include <functional>
#include <gtest/gtest.h>

using namespace tavrik;
using tavrik::atspi::AtSpiDesktopActor;
using tavrik::atspi::AtSpiResolver;
using tavrik::atspi::ClientWindow;
using tavrik::test::DesktopApp;
using tavrik::x11::XTestInput;

namespace {

// Polls until `done` holds: applications register with the accessibility bus, and apply what
// they are asked, on their own time.
bool eventually(const std::function<bool()>& done, int timeoutMs = 10000) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > timeoutMs) {
            return false;
        }
        QThread::msleep(20);
    }
    return true;
}

bool near(const Rect& a, const Rect& b, double slack = 2) {
    return std::abs(a.origin.x - b.origin.x) <= slack &&
           std::abs(a.origin.y - b.origin.y) <= slack &&
           std::abs(a.size.width - b.size.width) <= slack &&
           std::abs(a.size.height - b.size.height) <= slack;
}

// X's windows as ClientWindows gives them, noting the toolkit each application was named by (on
// Wayland it decides where the application's coordinates start and what it is called).
class ToolkitsNamed final : public atspi::WindowDirectory {
public:
    bool isOpen() const override { return m_windows.isOpen(); }
    QList<ClientWindow> clients() override { return m_windows.clients(); }
    std::optional<ClientWindow> active() override { return m_windows.active(); }
    std::optional<ClientWindow> topmostAt(Point point) override {
        return m_windows.topmostAt(point);
    }
    bool activate(unsigned long window, int timeoutMs) override {
        return m_windows.activate(window, timeoutMs);
    }
    QString appName(const ClientWindow& window) override { return m_windows.appName(window); }
    void nameApplication(ClientWindow& window, const QString& toolkit,
                         const QString& accessibleName) override {
        Q_UNUSED(accessibleName);
        if (window.pid) {
            toolkits.insert(*window.pid, toolkit);
        }
    }

    QHash<qint64, QString> toolkits;

private:
    atspi::ClientWindows m_windows;
};

class AtSpiDesktopActorTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DISPLAY")) {
            GTEST_SKIP() << "needs an X display with an accessibility bus";
        }
        actor = std::make_unique<AtSpiDesktopActor>();
        resolver = std::make_unique<AtSpiResolver>();
        ASSERT_TRUE(actor->isAvailable());
    }

    // The window titled `title` once its application shows its elements.
    std::optional<LiveWindow> window(const QString& title) {
        std::optional<LiveWindow> found;
        eventually([&] {
            for (const LiveWindow& w : actor->windows()) {
                if (w.title == title && !actor->elements(w, "push button", 1).isEmpty()) {
                    found = w;
                    return true;
                }
            }
            return false;
        });
        return found;
    }

    // Waited for: one read of a loaded application can run out of time and list nothing.
    std::optional<LiveElement> element(const LiveWindow& window, const QString& role,
                                       const QString& name = {}) {
        std::optional<LiveElement> found;
        eventually([&] {
            for (const LiveElement& e : actor->elements(window, role, 100)) {
                if (name.isEmpty() || e.name == name) {
                    found = e;
                    return true;
                }
            }
            return false;
        });
        return found;
    }

    bool focused(const LiveElement& e) {
        const std::optional<LiveElement> now = actor->refresh(e);
        return now && now->focused;
    }

    bool textBecomes(const LiveElement& field, const QString& text) {
        return eventually([&] { return actor->text(field) == text; }, 5000);
    }

    std::unique_ptr<AtSpiDesktopActor> actor;
    std::unique_ptr<AtSpiResolver> resolver;
};

// What replay compares must be what the recorder stored for the same element.
TEST_F(AtSpiDesktopActorTest, LiveElementsMatchWhatTheRecorderStores) {
    DesktopApp app;
    ASSERT_TRUE(app.started());
    const std::optional<LiveWindow> form = window("Tavrik Form");
    ASSERT_TRUE(form);
    const std::optional<AXTarget> recorded = resolver->target(app.centre("button"));
    ASSERT_TRUE(recorded);
    ASSERT_EQ(recorded->axRole, "push button");

    EXPECT_EQ(form->appID, recorded->appBundleID);
    EXPECT_EQ(form->appID, "org.tavrik.TestForm");
    EXPECT_EQ(form->appName, recorded->appName);
    ASSERT_TRUE(recorded->windowFrame);
    EXPECT_EQ(form->frame, *recorded->windowFrame);
    // The newest window has the focus: it comes first.
    EXPECT_TRUE(form->active);
    EXPECT_EQ(actor->windows().first().handle, form->handle);

    const QList<LiveElement> buttons = actor->elements(*form, "push button", 10);
    ASSERT_EQ(buttons.size(), 1);
    const LiveElement& button = buttons.first();
    EXPECT_EQ(button.name, "Submit");
    EXPECT_EQ(button.description, "Sends the form");
    EXPECT_EQ(recorded->axDescription, button.description);
    ASSERT_TRUE(recorded->axPath);
    EXPECT_EQ(button.path, *recorded->axPath);
    EXPECT_TRUE(button.path.endsWith("push button:2")) << button.path.toStdString();
    EXPECT_TRUE(near(button.frame, app.rect("button")));
    ASSERT_TRUE(recorded->frameInWindow);
    EXPECT_EQ(button.frame.origin.x,
              recorded->windowFrame->origin.x + recorded->frameInWindow->origin.x);
    EXPECT_TRUE(button.showing && button.enabled && button.focusable);
    EXPECT_FALSE(button.editable || button.checked || button.secure);
    EXPECT_TRUE(button.actions.contains("click"));

    // The whole window, depth first: the same button under the same handle, the fields in order.
    const QList<LiveElement> all = actor->elements(*form, {}, 100);
    QStringList roles;
    for (const LiveElement& e : all) {
        roles.append(e.role);
        EXPECT_EQ(e.window, form->handle);
    }
    EXPECT_EQ(roles, (QStringList{"filler", "text", "password text", "push button"}));
    ASSERT_EQ(all.size(), 4);
    EXPECT_EQ(all[3].handle, button.handle);
    EXPECT_EQ(all[1].value, "hello");
    EXPECT_TRUE(all[1].editable && all[1].focused);
    EXPECT_TRUE(all[2].secure);
    EXPECT_FALSE(all[2].value);
    EXPECT_EQ(actor->elements(*form, {}, 2).size(), 2);
    EXPECT_TRUE(actor->elements(*form, "no such role", 10).isEmpty());

    // The focused element's place, as recorded when typing.
    const std::optional<AXTarget> focused = resolver->focusedTarget();
    ASSERT_TRUE(focused);
    EXPECT_EQ(focused->axPath, all[1].path);
    EXPECT_EQ(resolver->focusedTarget()->axPath, all[1].path); // from what the resolver kept
}

TEST_F(AtSpiDesktopActorTest, ActsOnGtkElements) {
    DesktopApp app;
    ASSERT_TRUE(app.started());
    const std::optional<LiveWindow> form = window("Tavrik Form");
    ASSERT_TRUE(form);
    const std::optional<LiveElement> button = element(*form, "push button");
    const std::optional<LiveElement> entry = element(*form, "text");
    const std::optional<LiveElement> password = element(*form, "password text");
    ASSERT_TRUE(button && entry && password);

    // The pointer at the button's centre lands on the button, not on the field beside it; the
    // button sits in a container that is its parent.
    const Point centre{button->frame.origin.x + button->frame.size.width / 2,
                       button->frame.origin.y + button->frame.size.height / 2};
    EXPECT_TRUE(actor->reaches(*button, centre));
    EXPECT_FALSE(actor->reaches(*entry, centre));
    const std::optional<LiveElement> holder = actor->parent(*button);
    ASSERT_TRUE(holder);
    EXPECT_TRUE(button->path.startsWith(holder->path + u'/')) << button->path.toStdString();

    EXPECT_TRUE(actor->performAction(*button, "click"));
    EXPECT_TRUE(app.waitForLine("clicked"));
    EXPECT_FALSE(actor->performAction(*button, "no such action"));

    EXPECT_TRUE(actor->replaceText(*entry, "Hello"));
    EXPECT_TRUE(textBecomes(*entry, "Hello"));
    XTestInput input;
    ASSERT_TRUE(input.isAvailable());
    // The key and the insertion below travel on different connections: wait for the caret the
    // key moves (the form's first text also left it at 5, so older lines do not count).
    app.discardLines();
    ASSERT_TRUE(input.pressKey(KeyCodes::end, 0));
    EXPECT_TRUE(eventually([&] { return focused(*entry); }));
    EXPECT_TRUE(app.waitForLine("caret 5"));
    // At the caret, which End put after the text; ATK counts the inserted length in bytes.
    EXPECT_TRUE(actor->insertText(*entry, ", Wörld"));
    EXPECT_TRUE(textBecomes(*entry, "Hello, Wörld"));
    EXPECT_EQ(actor->refresh(*entry).value_or(LiveElement{}).value, "Hello, Wörld");
    // A GTK entry given the focus selects its text; typed text replaces a selection, and so
    // does inserted text (offsets in characters, the length in bytes).
    ASSERT_TRUE(actor->focus(*button));
    ASSERT_TRUE(actor->focus(*entry));
    EXPECT_TRUE(actor->insertText(*entry, "Grüß dich"));
    EXPECT_TRUE(textBecomes(*entry, "Grüß dich"));

    // Secure fields are written but never read.
    EXPECT_TRUE(actor->replaceText(*password, "swordfish"));
    EXPECT_FALSE(actor->text(*password));
    EXPECT_FALSE(actor->text(*button)); // no text at all

    ASSERT_TRUE(actor->focus(*button));
    EXPECT_TRUE(eventually([&] { return focused(*button); }));
    EXPECT_FALSE(focused(*entry));
}

TEST_F(AtSpiDesktopActorTest, SelectsARowWithinItsList) {
    DesktopApp app({"--rows", "3"});
    ASSERT_TRUE(app.started());
    const std::optional<LiveWindow> form = window("Tavrik Form");
    ASSERT_TRUE(form);
    const QList<LiveElement> rows = actor->elements(*form, "list item", 10);
    ASSERT_EQ(rows.size(), 3);
    EXPECT_TRUE(rows[1].path.endsWith("list box:3/list item:1")) << rows[1].path.toStdString();
    ASSERT_FALSE(rows[1].selected);
    // The light outline tells what the full read of every element tells.
    const QStringList before = actor->outline(*form, 500);
    EXPECT_EQ(before, actor->DesktopActor::outline(*form, 500));
    ASSERT_TRUE(actor->select(rows[1]));
    EXPECT_TRUE(eventually([&] {
        const std::optional<LiveElement> row = actor->refresh(rows[1]);
        return row && row->selected;
    }));
    const QStringList after = actor->outline(*form, 500);
    EXPECT_EQ(after, actor->DesktopActor::outline(*form, 500));
    EXPECT_EQ(after.count(), before.count());
    EXPECT_NE(after, before);
    EXPECT_FALSE(actor->refresh(rows[0]).value_or(LiveElement{}).selected);
    // A button is no list's child.
    EXPECT_FALSE(actor->select(*element(*form, "push button")));
}

// Qt has no Collection search (the window is walked) and counts inserted text in UTF-16 units.
TEST_F(AtSpiDesktopActorTest, ActsOnQtElements) {
    DesktopApp app({}, DesktopApp::Toolkit::qt);
    ASSERT_TRUE(app.started());
    const std::optional<LiveWindow> form = window("Tavrik Qt Form");
    ASSERT_TRUE(form);
    const std::optional<AXTarget> recorded = resolver->target(app.centre("button"));
    ASSERT_TRUE(recorded);
    EXPECT_EQ(form->appID, recorded->appBundleID);
    const std::optional<LiveElement> button = element(*form, "push button");
    ASSERT_TRUE(button);
    EXPECT_EQ(button->name, "Submit");
    EXPECT_EQ(button->path, recorded->axPath);
    EXPECT_EQ(button->description, "Sends the form");
    EXPECT_EQ(recorded->axDescription, button->description);
    EXPECT_TRUE(button->actions.contains("Press"));

    EXPECT_TRUE(actor->performAction(*button, "Press"));
    EXPECT_TRUE(app.waitForLine("clicked"));

    const std::optional<LiveElement> entry = element(*form, "text");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->value, "hello");
    EXPECT_TRUE(actor->replaceText(*entry, "Grüße"));
    EXPECT_TRUE(textBecomes(*entry, "Grüße"));
    EXPECT_TRUE(actor->insertText(*entry, " aus Köln"));
    EXPECT_TRUE(textBecomes(*entry, "Grüße aus Köln"));
    const std::optional<LiveElement> password = element(*form, "password text");
    ASSERT_TRUE(password);
    EXPECT_FALSE(actor->text(*password));
}

TEST_F(AtSpiDesktopActorTest, TypesAndClicksIntoTheActiveWindow) {
    DesktopApp first({"--title", "First Form", "--at", "60", "80"});
    ASSERT_TRUE(first.started());
    const std::optional<LiveWindow> one = window("First Form");
    ASSERT_TRUE(one);
    DesktopApp second(
        {"--app-id", "org.tavrik.SecondForm", "--title", "Second Form", "--at", "600", "300"});
    ASSERT_TRUE(second.started());
    const std::optional<LiveWindow> two = window("Second Form");
    ASSERT_TRUE(two);

    ASSERT_TRUE(actor->activateWindow(*one));
    EXPECT_TRUE(eventually([&] {
        const QList<LiveWindow> windows = actor->windows();
        return !windows.isEmpty() && windows.first().handle == one->handle &&
               windows.first().active;
    }));
    const std::optional<LiveElement> entry = element(*one, "text");
    ASSERT_TRUE(entry);
    EXPECT_TRUE(eventually([&] { return focused(*entry); }));
    ASSERT_TRUE(actor->replaceText(*entry, ""));

    XTestInput input;
    // Shifted letters and punctuation, and a letter this layout has no key for.
    ASSERT_TRUE(input.typeText("Hello, Wörld"));
    EXPECT_TRUE(textBecomes(*entry, "Hello, Wörld"));
    ASSERT_TRUE(input.pressKey(KeyCodes::returnKey, 0));
    EXPECT_TRUE(first.waitForLine("activated"));
    ASSERT_TRUE(input.pressKey(KeyCodes::tab, 0));
    const std::optional<LiveElement> password = element(*one, "password text");
    ASSERT_TRUE(password);
    EXPECT_TRUE(eventually([&] { return focused(*password); }));
    // Shift-Tab goes back.
    ASSERT_TRUE(input.pressKey(KeyCodes::tab, ModifierFlags::shift));
    EXPECT_TRUE(eventually([&] { return focused(*entry); }));

    ASSERT_TRUE(input.click(second.centre("button"), SyntheticInput::Button::left, 1));
    EXPECT_TRUE(second.waitForLine("clicked"));
    EXPECT_FALSE(first.waitForLine("clicked", 0));
}

TEST_F(AtSpiDesktopActorTest, GoneAndStoppedApplicationsAreLeftAlone) {
    DesktopApp app;
    ASSERT_TRUE(app.started());
    const std::optional<LiveWindow> form = window("Tavrik Form");
    ASSERT_TRUE(form);
    const std::optional<LiveElement> button = element(*form, "push button");
    ASSERT_TRUE(button);
    std::optional<DesktopApp> other;
    other.emplace(QStringList{"--app-id", "org.tavrik.ShortForm", "--title", "Short Form", "--at",
                              "600", "300"});
    ASSERT_TRUE(other->started());
    const std::optional<LiveWindow> shortLived = window("Short Form");
    ASSERT_TRUE(shortLived);
    const std::optional<LiveElement> entry = element(*shortLived, "text");
    ASSERT_TRUE(entry);
    ASSERT_TRUE(actor->refresh(*entry));
    other.reset(); // killed and reaped: its element has gone
    EXPECT_FALSE(actor->refresh(*entry));
    EXPECT_FALSE(actor->replaceText(*entry, "x"));

    app.pause();
    // One wait for the stopped application; from then on it is missing and acting on it fails.
    EXPECT_FALSE(actor->performAction(*button, "click"));
    const QList<LiveWindow> windows = actor->windows();
    EXPECT_TRUE(std::none_of(windows.cbegin(), windows.cend(),
                             [&](const LiveWindow& w) { return w.handle == form->handle; }));
    EXPECT_TRUE(actor->elements(*form, {}, 10).isEmpty());
    EXPECT_FALSE(actor->refresh(*button));
}

// An application asked while it cannot answer (just started, a loaded machine) is asked its
// toolkit again once it answers, not taken for one of no known toolkit for the rest of the run.
TEST_F(AtSpiDesktopActorTest, AToolkitNotAnsweredInTimeIsAskedAgain) {
    DesktopApp app(
        {"--app-id", "org.tavrik.LateForm", "--title", "Late Form", "--at", "500", "200"});
    ASSERT_TRUE(app.started());
    auto actorWindows = std::make_unique<ToolkitsNamed>();
    auto resolverWindows = std::make_unique<ToolkitsNamed>();
    const QHash<qint64, QString>& actorNamed = actorWindows->toolkits;
    const QHash<qint64, QString>& resolverNamed = resolverWindows->toolkits;
    AtSpiDesktopActor late(std::move(actorWindows),
                           {.timeoutMs = 300, .walkTimeoutMs = 1000, .cooldownMs = 0});
    AtSpiResolver lateResolver(std::move(resolverWindows), {.timeoutMs = 300, .cooldownMs = 0});

    app.pause();
    late.windows();
    lateResolver.target(app.centre("entry"));
    app.resume();

    EXPECT_TRUE(eventually([&] {
        const QList<LiveWindow> windows = late.windows();
        return std::any_of(windows.cbegin(), windows.cend(),
                           [](const LiveWindow& w) { return w.title == "Late Form"; });
    }));
    EXPECT_EQ(actorNamed.value(app.pid()).toLower(), "gtk");
    EXPECT_TRUE(eventually([&] {
        lateResolver.target(app.centre("entry"));
        return resolverNamed.contains(app.pid());
    }));
    EXPECT_EQ(resolverNamed.value(app.pid()).toLower(), "gtk");
}

} // namespace
