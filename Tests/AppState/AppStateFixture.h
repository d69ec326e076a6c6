#pragma once

#include "Support/ScriptedRuntime.h"
#include "Support/TempSettings.h"
#include "Support/TempSupportFolder.h"
#include "Support/WaitUntil.h"
#include "Tavrik/AppState.h"

#include <QJsonObject>
#include <QTimer>
#include <deque>
#include <functional>
#include <gtest/gtest.h>

namespace tavrik::test {

// Stand-ins for the desktop side. Answers arrive through the event loop, as the real ones do.
struct FakeRecorder : DemonstrationRecorder {
    int starts = 0;
    std::optional<Recording> result;
    void start() override { ++starts; }
    void stop(std::function<void(std::optional<Recording>)> done) override {
        QTimer::singleShot(0, [done, r = result] { done(r); });
    }
};

struct FakeNarration : NarrationSource {
    std::function<void(double)> onLevel;
    QString transcript;
    QString problemText;
    void start(std::function<void(double)> level) override { onLevel = std::move(level); }
    void stop(std::function<void(QString)> done) override {
        QTimer::singleShot(0, [done, t = transcript] { done(t); });
    }
    QString problem() const override { return problemText; }
};

struct FakeSynthesis : SkillSynthesis {
    struct Call {
        Recording recording;
        QString narration;
    };
    QList<Call> calls;
    Skill skill;                  // what a finished draft holds
    QStringList fragments;        // streamed one per event-loop turn
    std::optional<QString> error; // fail instead of finishing
    bool finish = true;           // false: stream and then hang
    std::shared_ptr<int> liveTasks = std::make_shared<int>(0);

    struct FakeTask : Task {
        std::shared_ptr<int> live;
        std::shared_ptr<bool> cancelled = std::make_shared<bool>(false);
        explicit FakeTask(std::shared_ptr<int> l) : live(std::move(l)) { ++*live; }
        ~FakeTask() override {
            --*live;
            *cancelled = true;
        }
    };

    std::unique_ptr<Task> streamSkill(const Recording& recording, const QString& narration,
                                      std::function<void(const QString&)> onDelta,
                                      std::function<void(Result)> done) override;
};

struct FakePermissions : PermissionGate {
    bool granted = true;
    bool hotkeys = true;
    int refreshes = 0;
    // What the next refresh finds, like a user granting in the desktop's settings meanwhile.
    std::optional<bool> grantedAtNextRefresh;
    void refresh() override {
        ++refreshes;
        if (grantedAtNextRefresh)
            granted = *grantedAtNextRefresh;
    }
    bool allGranted() const override { return granted; }
    bool hotkeysPossible() const override { return hotkeys; }
};

struct FakeHotkeys : HotkeyControl {
    int starts = 0;
    bool casting = false;
    bool start() override {
        ++starts;
        return true;
    }
    void setCasting(bool c) override { casting = c; }
    QString problemText;
    QString problem() const override { return problemText; }
};

struct ScriptedQuestions : Questions {
    QList<Question> asked;
    std::deque<int> answers;
    int ask(const Question& question) override {
        asked << question;
        if (answers.empty())
            return -1;
        const int answer = answers.front();
        answers.pop_front();
        return answer;
    }
};

// A small generated skill: two steps, one parameter, the second step destructive if asked.
Skill draftSkill(const QString& name, bool destructive = false);
// Its SKILL.md cut into a few pieces, as a stream delivers it.
QStringList fragmentsOf(const Skill& skill);
Recording recordingWithEvents(int count);

class AppStateTest : public ::testing::Test {
protected:
    AppStateTest();
    ~AppStateTest() override;

    // Replaces the fake synthesis (before app()).
    void useSynthesis(std::unique_ptr<SkillSynthesis> real) {
        m_services.synthesis = std::move(real);
    }
    // Creates the state with the fakes; call after adjusting them.
    AppState& app();
    // Records, stops and waits for the draft to reach `editable` or `error`.
    void recordDraft();
    QStringList eventNames() const;

    TempSupportFolder support;
    TempSettings settings;
    FakeRecorder* recorder;
    FakeNarration* narration;
    FakeSynthesis* synthesis;
    FakePermissions* permissions;
    FakeHotkeys* hotkeys;
    ScriptedQuestions* questions;
    ScriptedRuntime* runtime;
    QList<QPair<QString, QJsonObject>> events;

private:
    AppServices m_services;
    std::unique_ptr<AppState> m_app;
};

} // namespace tavrik::test
