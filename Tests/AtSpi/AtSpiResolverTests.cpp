#include "DesktopApp.h"
#include "Support/WaitUntil.h"
#include "TavrikPlatform/AtSpi/AtSpiResolver.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <QUrl>
#include <gtest/gtest.h>

using namespace tavrik;
using tavrik::atspi::AtSpiResolver;
using tavrik::test::DesktopApp;

namespace {

constexpr int timeoutMs = 400;

class AtSpiResolverTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DISPLAY")) {
            GTEST_SKIP() << "needs an X display with an accessibility bus";
        }
        resolver = std::make_unique<AtSpiResolver>(AtSpiResolver::Options{timeoutMs, 3000});
        ASSERT_TRUE(resolver->isAvailable());
    }

    // The application registers with the accessibility bus a little after its window shows.
    std::optional<AXTarget> waitForRole(Point at, const QString& role) {
        QElapsedTimer timer;
        timer.start();
        std::optional<AXTarget> target;
        while (timer.elapsed() < 10000) {
            target = resolver->target(at);
            if (target && target->axRole == role) {
                break;
            }
            QThread::msleep(50);
        }
        return target;
    }

    static bool near(const Rect& a, const Rect& b, double slack = 2) {
        return std::abs(a.origin.x - b.origin.x) <= slack &&
               std::abs(a.origin.y - b.origin.y) <= slack &&
               std::abs(a.size.width - b.size.width) <= slack &&
               std::abs(a.size.height - b.size.height) <= slack;
    }

    std::unique_ptr<AtSpiResolver> resolver;
};

TEST_F(AtSpiResolverTest, DescribesTheElementsUnderAPoint) {
    DesktopApp app;
    ASSERT_TRUE(app.started());

    auto button = waitForRole(app.centre("button"), "push button");
    ASSERT_TRUE(button);
    EXPECT_EQ(button->axRole, "push button");
    EXPECT_EQ(button->axTitle, "Submit");
    EXPECT_EQ(button->appBundleID, "org.tavrik.TestForm");
    EXPECT_EQ(button->windowTitle, "Tavrik Form");
    EXPECT_FALSE(button->isSecure);
    EXPECT_FALSE(button->url);
    ASSERT_TRUE(button->frameInWindow);
    // The window's own frame starts at or above its content: the button sits inside it.
    const Rect b = app.rect("button");
    EXPECT_EQ(button->frameInWindow->size, b.size);
    EXPECT_GE(button->frameInWindow->origin.y, b.origin.y - app.rect("window").origin.y);

    auto entry = resolver->target(app.centre("entry"));
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->axRole, "text");
    EXPECT_EQ(entry->axValue, "hello");
    EXPECT_FALSE(entry->isSecure);

    auto password = resolver->target(app.centre("password"));
    ASSERT_TRUE(password);
    EXPECT_EQ(password->axRole, "password text");
    EXPECT_TRUE(password->isSecure);
    EXPECT_FALSE(password->axValue);

    // Nothing but the root window at the far corner of the screen.
    EXPECT_FALSE(resolver->target(Point{1910, 1070}));
}

TEST_F(AtSpiResolverTest, FindsTheSecureFieldsAndFocusOfTheActiveWindow) {
    DesktopApp app;
    ASSERT_TRUE(app.started());
    ASSERT_TRUE(waitForRole(app.centre("button"), "push button"));

    const QList<Rect> rects = resolver->secureFieldRects();
    ASSERT_EQ(rects.size(), 1);
    EXPECT_TRUE(near(rects.first(), app.rect("password")))
        << rects.first().origin.x << "," << rects.first().origin.y;

    auto focused = resolver->focusedTarget();
    ASSERT_TRUE(focused);
    EXPECT_EQ(focused->axRole, "text");
    EXPECT_EQ(focused->axValue, "hello");

    auto front = resolver->frontmostApplication();
    ASSERT_TRUE(front);
    EXPECT_EQ(front->bundleID, "org.tavrik.TestForm");
    EXPECT_EQ(front->windowTitle, "Tavrik Form");
    EXPECT_EQ(front->pid, app.pid());
}

TEST_F(AtSpiResolverTest, FallsBackToTheWindowClassWithoutAnApplicationID) {
    DesktopApp app({"--plain", "tavrik-plain", "--title", "Plain Form", "--at", "600", "300"});
    ASSERT_TRUE(app.started());
    auto button = waitForRole(app.centre("button"), "push button");
    ASSERT_TRUE(button);
    EXPECT_EQ(button->appBundleID, "Tavrik-plain");
    EXPECT_EQ(button->appName, "Tavrik-plain");
    EXPECT_EQ(button->windowTitle, "Plain Form");
}

// Qt offers no Collection search: secure fields and focus come from the bounded walk.
TEST_F(AtSpiResolverTest, WalksQtWindowsWithoutACollectionSearch) {
    DesktopApp app({}, DesktopApp::Toolkit::qt);
    ASSERT_TRUE(app.started());
    auto button = waitForRole(app.centre("button"), "push button");
    ASSERT_TRUE(button);
    EXPECT_EQ(button->axTitle, "Submit");
    EXPECT_EQ(button->windowTitle, "Tavrik Qt Form");
    EXPECT_TRUE(button->appBundleID);

    auto password = resolver->target(app.centre("password"));
    ASSERT_TRUE(password);
    EXPECT_TRUE(password->isSecure);
    EXPECT_FALSE(password->axValue);

    const QList<Rect> rects = resolver->secureFieldRects();
    ASSERT_EQ(rects.size(), 1);
    EXPECT_TRUE(near(rects.first(), app.rect("password")));

    auto focused = resolver->focusedTarget();
    ASSERT_TRUE(focused);
    EXPECT_EQ(focused->axRole, "text");
    EXPECT_EQ(focused->axValue, "hello");
}

TEST_F(AtSpiResolverTest, ReadsThePageAddressInAChromiumWindow) {
    if (!QFile::exists("/usr/bin/chromium")) {
        GTEST_SKIP() << "no Chromium";
    }
    QTemporaryDir profile;
    const QString page = profile.filePath("page.html");
    QFile file(page);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("<title>Page</title><body style='margin:0'>"
               "<button style='position:fixed;left:5%;top:5%;width:90%;height:90%'>Go</button>");
    file.close();
    QProcess chromium;
    chromium.setStandardOutputFile(QProcess::nullDevice());
    chromium.setStandardErrorFile(QProcess::nullDevice());
    chromium.start("/usr/bin/chromium",
                   {"--no-sandbox", "--disable-gpu", "--force-renderer-accessibility",
                    "--no-first-run", "--user-data-dir=" + profile.filePath("profile"),
                    "--window-position=200,150", "--window-size=800,600",
                    "--app=" + QUrl::fromLocalFile(page).toString()});
    ASSERT_TRUE(chromium.waitForStarted());
    std::optional<AXTarget> button;
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 20000) {
        button = resolver->target(Point{600, 450});
        if (button && button->axRole == "push button") {
            break;
        }
        QThread::msleep(100);
    }
    chromium.kill();
    chromium.waitForFinished();
    ASSERT_TRUE(button);
    EXPECT_EQ(button->axRole, "push button");
    EXPECT_EQ(button->axTitle, "Go");
    EXPECT_EQ(button->url, QUrl::fromLocalFile(page).toString());
    EXPECT_EQ(button->appBundleID, "Chromium");
}

// One missed answer may be a loaded machine; a second question without one leaves the application
// alone.
// Whether the resolver still asks an application is seen in its answers once the application
// answers again: one left alone keeps getting only what X knows, while another resolver reads it.
// What that saves in time is measured in bench/AccessibilityBench.
TEST_F(AtSpiResolverTest, AStoppedApplicationCostsTwoTimeoutsThenNothing) {
    // Left alone far longer than this test lasts, however slow the machine.
    resolver = std::make_unique<AtSpiResolver>(AtSpiResolver::Options{timeoutMs, 600000});
    AtSpiResolver probe(AtSpiResolver::Options{timeoutMs, 0});
    DesktopApp app;
    ASSERT_TRUE(app.started());
    ASSERT_TRUE(waitForRole(app.centre("button"), "push button"));
    const QList<Rect> before = resolver->secureFieldRects();
    ASSERT_EQ(before.size(), 1);
    const auto readsTheButton = [&](AtSpiResolver& asking) {
        return test::waitUntil(
            [&] {
                const std::optional<AXTarget> t = asking.target(app.centre("button"));
                return t && t->axRole == QStringLiteral("push button");
            },
            15000);
    };
    const auto answersAgain = [&] {
        app.resume();
        return readsTheButton(probe);
    };

    // One question without an answer: the application is still asked.
    app.pause();
    EXPECT_FALSE(resolver->target(app.centre("button")).value_or(AXTarget{}).axRole);
    ASSERT_TRUE(answersAgain());
    EXPECT_TRUE(readsTheButton(*resolver));

    // Two in a row: nothing more is asked.
    app.pause();
    auto target = resolver->target(app.centre("button"));
    auto again = resolver->target(app.centre("entry"));
    ASSERT_TRUE(answersAgain());
    auto focused = resolver->focusedTarget();
    const QList<Rect> rects = resolver->secureFieldRects();
    auto button = resolver->target(app.centre("button"));

    // Only what the window system knows: the application's identity and window title.
    ASSERT_TRUE(target && again && focused && button);
    EXPECT_EQ(target->appBundleID, "org.tavrik.TestForm");
    EXPECT_EQ(target->windowTitle, "Tavrik Form");
    EXPECT_FALSE(target->axRole);
    EXPECT_FALSE(again->axRole);
    EXPECT_FALSE(button->axRole);
    EXPECT_EQ(focused->appBundleID, "org.tavrik.TestForm");
    EXPECT_FALSE(focused->axRole);
    // The secure fields are the ones seen last.
    EXPECT_EQ(rects, before);
    // Where the window is comes from X too: the click keeps its place in the window and its step
    // stays replayable.
    ASSERT_TRUE(target->windowFrame);
    const Point centre = app.centre("button");
    EXPECT_TRUE(centre.x >= target->windowFrame->origin.x &&
                centre.y >= target->windowFrame->origin.y &&
                centre.x < target->windowFrame->origin.x + target->windowFrame->size.width &&
                centre.y < target->windowFrame->origin.y + target->windowFrame->size.height);

    // What cannot be read counts as secure where it may be: the focus of a window with a secure
    // field, a point inside the field seen last; not the rest of the window.
    EXPECT_TRUE(focused->isSecure);
    EXPECT_FALSE(focused->axValue);
    EXPECT_FALSE(again->isSecure);
    auto password = resolver->target(app.centre("password"));
    ASSERT_TRUE(password);
    EXPECT_TRUE(password->isSecure);
}

TEST_F(AtSpiResolverTest, AnUnreadFocusIsOrdinaryOnlyInAWindowKnownToHaveNoSecureField) {
    // Never scanned: its focus may be a password field.
    DesktopApp unknown({"--title", "Unknown Form", "--at", "60", "80"});
    ASSERT_TRUE(unknown.started());
    ASSERT_TRUE(waitForRole(unknown.centre("button"), "push button"));
    unknown.pause();
    auto focused = resolver->focusedTarget();
    ASSERT_TRUE(focused);
    EXPECT_EQ(focused->windowTitle, "Unknown Form");
    EXPECT_FALSE(focused->axRole);
    EXPECT_TRUE(focused->isSecure);

    DesktopApp plain({"--app-id", "org.tavrik.PlainForm", "--no-password", "--title", "Plain Form",
                      "--at", "600", "300"});
    ASSERT_TRUE(plain.started());
    ASSERT_TRUE(waitForRole(plain.centre("button"), "push button"));
    ASSERT_EQ(resolver->secureFieldRects(), QList<Rect>());
    plain.pause();
    focused = resolver->focusedTarget();
    ASSERT_TRUE(focused);
    EXPECT_EQ(focused->windowTitle, "Plain Form");
    EXPECT_FALSE(focused->axRole);
    EXPECT_FALSE(focused->isSecure);
}

// A Qt window is walked node by node: a long list spends the whole budget on quick replies. That
// leaves the secure fields found so far, and the application is still asked the next question.
TEST_F(AtSpiResolverTest, AQuestionThatRunsOutOfTimeLeavesTheApplicationAnswering) {
    // An application left alone would stay so for the rest of the test, however slow the machine:
    // the questions after the walk are read in the end only while it is still asked.
    resolver = std::make_unique<AtSpiResolver>(AtSpiResolver::Options{timeoutMs, 600000});
    DesktopApp app({"--rows", "3000"}, DesktopApp::Toolkit::qt);
    ASSERT_TRUE(app.started());
    ASSERT_TRUE(waitForRole(app.centre("button"), "push button"));

    // How long the cut-short walk takes is measured in bench/AccessibilityBench. On a loaded
    // machine a budget can run out before the walk reaches the password field: asked again.
    QList<Rect> rects;
    EXPECT_TRUE(test::waitUntil(
        [&] {
            rects = resolver->secureFieldRects();
            return !rects.isEmpty();
        },
        15000));
    ASSERT_EQ(rects.size(), 1);
    EXPECT_TRUE(near(rects.first(), app.rect("password")));

    std::optional<AXTarget> focused;
    EXPECT_TRUE(test::waitUntil(
        [&] {
            focused = resolver->focusedTarget();
            return focused && focused->axRole;
        },
        15000));
    ASSERT_TRUE(focused);
    EXPECT_EQ(focused->axRole, "text");
    EXPECT_EQ(focused->axValue, "hello");
    std::optional<AXTarget> password;
    EXPECT_TRUE(test::waitUntil(
        [&] {
            password = resolver->target(app.centre("password"));
            return password && password->axRole;
        },
        15000));
    ASSERT_TRUE(password);
    EXPECT_EQ(password->axRole, "password text");
    EXPECT_TRUE(password->isSecure);
}

} // namespace
