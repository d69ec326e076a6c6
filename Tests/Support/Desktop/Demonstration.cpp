#include "Support/Desktop/Demonstration.h"

#include "DesktopDriver.h"
#include "TavrikCore/Recorder/Recorder.h"
#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Synthesis/Synthesizer.h"
#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopBackend.h"

#include <QFuture>

// clang-format off
#include <X11/Xlib.h>
#include <X11/keysym.h>
// clang-format on

namespace tavrik::test {

Demonstration::Demonstration(DesktopDriver& desktop)
    : m_desktop(desktop),
      m_recorder(std::make_unique<Recorder>(DesktopBackend::createInputMonitor(),
                                            DesktopBackend::createFrameCapturer(),
                                            DesktopBackend::createAXResolver())) {}

Demonstration::~Demonstration() = default;

// The recorder resolves each click's element while the window still shows what was clicked; a
// person's pace leaves it that time.
void Demonstration::settle() {
    waitUntil([] { return false; }, 450);
}

void Demonstration::start() {
    m_recorder->start();
    waitUntil([] { return false; }, 300);
}

// The pointer comes to rest before the press, and the press is held, as long as a person's (about
// a tenth of a second each): the recorder reads what is under a resting pointer ahead of the
// press, since an application busy with the press (opening a menu) or a release closing a dialog
// at once can outrun a read of the press itself.
void Demonstration::click(Point at) {
    m_desktop.moveTo(int(at.x), int(at.y));
    m_desktop.sync();
    waitUntil([] { return false; }, 150);
    m_desktop.button(1, true);
    m_desktop.sync();
    waitUntil([] { return false; }, 120);
    m_desktop.button(1, false);
    m_desktop.sync();
    settle();
}

// A click with no hold at all, after the pointer rested on the target as a person's does.
void Demonstration::quickClick(Point at) {
    m_desktop.moveTo(int(at.x), int(at.y));
    m_desktop.sync();
    settle();
    m_desktop.button(1, true);
    m_desktop.button(1, false);
    m_desktop.sync();
    settle();
}

void Demonstration::type(const QString& text) {
    struct Punctuation {
        char c;
        unsigned long keysym;
        bool shifted;
    };
    // As on a US keyboard.
    static constexpr Punctuation punctuation[] = {
        {' ', XK_space, false}, {'/', XK_slash, false},    {'.', XK_period, false},
        {'-', XK_minus, false}, {'_', XK_minus, true},     {'=', XK_equal, false},
        {'+', XK_equal, true},  {':', XK_semicolon, true},
    };
    for (const QChar c : text) {
        unsigned long keysym = XStringToKeysym(QString(c).toLatin1().constData());
        bool shifted = c.isUpper();
        for (const Punctuation& p : punctuation)
            if (c == QLatin1Char(p.c)) {
                keysym = p.keysym;
                shifted = p.shifted;
            }
        if (shifted)
            m_desktop.chord({XK_Shift_L}, keysym);
        else
            m_desktop.tap(keysym);
    }
    settle();
}

void Demonstration::chord(const QList<unsigned long>& modifiers, unsigned long keysym) {
    m_desktop.chord(modifiers, keysym);
    settle();
}

std::optional<Skill> Demonstration::save(const QString& skillMarkdown) {
    QFuture<std::optional<Recording>> stopped = m_recorder->stop();
    if (!waitUntil([&] { return stopped.isFinished(); }, 20000) || !stopped.result())
        return std::nullopt;
    Skill skill = Synthesizer::skillFromMarkdown(skillMarkdown, *stopped.result());
    skill.sourceRecordingID = stopped.result()->id;
    if (!SkillStore().save(skill).ok())
        return std::nullopt;
    return skill;
}

std::optional<Rect> Demonstration::find(DesktopActor& actor, const QString& role,
                                        const QString& name, int timeoutMs) {
    std::optional<Rect> found;
    waitUntil(
        [&] {
            for (const LiveWindow& window : actor.windows())
                for (const LiveElement& e : actor.elements(window, role, 2000))
                    if (e.name.trimmed() == name && e.showing && e.frame.size.width > 0 &&
                        e.frame.size.height > 0) {
                        found = e.frame;
                        return true;
                    }
            return false;
        },
        timeoutMs);
    return found;
}

std::string Demonstration::described(const Skill& skill) {
    QStringList lines;
    for (const PlanStep& step : skill.plan) {
        QString line = step.intent + QStringLiteral(" → ");
        if (const std::optional<AXTarget>& t = step.target)
            line += t->axRole.value_or("-") + QStringLiteral(" “") +
                    t->axTitle.value_or(QString()) + QStringLiteral("” in “") +
                    t->windowTitle.value_or(QString()) + QStringLiteral("” of ") +
                    t->appBundleID.value_or("-") +
                    (t->isSecure ? QStringLiteral(", secure") : QString()) +
                    (t->windowFrame ? QString() : QStringLiteral(", no window frame"));
        else
            line += QStringLiteral("no target");
        if (step.action == ActionType::keystroke)
            line += QStringLiteral(", text “%1”, key %2")
                        .arg(step.text.value_or(QString()))
                        .arg(step.keyCode ? QString::number(*step.keyCode) : QStringLiteral("-"));
        else if (!step.location)
            line += QStringLiteral(", no location");
        lines.append(line);
    }
    return lines.join(u'\n').toStdString();
}

} // namespace tavrik::test
