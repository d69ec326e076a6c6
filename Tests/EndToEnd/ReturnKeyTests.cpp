#include "ApplicationFlow.h"
#include "Support/LocalModel.h"

#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>

// Xlib defines macros (None, Bool) that clash with gtest: it comes last.
// clang-format off
#include <X11/Xlib.h>
#include <X11/keysym.h>
// clang-format on

using namespace tavrik;
using namespace tavrik::test;

namespace {

using ReturnKey = ApplicationFlow;

// Return typed into a window's text field presses its default button, as in any dialog: in
// Preferences it tests the key just typed.
TEST_F(ReturnKey, ReturnInTheKeyFieldTestsTheKey) {
    model.route("POST", "/v1/messages", acceptsOnlyKey("typedkey"));
    RunningApplication app(environment());
    ASSERT_TRUE(app.waitForPillStatus("Ready", 10000)) << "the pill never came up";
    // The main window takes the keyboard with a click on its menu button; Ctrl+, opens them.
    const std::optional<AccessibleNode> menu = app.waitFor("push button", "Tavrik Menu");
    ASSERT_TRUE(menu) << "the main window has no menu";
    // The menu opens below its button; it is seen there, and gone, before the next key.
    const QRect below(menu->screenRect().bottomLeft() + QPoint(0, 4), QSize(60, 30));
    const auto under = [&] {
        return QGuiApplication::primaryScreen()->grabWindow(0).copy(below).toImage();
    };
    const QImage closed = under();
    clickAt(menu->centre());
    ASSERT_TRUE(waitUntil([&] { return under() != closed; })) << "the menu did not open";
    desktop.tap(XK_Escape);
    desktop.sync();
    ASSERT_TRUE(waitUntil([&] { return under() == closed; })) << "the menu did not close";
    desktop.chord({XK_Control_L}, XK_comma);
    desktop.sync();
    ASSERT_TRUE(waitUntil([&] { return app.window("Tavrik Preferences").has_value(); }));

    // The new window has the keyboard, in its first field.
    const std::optional<AccessibleNode> key = app.waitFor("password text", "Anthropic API key");
    ASSERT_TRUE(key);
    ASSERT_TRUE(waitUntil([&] { return key->isFocused(); })) << "the key field has no keys";
    type("typedkey");
    desktop.tap(XK_Return);
    desktop.sync();
    EXPECT_TRUE(app.waitFor("label", "The key works.")) << "Return did not test the key";
    screenshot("e2e-preferences-return");
    QList<QByteArray> keys;
    for (const RecordedRequest& request : model.requests())
        if (request.path == "/v1/messages")
            keys << request.header("x-api-key");
    EXPECT_EQ(keys, QList<QByteArray>{"typedkey"});
}

} // namespace
