#include "ApplicationFlow.h"

#include "Tavrik/Analytics.h"

#include <QDir>
#include <QGuiApplication>
#include <QPixmap>
#include <QProcess>
#include <QScreen>

// Xlib defines macros (None, Bool) that clash with gtest: it comes last.
// clang-format off
#include <X11/Xlib.h>
#include <X11/keysym.h>
// clang-format on

namespace tavrik::test {

void pause(int ms) {
    waitUntil([] { return false; }, ms);
}

void screenshot(const char* name) {
    const QString dir = qEnvironmentVariable("TAVRIK_SCREENSHOT_DIR");
    if (dir.isEmpty())
        return;
    QDir().mkpath(dir);
    pause(250); // let the last frame be painted
    QGuiApplication::primaryScreen()->grabWindow(0).save(dir + "/" + name + ".png");
}

Skill librarySkill(const QString& name, const QMap<QString, QString>& examples, bool destructive) {
    Skill skill;
    skill.name = name;
    skill.trigger = name.toLower();
    skill.summary = QStringLiteral("Set up before the test.");
    for (auto it = examples.begin(); it != examples.end(); ++it) {
        Parameter parameter;
        parameter.name = it.key();
        parameter.prompt = it.key();
        parameter.exampleValue = it.value();
        skill.parameters << parameter;
    }
    PlanStep step;
    step.intent = destructive ? QStringLiteral("Delete every file in the trash")
                              : QStringLiteral("Wait until the build is done");
    step.isDestructive = destructive;
    skill.plan << step;
    return skill;
}

void ApplicationFlow::SetUp() {
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        GTEST_SKIP() << "needs an X display with an accessibility bus (scripts/virtual-desktop)";
    // Not a skip: a run without it would pass while testing nothing.
    ASSERT_TRUE(runtime.isUsable())
        << "runtime/node_modules is missing: run scripts/build-runtime (make test does)";
    ASSERT_TRUE(desktop.isOpen());
    Analytics::setOptedOut(true); // answered at an earlier launch, so no welcome window
}

QProcessEnvironment ApplicationFlow::environment() const {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("ANTHROPIC_BASE_URL", model.baseUrl());
    env.insert("ANTHROPIC_API_KEY", "sk-ant-local");
    // Nothing leaves the machine: the update check and analytics meet a closed local port.
    env.insert("TAVRIK_WEB_HOST", "http://127.0.0.1:9");
    env.insert("TAVRIK_ANALYTICS_HOST", "http://127.0.0.1:9");
    env.insert("TAVRIK_RUNTIME_DIR", runtime.path());
    return env;
}

void ApplicationFlow::doubleTapControl() {
    desktop.tap(XK_Control_L, 2);
    desktop.sync();
}

void ApplicationFlow::type(const QString& text) {
    for (const QChar c : text) {
        const unsigned long keysym =
            c == u' ' ? XK_space : XStringToKeysym(QString(c.toLower()).toLatin1());
        if (c.isUpper())
            desktop.chord({XK_Shift_L}, keysym);
        else
            desktop.tap(keysym);
    }
    desktop.sync();
    pause(150);
}

void ApplicationFlow::clickAt(QPoint at) {
    desktop.moveTo(at.x(), at.y());
    pause(250); // the pill opens under a resting pointer before it takes clicks
    desktop.click(1);
    desktop.sync();
    pause(200);
}

bool ApplicationFlow::paletteHasTheKeyboard(RunningApplication& app) {
    return waitUntil([&] {
        const std::optional<AccessibleNode> palette = app.window("Tavrik Palette");
        return palette && focusedTextField(*palette);
    });
}

void ApplicationFlow::openPalette(RunningApplication& app, const QString& query) {
    desktop.chord({XK_Control_L}, XK_slash);
    ASSERT_TRUE(paletteHasTheKeyboard(app)) << "the palette did not open with the keyboard";
    type(query);
    screenshot(qPrintable("e2e-palette-" + query));
}

void ApplicationFlow::openPaletteAndCast(RunningApplication& app, const QString& query) {
    openPalette(app, query);
    desktop.tap(XK_Return);
    desktop.sync();
}

QSet<QString> ApplicationFlow::panelTextsUntil(RunningApplication& app,
                                               const std::function<bool()>& done, int timeoutMs) {
    QSet<QString> seen;
    waitUntil(
        [&] {
            if (std::optional<AccessibleNode> pill = app.pill()) {
                findNode(*pill, [&](const AccessibleNode& node) {
                    if (node.role() == "label")
                        seen.insert(node.name());
                    return false;
                });
            }
            return done();
        },
        timeoutMs);
    return seen;
}

bool ApplicationFlow::anyContains(const QSet<QString>& texts, const QString& part) {
    return std::any_of(texts.begin(), texts.end(),
                       [&](const QString& t) { return t.contains(part); });
}

std::optional<AccessibleNode> ApplicationFlow::openErrorPanel(RunningApplication& app) {
    if (runTavrik({"record"}) != 0 || !app.waitForPillStatus("Recording…") ||
        runTavrik({"record"}) != 0 || !app.waitFor("push button", "Close", 10000))
        return std::nullopt;
    return app.waitFor([](const AccessibleNode& n) { return n.name() == "Skill panel"; });
}

int ApplicationFlow::runTavrik(const QStringList& arguments) const {
    QProcess process;
    process.setProcessEnvironment(environment());
    process.start(QStringLiteral(TAVRIK_BINARY_DIR "/tavrik"), arguments);
    process.waitForFinished(60000);
    return process.exitCode();
}

} // namespace tavrik::test
