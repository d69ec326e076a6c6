#include "AppState/AppStateFixture.h"

#include "Support/CoreApplication.h"
#include "TavrikCore/Storage/SkillMarkdown.h"

#include <QCoreApplication>

namespace tavrik::test {

std::unique_ptr<SkillSynthesis::Task>
FakeSynthesis::streamSkill(const Recording& recording, const QString& text,
                           std::function<void(const QString&)> onDelta,
                           std::function<void(Result)> done) {
    calls << Call{recording, text};
    auto task = std::make_unique<FakeTask>(liveTasks);
    std::shared_ptr<bool> cancelled = task->cancelled;
    int delay = 0;
    for (const QString& fragment : fragments)
        QTimer::singleShot(delay++, [=] {
            if (!*cancelled)
                onDelta(fragment);
        });
    if (finish)
        QTimer::singleShot(delay, [=, e = error, s = skill, m = fragments.join(QString())] {
            if (*cancelled)
                return;
            if (e)
                done(Result{std::nullopt, *e});
            else
                done(Result{Draft{s, m}, {}});
        });
    return task;
}

Skill draftSkill(const QString& name, bool destructive) {
    Skill skill;
    skill.name = name;
    skill.trigger = QStringLiteral("when the weekly report is due");
    skill.summary = QStringLiteral("Fills in the weekly report.");
    skill.createdAt = QDateTime::currentDateTimeUtc().addSecs(-60);
    Parameter week;
    week.name = QStringLiteral("week_ending");
    week.prompt = QStringLiteral("Week ending");
    week.exampleValue = QStringLiteral("2026-06-06");
    skill.parameters = {week};
    PlanStep open;
    open.index = 0;
    open.intent = QStringLiteral("Open the report form");
    PlanStep submit;
    submit.index = 1;
    submit.intent = QStringLiteral("Submit the report for {{week_ending}}");
    submit.isDestructive = destructive;
    skill.plan = {open, submit};
    return skill;
}

QStringList fragmentsOf(const Skill& skill) {
    const QString text = SkillMarkdown::render(skill);
    QStringList pieces;
    for (qsizetype at = 0; at < text.size(); at += 40)
        pieces << text.mid(at, 40);
    return pieces;
}

Recording recordingWithEvents(int count) {
    Recording recording;
    recording.startedAt = QDateTime::currentDateTimeUtc();
    for (int i = 0; i < count; ++i) {
        ActionEvent event;
        event.timeOffset = i;
        recording.events << event;
    }
    return recording;
}

AppStateTest::AppStateTest() {
    ensureCoreApplication();
    auto r = std::make_unique<FakeRecorder>();
    auto n = std::make_unique<FakeNarration>();
    auto s = std::make_unique<FakeSynthesis>();
    auto p = std::make_unique<FakePermissions>();
    auto h = std::make_unique<FakeHotkeys>();
    auto q = std::make_unique<ScriptedQuestions>();
    auto runs = std::make_unique<ScriptedRuntime>();
    recorder = r.get();
    narration = n.get();
    synthesis = s.get();
    permissions = p.get();
    hotkeys = h.get();
    questions = q.get();
    runtime = runs.get();
    recorder->result = recordingWithEvents(3);
    synthesis->skill = draftSkill(QStringLiteral("Weekly Report"));
    synthesis->fragments = fragmentsOf(synthesis->skill);
    m_services.recorder = std::move(r);
    m_services.narration = std::move(n);
    m_services.synthesis = std::move(s);
    m_services.permissions = std::move(p);
    m_services.hotkeys = std::move(h);
    m_services.questions = std::move(q);
    m_services.processes = std::move(runs);
    m_services.analytics = [this](const QString& event, const QJsonObject& properties) {
        events.append({event, properties});
    };
}

AppStateTest::~AppStateTest() {
    m_app.reset();
    // Let runners that were stopped finish their clean-up before the next test.
    QCoreApplication::processEvents();
}

AppState& AppStateTest::app() {
    if (!m_app)
        m_app = std::make_unique<AppState>(std::move(m_services));
    return *m_app;
}

void AppStateTest::recordDraft() {
    app().startRecording();
    app().stopRecording();
    ASSERT_TRUE(waitUntil([&] {
        return app().skillPanelPhase() == SkillPanelPhase::editable ||
               app().skillPanelPhase() == SkillPanelPhase::error;
    }));
}

QStringList AppStateTest::eventNames() const {
    QStringList names;
    for (const auto& event : events)
        names << event.first;
    return names;
}

} // namespace tavrik::test
