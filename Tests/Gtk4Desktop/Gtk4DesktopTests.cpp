#include "DesktopDriver.h"
#include "Support/Desktop/Demonstration.h"
#include "Support/OrderSkill.h"
#include "Support/ReplayProcess.h"
#include "Support/TaskForm.h"
#include "Support/TempSupportFolder.h"
#include "Support/WaitUntil.h"
#include "TavrikCore/Storage/Paths.h"

#include <QJsonArray>
#include <gtest/gtest.h>

// Xlib defines macros (None, Bool) that clash with gtest: it comes last.
// clang-format off
#include <X11/Xlib.h>
// clang-format on

using namespace tavrik;
using tavrik::test::TaskForm;
using tavrik::test::waitUntil;

namespace {

// The GTK 4 form, whose layout is in its window's coordinates: GTK 4 knows no others.
class Gtk4Form {
public:
    explicit Gtk4Form(test::DesktopDriver& desktop)
        : m_desktop(desktop),
          m_form(TaskForm::Toolkit::gtk4, QString(), {}, QProcessEnvironment::systemEnvironment()) {
    }

    bool started() const { return m_form.started(); }
    Window window() const { return Window(m_form.layout().value("xid").toInteger()); }

    // Where the window's inside starts on the screen now.
    Point origin() const {
        int x = 0;
        int y = 0;
        Window child = 0;
        XTranslateCoordinates(m_desktop.display(), window(), DefaultRootWindow(m_desktop.display()),
                              0, 0, &x, &y, &child);
        return Point{double(x), double(y)};
    }
    Rect rectInWindow(const char* widget) const {
        const QJsonArray r = m_form.layout().value(QLatin1String(widget)).toArray();
        return Rect(r[0].toDouble(), r[1].toDouble(), r[2].toDouble(), r[3].toDouble());
    }
    Point centre(const char* widget) const {
        const Rect r = rectInWindow(widget);
        const Point o = origin();
        return Point{o.x + r.origin.x + r.size.width / 2, o.y + r.origin.y + r.size.height / 2};
    }

    void moveTo(int x, int y) {
        XMoveWindow(m_desktop.display(), window(), x, y);
        XSync(m_desktop.display(), 0);
    }

    TaskForm& form() { return m_form; }

private:
    test::DesktopDriver& m_desktop;
    TaskForm m_form;
};

class Gtk4Desktop : public testing::Test {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            GTEST_SKIP()
                << "needs an X display with an accessibility bus (scripts/virtual-desktop)";
        ASSERT_TRUE(desktop.isOpen());
    }

    test::TempSupportFolder support;
    test::DesktopDriver desktop;
};

const PlanStep* stepOn(const Skill& skill, const QString& role) {
    for (const PlanStep& step : skill.plan)
        if (step.target && step.target->axRole == role)
            return &step;
    return nullptr;
}

TEST_F(Gtk4Desktop, ATaskShownInAGtk4WindowReplaysThereAndAfterTheWindowMoved) {
    std::optional<Skill> skill;
    {
        Gtk4Form app(desktop);
        ASSERT_TRUE(app.started());
        test::Demonstration demonstration(desktop);
        demonstration.start();
        demonstration.click(app.centre("name"));
        demonstration.type(QStringLiteral("Ada"));
        demonstration.click(app.centre("subscribe"));
        demonstration.click(app.centre("save"));
        const std::optional<QJsonObject> shown =
            app.form().waitForEvent(QStringLiteral("saved"), 5000);
        ASSERT_TRUE(shown && shown->value("name").toString() == QStringLiteral("Ada") &&
                    shown->value("subscribe").toBool());
        skill = demonstration.save(QString::fromUtf8(test::orderSkillText));
        ASSERT_TRUE(skill);
        // Every question about the window was put in the coordinates it answers.
        EXPECT_FALSE(app.form().errors().contains(QStringLiteral("Screen coordinates")))
            << app.form().errors().toStdString();

        // The elements are named as they show, and placed where they are in the window.
        const PlanStep* save = stepOn(*skill, QStringLiteral("push button"));
        ASSERT_TRUE(save);
        EXPECT_EQ(save->target->axTitle, QStringLiteral("Save"));
        const PlanStep* subscribe = stepOn(*skill, QStringLiteral("check box"));
        ASSERT_TRUE(subscribe);
        EXPECT_EQ(subscribe->target->axTitle, QStringLiteral("Subscribe"));
        ASSERT_TRUE(save->target->frameInWindow);
        const Rect shownSave = app.rectInWindow("save");
        EXPECT_NEAR(save->target->frameInWindow->origin.y, shownSave.origin.y, 12);
        EXPECT_NEAR(save->target->frameInWindow->size.height, shownSave.size.height, 12);
    }

    const QString folder = Paths::skill(skill->id);
    for (const bool moved : {false, true}) {
        SCOPED_TRACE(moved ? "moved" : "unchanged");
        Gtk4Form app(desktop);
        ASSERT_TRUE(app.started());
        if (moved) {
            const Point before = app.origin();
            app.moveTo(900, 420);
            ASSERT_TRUE(waitUntil([&] { return app.origin().x != before.x; }, 5000));
        }
        const test::ReplayResult result = test::replay(folder, {QStringLiteral("full_name=Grace")});
        ASSERT_TRUE(result.succeeded()) << result.transcript().toStdString();
        const std::optional<QJsonObject> saved =
            app.form().waitForEvent(QStringLiteral("saved"), 5000);
        ASSERT_TRUE(saved) << result.transcript().toStdString();
        EXPECT_EQ(saved->value("name").toString(), QStringLiteral("Grace"));
        EXPECT_TRUE(saved->value("subscribe").toBool());
        EXPECT_FALSE(app.form().errors().contains(QStringLiteral("Screen coordinates")))
            << app.form().errors().toStdString();
    }
}

} // namespace
