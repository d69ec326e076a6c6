// Pictures of the palette and the pill in their states, for a person to look at. Only runs when
// TAVRIK_SCREENSHOT_DIR names a folder; on a real X server the screen is grabbed, so the window
// shapes show as a user sees them.
#include "Tavrik/Palette/PaletteView.h"
#include "Tavrik/Pill/PillController.h"
#include "Tavrik/Pill/PillWindow.h"
#include "Tavrik/Pill/SkillPanel.h"
#include "ViewsTestSupport.h"

#include <QCursor>
#include <QDir>
#include <QGuiApplication>
#include <QLineEdit>
#include <QPainter>
#include <QScreen>
#include <gtest/gtest.h>

using namespace tavrik;
using namespace tavrik::testing;

namespace {

QString screenshotDir() {
    return qEnvironmentVariable("TAVRIK_SCREENSHOT_DIR");
}

// The window as it appears on screen over a neutral desktop, with some margin around it.
void save(QWidget* window, const QString& name) {
    processUntil([] { return false; }, 150);
    QImage picture;
    QScreen* screen = QGuiApplication::primaryScreen();
    if (QGuiApplication::platformName() == QLatin1String("xcb") && screen) {
        const QRect area =
            window->frameGeometry().adjusted(-40, -40, 40, 40).intersected(screen->geometry());
        picture = screen->grabWindow(0, area.x(), area.y(), area.width(), area.height()).toImage();
    } else {
        const QPixmap grabbed = window->grab();
        picture = QImage(grabbed.size() + QSize(80, 80), QImage::Format_RGB32);
        picture.fill(QColor(0x8a, 0x95, 0xa8));
        QPainter painter(&picture);
        painter.drawPixmap(40, 40, grabbed);
    }
    ASSERT_TRUE(picture.save(QDir(screenshotDir()).filePath(name + ".png")));
}

QList<Skill> sampleSkills() {
    QList<Skill> skills;
    for (const char* name :
         {"Submit weekly timesheet", "Email the invoice to accounting", "Download bank statements",
          "Summarize unread Slack threads", "Book a meeting room", "Rename screenshots by date",
          "Check the weather forecast", "Open the deploy dashboard", "Translate the release notes",
          "Clean up the Downloads folder"})
        skills << makeSkill(QString::fromUtf8(name));
    return skills;
}

const char* draft =
    "---\nname: Submit weekly timesheet\ndescription: Fills in the hours for the week and submits "
    "them.\ntrigger: when it is Friday afternoon\nmode: skill\n---\n\n## Parameters\n- "
    "{{week_ending}}: the last day of the week\n\n## Steps\n1. Open the timesheet page in "
    "Firefox\n2. Type {{week_ending}} into the Week ending field\n3. Click Submit (destructive)\n";

} // namespace

TEST(Screenshots, PaletteAndPill) {
    if (screenshotDir().isEmpty())
        GTEST_SKIP() << "set TAVRIK_SCREENSHOT_DIR to take pictures";
    QDir().mkpath(screenshotDir());

    {
        PaletteView palette;
        palette.setSkills(sampleSkills());
        palette.present();
        save(&palette, "palette");
        palette.searchField()->setText(QStringLiteral("sub"));
        palette.move(+1);
        save(&palette, "palette-query");
        palette.searchField()->setText(QStringLiteral("zebra"));
        save(&palette, "palette-nomatch");
    }

    // The pill follows the real pointer, so the pictures put it where a user's would be.
    PillController pill;
    pill.show();
    PillWindow* window = pill.window();
    const QPoint away = window->geometry().topLeft() - QPoint(200, 200);
    const QPoint onTab = window->mapToGlobal(window->tabRect().center());
    QCursor::setPos(away);
    save(window, "pill-collapsed");
    window->setTip(QStringLiteral("Press ctrl + / to call your skill"));
    save(window, "pill-tip");
    window->setTip({});
    QCursor::setPos(onTab);
    pill.pollAt(onTab);
    save(window, "pill-expanded");
    window->setUpdateOffer(QStringLiteral("1.4.0"));
    save(window, "pill-update");
    window->setUpdateOffer({});
    window->setRecording(true);
    window->setStatusTitle(QStringLiteral("Recording…"));
    window->setMicLevel(0.6);
    save(window, "pill-recording");
    QCursor::setPos(away);
    pill.pollAt(away);
    save(window, "pill-recording-collapsed");
    window->setRecording(false);
    window->setStatusTitle(QStringLiteral("Ready"));

    SkillPanel* panel = window->skillPanel();
    pill.setPhase(SkillPanelPhase::generating);
    panel->setStatus(QStringLiteral("Writing the skill…"));
    panel->setMarkdown(QString::fromUtf8(draft).left(160));
    save(window, "panel-generating");
    pill.setPhase(SkillPanelPhase::editable);
    panel->setSkillName(QStringLiteral("Submit weekly timesheet"),
                        QStringLiteral("/submit-weekly-timesheet"));
    panel->setMarkdown(QString::fromUtf8(draft));
    save(window, "panel-editable");
    pill.setPhase(SkillPanelPhase::saved);
    save(window, "panel-saved");
    pill.setPhase(SkillPanelPhase::running);
    for (const char* line :
         {"Opening the timesheet page", "Typing 2026-06-06 into Week ending", "Clicking Submit"})
        panel->setRunningLine(QString::fromUtf8(line));
    save(window, "panel-running");
    panel->setOutcome(QStringLiteral("Timesheet submitted for the week ending 2026-06-06."));
    save(window, "panel-outcome");
    pill.setPhase(SkillPanelPhase::error);
    panel->setError(
        QStringLiteral("That recording was empty — there was nothing to turn into a skill."));
    save(window, "panel-error");
}
