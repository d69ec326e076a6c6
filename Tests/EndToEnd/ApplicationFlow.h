#pragma once

#include "AgentRunner/StandInRuntime.h"
#include "DesktopDriver.h"
#include "RunningApplication.h"
#include "Support/LocalHttpServer.h"
#include "Support/TempSettings.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Models/Skill.h"

#include <QMap>
#include <QProcessEnvironment>
#include <QSet>
#include <gtest/gtest.h>

namespace tavrik::test {

// Lets the desktop and the program under test run for a while; for pictures and for a resting
// pointer, never to wait for a result.
void pause(int ms);
// The whole screen as the user sees it, saved under TAVRIK_SCREENSHOT_DIR when that is set.
void screenshot(const char* name);
// A skill with one step; its parameters are named after `examples`' keys.
Skill librarySkill(const QString& name, const QMap<QString, QString>& examples, bool destructive);

// The real program on a private support folder and settings, with a local model server and the
// stand-in runtime, driven through XTest and read through the accessibility tree.
class ApplicationFlow : public testing::Test {
protected:
    void SetUp() override;
    QProcessEnvironment environment() const;

    void doubleTapControl();
    void type(const QString& text);
    void clickAt(QPoint at);
    // Whether the palette came up with its field holding the keyboard, where typing and Esc go.
    static bool paletteHasTheKeyboard(RunningApplication& app);
    // Opens the palette with its shortcut and types `query` into it.
    void openPalette(RunningApplication& app, const QString& query);
    void openPaletteAndCast(RunningApplication& app, const QString& query);
    // Every text the skill panel's labels show until `done`, gathered as they change.
    QSet<QString> panelTextsUntil(RunningApplication& app, const std::function<bool()>& done,
                                  int timeoutMs);
    static bool anyContains(const QSet<QString>& texts, const QString& part);
    // An empty demonstration from the command line, which ends in the error panel; the panel
    // once its Close button shows.
    std::optional<AccessibleNode> openErrorPanel(RunningApplication& app);
    // `tavrik ARGUMENTS` from the command line, beside the running program; its exit status.
    int runTavrik(const QStringList& arguments) const;

    TempSupportFolder support;
    TempSettings settings;
    LocalHttpServer model;
    StandInRuntime runtime;
    DesktopDriver desktop;
};

} // namespace tavrik::test
