// Pictures of the application's windows for a person to look at. Only runs when
// TAVRIK_SCREENSHOT_DIR names a folder; on a real X server the screen itself is grabbed.
#include "Support/TempSettings.h"
#include "Support/TempSupportFolder.h"
#include "Tavrik/AppState.h"
#include "Tavrik/Editor/SkillEditorWindow.h"
#include "Tavrik/MCP/MCPLoginModel.h"
#include "Tavrik/MCP/MCPLoginWindow.h"
#include "Tavrik/MainWindow/MainWindow.h"
#include "Tavrik/Onboarding/OnboardingWindow.h"
#include "Tavrik/Overlay/OverlayController.h"
#include "Tavrik/Overlay/OverlayFrame.h"
#include "TavrikCore/Permissions/PermissionsManager.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLineEdit>
#include <QPainter>
#include <QScreen>
#include <QWidget>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {

QString screenshotDir() {
    return qEnvironmentVariable("TAVRIK_SCREENSHOT_DIR");
}

void settle(int ms) {
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

void save(QWidget* window, const QString& name, bool wholeScreen = false) {
    settle(250);
    QImage picture;
    QScreen* screen = QGuiApplication::primaryScreen();
    if (QGuiApplication::platformName() == QLatin1String("xcb") && screen) {
        const QRect area = wholeScreen ? screen->geometry()
                                       : window->frameGeometry()
                                             .adjusted(-30, -30, 30, 30)
                                             .intersected(screen->geometry());
        picture = screen->grabWindow(0, area.x(), area.y(), area.width(), area.height()).toImage();
    } else {
        const QPixmap grabbed = window->grab();
        picture = QImage(grabbed.size() + QSize(60, 60), QImage::Format_RGB32);
        picture.fill(QColor(0x8a, 0x95, 0xa8));
        QPainter painter(&picture);
        painter.drawPixmap(30, 30, grabbed);
    }
    ASSERT_TRUE(picture.save(QDir(screenshotDir()).filePath(name + ".png")));
}

struct AllGranted : PermissionBackend {
    QHash<Permission, PermissionStatus> statuses{
        {Permission::screenRecording, PermissionStatus::granted},
        {Permission::accessibility, PermissionStatus::denied},
        {Permission::inputMonitoring, PermissionStatus::notDetermined}};
    PermissionStatus check(Permission p) override { return statuses.value(p); }
    bool enable(Permission) override { return false; }
};

void saveLibrary() {
    const QList<QPair<const char*, const char*>> skills{
        {"Submit weekly timesheet", "when it is Friday afternoon"},
        {"Email the invoice to accounting", "when an invoice arrives"},
        {"Download bank statements", "at the start of the month"},
        {"Book a meeting room", "when a meeting needs a room"},
        {"Rename screenshots by date", "when the desktop is cluttered"},
        {"Check the weather forecast", "before a trip"}};
    int age = 0;
    for (const auto& [name, trigger] : skills) {
        Skill skill;
        skill.name = QString::fromUtf8(name);
        skill.trigger = QString::fromUtf8(trigger);
        skill.summary = QStringLiteral(
            "Opens the page, fills in the form with this week's values and checks the "
            "result before it finishes.");
        skill.createdAt = QDateTime::currentDateTimeUtc().addDays(-(++age));
        Parameter week;
        week.name = QStringLiteral("week_ending");
        week.exampleValue = QStringLiteral("2026-06-06");
        skill.parameters = {week};
        const QStringList intents{"Open the timesheet page in Firefox",
                                  "Type {{week_ending}} into the Week ending field",
                                  "Fill in eight hours for each weekday", "Click Submit"};
        for (int i = 0; i < intents.size(); ++i) {
            PlanStep step;
            step.index = i;
            step.intent = intents[i];
            step.isDestructive = i == intents.size() - 1;
            skill.plan << step;
        }
        ASSERT_TRUE(SkillStore().save(skill).ok());
    }
}

} // namespace

TEST(Screenshots, ApplicationWindows) {
    if (screenshotDir().isEmpty())
        GTEST_SKIP() << "set TAVRIK_SCREENSHOT_DIR to take pictures";
    QDir().mkpath(screenshotDir());
    test::TempSupportFolder support;
    test::TempSettings settings;
    AppServices services;
    services.analytics = [](const QString&, const QJsonObject&) {};
    AppState app(std::move(services));

    {
        MainWindow window(&app);
        window.move(60, 60);
        window.show();
        save(&window, "main-empty");
        saveLibrary();
        app.reloadSkills();
        window.select(0);
        save(&window, "main-library");
        window.searchField()->setText("re");
        save(&window, "main-search");
    }
    {
        PermissionsManager permissions(std::make_unique<AllGranted>(),
                                       [](Permission) { return false; });
        OnboardingWindow window(&permissions);
        window.move(80, 60);
        window.show();
        save(&window, "onboarding");
    }
    {
        auto* editor = new SkillEditorWindow(&app, app.skills().first());
        editor->move(80, 60);
        editor->show();
        save(editor, "editor");
        editor->close();
    }
    {
        MCPLoginModel model(QStringLiteral("File the bug"), QStringLiteral("linear"));
        MCPLoginWindow window(&model);
        window.move(80, 60);
        window.show();
        save(&window, "connect-prompt");
        model.setPhase(MCPLoginModel::Phase::failed(QStringLiteral(
            "Registering Tavrik with the service failed (HTTP 400): redirect not allowed")));
        save(&window, "connect-failed");
    }
    {
        OverlayController overlay;
        overlay.setVisible(true);
        save(overlay.windows().first().data(), "overlay", true);
    }
}
