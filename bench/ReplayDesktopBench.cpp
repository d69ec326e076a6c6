// Replay on the test desktop, end to end: each task is demonstrated once through XTest in a real
// GTK or Qt window or a Chromium page, recorded by the real recorder, saved as a skill, then
// replayed by the real `tavrik replay` in fresh windows, unchanged and changed (other parameter
// values, the window moved and resized, another font size, an extra item listed before the
// target). A replay succeeds when it says so and the application saw the right values.
//
// Reports per task the success rates and the median wall time of a replay and of a step (from
// the program's start until it exits; the application's own reaction is inside it). Targets:
// every unchanged and at least 95 % of changed replays succeed; a 10-step form replays in under
// 2 s. TAVRIK_REPLAY_BENCH_RUNS (default 20) sets the replays per task; the whole run stops after
// TAVRIK_REPLAY_BENCH_BUDGET_S seconds (default 480) and says how many replays it made.
#include "ChromiumPage.h"
#include "Demonstration.h"
#include "DesktopDriver.h"
#include "Support/LocalHttpServer.h"
#include "Support/TempSupportFolder.h"
#include "TaskApp.h"
#include "TavrikCore/Replay/CastRoute.h"
#include "TavrikCore/Replay/ReplaySecrets.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikPlatform/AccessibilityBackend.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QProcess>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <functional>

// clang-format off
#include <X11/Xlib.h>
#include <X11/keysym.h>
// clang-format on

using namespace tavrik;
using namespace tavrik::test;

namespace {

enum class Toolkit { gtk, qt, chromium };
enum class Change { none, values, moved, font, inserted };

const char* changeName(Change c) {
    switch (c) {
    case Change::none:
        return "unchanged";
    case Change::values:
        return "other values";
    case Change::moved:
        return "moved and resized";
    case Change::font:
        return "font size";
    case Change::inserted:
        return "item inserted";
    }
    return "";
}

// The window a demonstration or a replay works in, whichever toolkit draws it.
class Subject {
public:
    Subject(Toolkit toolkit, Change change, LocalHttpServer& server, const QString& profile) {
        if (toolkit == Toolkit::chromium) {
            QString query;
            QStringList arguments;
            if (change == Change::moved)
                arguments = {QStringLiteral("--window-position=900,300"),
                             QStringLiteral("--window-size=600,640")};
            else if (change == Change::font) {
                query = QStringLiteral("font=15");
                arguments = {QStringLiteral("--window-size=560,760")};
            } else if (change == Change::inserted)
                query = QStringLiteral("extra=Apricots");
            m_page = std::make_unique<ChromiumPage>(server, query, arguments, profile);
            return;
        }
        const bool gtk = toolkit == Toolkit::gtk;
        QStringList arguments;
        if (change == Change::moved)
            arguments = gtk ? QStringList{"--at", "900", "300", "--size", "600", "640"}
                            : QStringList{"--at", "900,300", "--size", "600,640"};
        else if (change == Change::font)
            arguments = gtk ? QStringList{"--font-size", "15", "--size", "560", "760"}
                            : QStringList{"--font-size", "15", "--size", "560,760"};
        else if (change == Change::inserted)
            arguments = {"--extra-fruit", "Apricots"};
        m_app = std::make_unique<TaskApp>(gtk ? TaskApp::Toolkit::gtk : TaskApp::Toolkit::qt,
                                          arguments);
    }

    bool started() const { return m_page ? m_page->started() : m_app->started(); }
    TaskApp& app() { return *m_app; }
    std::optional<QJsonObject> waitForEvent(const QString& name, int timeoutMs) {
        return m_page ? m_page->waitForEvent(name, timeoutMs)
                      : m_app->waitForEvent(name, timeoutMs);
    }

private:
    std::unique_ptr<TaskApp> m_app;
    std::unique_ptr<ChromiumPage> m_page;
};

struct Values {
    QStringList arguments; // name=value, as a cast passes them
    QString secret;
};

struct Task {
    QString name;
    Toolkit toolkit;
    QString skill;
    Values demonstrated;
    // Empty when the task has no parameter to vary.
    std::optional<Values> other;
    std::function<bool(Demonstration&, Subject&, DesktopActor&)> demonstrate;
    // Whether the "saved" event shows what these values ask for.
    std::function<bool(const QJsonObject&, const Values&)> saved;
};

struct Row {
    QString task;
    int steps = 0;
    int unchangedRuns = 0, unchangedOk = 0, changedRuns = 0, changedOk = 0;
    double medianMs = 0, medianStepMs = 0, medianStartMs = 0;
    QStringList failures;
    QString note;
};

QList<Row>& rows() {
    static QList<Row> all;
    return all;
}

QElapsedTimer& benchClock() {
    static QElapsedTimer clock;
    return clock;
}

int runsPerTask() {
    const int runs = qEnvironmentVariableIntValue("TAVRIK_REPLAY_BENCH_RUNS");
    return runs > 0 ? runs : 20;
}

qint64 budgetMs() {
    const int seconds = qEnvironmentVariableIntValue("TAVRIK_REPLAY_BENCH_BUDGET_S");
    return qint64(seconds > 0 ? seconds : 480) * 1000;
}

QString valueOf(const Values& v, const char* name) {
    const QString prefix = QString::fromLatin1(name) + u'=';
    for (const QString& a : v.arguments)
        if (a.startsWith(prefix))
            return a.mid(prefix.size());
    return {};
}

// The shared state of the whole run: one library, one page server, one Chromium profile, one
// XTest connection and one accessibility view for finding what to click while demonstrating.
struct Bench {
    TempSupportFolder support;
    LocalHttpServer server;
    QTemporaryDir chromiumProfile;
    DesktopDriver desktop;
    std::unique_ptr<DesktopActor> actor = DesktopBackend::createDesktopActor();
    Bench() {
        ChromiumPage::serve(server);
        benchClock().start();
    }
};

// Made in main after the application and gone before it.
std::unique_ptr<Bench>& sharedBench() {
    static std::unique_ptr<Bench> shared;
    return shared;
}

Bench& bench() {
    if (!sharedBench())
        sharedBench() = std::make_unique<Bench>();
    return *sharedBench();
}

Point centre(const Rect& r) {
    return Point{r.origin.x + r.size.width / 2, r.origin.y + r.size.height / 2};
}

bool clickNamed(Demonstration& d, DesktopActor& actor, const char* role, const char* name) {
    const std::optional<Rect> r =
        Demonstration::find(actor, QString::fromUtf8(role), QString::fromUtf8(name), 15000);
    if (r)
        d.click(centre(*r));
    return r.has_value();
}

const char* const kOrderSkill = R"(---
name: Order fruit
trigger: order fruit for someone
parameters:
  - name: full_name
    type: text
    prompt: Whose order is it?
    example: Ada
---

Fills in the order form and saves it.
)";

const char* const kColourSkill = R"(---
name: Pick blue
trigger: make the order blue
---

Chooses blue in the colour dialog and saves.
)";

const char* const kListSkill = R"(---
name: Choose pears
trigger: choose pears
---

Chooses pears from the list and saves.
)";

const char* const kNoteSkill = R"(---
name: Rewrite the note
trigger: rewrite the note
parameters:
  - name: note
    type: text
    prompt: What should the note say?
    example: final
---

Replaces the draft note and saves.
)";

QList<Task> desktopTasks(Toolkit toolkit, const char* prefix) {
    const auto named = [prefix](const char* what) {
        return QString::fromLatin1(prefix) + u' ' + QLatin1String(what);
    };
    QList<Task> tasks;
    tasks.append(
        Task{named("order form"),
             toolkit,
             QString::fromUtf8(kOrderSkill),
             {{"full_name=Ada"}, "pw123"},
             Values{{"full_name=Grace"}, "s3cret"},
             [](Demonstration& d, Subject& s, DesktopActor&) {
                 TaskApp& app = s.app();
                 d.click(app.centre("name"));
                 d.type(QStringLiteral("Ada"));
                 d.click(app.centre("notes"));
                 d.type(QStringLiteral("fast"));
                 d.click(app.centre("password"));
                 d.type(QStringLiteral("pw123"));
                 // On the box, as a person clicks it (Qt takes no click beyond its label).
                 d.click(Point{app.rect("subscribe").origin.x + 10, app.centre("subscribe").y});
                 d.click(Point{app.rect("pears").origin.x + 20, app.centre("pears").y});
                 d.click(app.centre("save"));
                 return true;
             },
             [](const QJsonObject& e, const Values& v) {
                 return e.value("name").toString() == valueOf(v, "full_name") &&
                        e.value("notes").toString() == "fast" &&
                        e.value("password").toString() == v.secret &&
                        e.value("subscribe").toBool() && e.value("fruit").toString() == "Pears";
             }});
    tasks.append(Task{named("colour dialog"),
                      toolkit,
                      QString::fromUtf8(kColourSkill),
                      {},
                      std::nullopt,
                      [](Demonstration& d, Subject& s, DesktopActor& actor) {
                          d.click(s.app().centre("choose"));
                          if (!clickNamed(d, actor, "push button", "Blue"))
                              return false;
                          d.click(s.app().centre("save"));
                          return true;
                      },
                      [](const QJsonObject& e, const Values&) {
                          return e.value("colour").toString() == "blue";
                      }});
    tasks.append(Task{named("list selection"),
                      toolkit,
                      QString::fromUtf8(kListSkill),
                      {},
                      std::nullopt,
                      [](Demonstration& d, Subject& s, DesktopActor&) {
                          TaskApp& app = s.app();
                          d.click(Point{app.rect("pears").origin.x + 20, app.centre("pears").y});
                          d.click(app.centre("save"));
                          return true;
                      },
                      [](const QJsonObject& e, const Values&) {
                          return e.value("fruit").toString() == "Pears";
                      }});
    tasks.append(Task{named("text editing"),
                      toolkit,
                      QString::fromUtf8(kNoteSkill),
                      {{"note=final"}, {}},
                      Values{{"note=revised"}, {}},
                      [](Demonstration& d, Subject& s, DesktopActor&) {
                          TaskApp& app = s.app();
                          d.click(app.centre("notes"));
                          d.type(QStringLiteral("draft"));
                          d.chord({XK_Control_L}, XK_a);
                          d.type(QStringLiteral("final"));
                          d.click(app.centre("save"));
                          return true;
                      },
                      [](const QJsonObject& e, const Values& v) {
                          return e.value("notes").toString() == valueOf(v, "note");
                      }});
    return tasks;
}

QList<Task> pageTasks() {
    QList<Task> tasks;
    tasks.append(Task{QStringLiteral("Chromium order form"),
                      Toolkit::chromium,
                      QString::fromUtf8(kOrderSkill),
                      {{"full_name=Ada"}, {}},
                      Values{{"full_name=Grace"}, {}},
                      [](Demonstration& d, Subject&, DesktopActor& actor) {
                          if (!clickNamed(d, actor, "entry", "Name"))
                              return false;
                          d.type(QStringLiteral("Ada"));
                          if (!clickNamed(d, actor, "entry", "Notes"))
                              return false;
                          d.type(QStringLiteral("fast"));
                          return clickNamed(d, actor, "check box", "Subscribe") &&
                                 clickNamed(d, actor, "push button", "Save");
                      },
                      [](const QJsonObject& e, const Values& v) {
                          return e.value("name").toString() == valueOf(v, "full_name") &&
                                 e.value("notes").toString() == "fast" &&
                                 e.value("subscribe").toBool();
                      }});
    tasks.append(Task{QStringLiteral("Chromium list of links"),
                      Toolkit::chromium,
                      QString::fromUtf8(kListSkill),
                      {},
                      std::nullopt,
                      [](Demonstration& d, Subject&, DesktopActor& actor) {
                          return clickNamed(d, actor, "link", "Pears") &&
                                 clickNamed(d, actor, "push button", "Save");
                      },
                      [](const QJsonObject& e, const Values&) {
                          return e.value("fruit").toString() == "Pears";
                      }});
    return tasks;
}

const QList<Task>& tasks() {
    static const QList<Task> all =
        desktopTasks(Toolkit::gtk, "GTK") + desktopTasks(Toolkit::qt, "Qt") + pageTasks();
    return all;
}

struct Replay {
    bool ok = false;
    qint64 wallMs = 0;
    // From the start of the program until it announced its first step.
    qint64 startMs = -1;
    QStringList lines;
};

// `tavrik replay` as a cast runs it: its own process, values as arguments, secrets on stdin.
Replay replay(const QString& folder, const Values& values, qsizetype secretStep) {
    QProcess process;
    QStringList arguments{QStringLiteral("replay"), folder};
    arguments += values.arguments;
    if (secretStep >= 0)
        arguments.append(QStringLiteral("--secrets-on-stdin"));
    Replay result;
    QElapsedTimer clock;
    clock.start();
    process.start(QStringLiteral(TAVRIK_EXECUTABLE_PATH), arguments);
    process.waitForStarted();
    if (secretStep >= 0)
        process.write(ReplaySecrets::encode({{secretStep, values.secret}}));
    process.closeWriteChannel();
    QByteArray output;
    while (process.state() != QProcess::NotRunning && clock.elapsed() < 120000) {
        process.waitForReadyRead(5);
        output += process.readAll();
        if (result.startMs < 0 && output.contains("→ "))
            result.startMs = clock.elapsed();
    }
    process.waitForFinished(100);
    result.wallMs = clock.elapsed();
    output += process.readAll();
    result.lines = QString::fromUtf8(output).split(u'\n', Qt::SkipEmptyParts);
    result.ok = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0 &&
                !result.lines.isEmpty() && result.lines.last().startsWith(QStringLiteral("✓ "));
    return result;
}

double median(QList<double> values) {
    if (values.isEmpty())
        return 0;
    std::sort(values.begin(), values.end());
    const qsizetype n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

void BM_Replay(benchmark::State& state, qsizetype index) {
    const Task& task = tasks()[index];
    Row row;
    row.task = task.name;
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        state.SkipWithError(
            "needs an X display with an accessibility bus (scripts/virtual-desktop)");
        return;
    }
    if (task.toolkit == Toolkit::chromium && !ChromiumPage::isInstalled()) {
        state.SkipWithError("/usr/bin/chromium is not installed");
        return;
    }
    if (benchClock().isValid() && benchClock().elapsed() > budgetMs()) {
        state.SkipWithError("time budget spent before its demonstration");
        return;
    }
    Bench& b = bench();
    std::optional<Skill> skill;
    {
        Subject subject(task.toolkit, Change::none, b.server, b.chromiumProfile.path());
        const bool ready =
            subject.started() && Demonstration::find(*b.actor, QStringLiteral("push button"),
                                                     QStringLiteral("Save"), 20000);
        Demonstration demonstration(b.desktop);
        demonstration.start();
        if (!ready) {
            row.note = QStringLiteral("the window for the demonstration did not come up");
        } else if (!task.demonstrate(demonstration, subject, *b.actor)) {
            row.note = QStringLiteral("an element to demonstrate with was not found");
        } else if (const std::optional<QJsonObject> shown =
                       subject.waitForEvent(QStringLiteral("saved"), 5000);
                   !shown || !task.saved(*shown, task.demonstrated)) {
            row.note = QStringLiteral("the demonstration itself did not save the right values");
        }
        skill = demonstration.save(task.skill);
        if (!skill && row.note.isEmpty())
            row.note = QStringLiteral("the recording could not be saved as a skill");
        else if (skill && CastRoute::method(*skill) != CastMethod::replay)
            row.note = QStringLiteral("the recorded skill cannot be replayed");
    }
    if (!row.note.isEmpty()) {
        rows().append(row);
        state.SkipWithError(row.note.toStdString().c_str());
        return;
    }
    row.steps = int(skill->plan.size());
    // TAVRIK_REPLAY_BENCH_VERBOSE=1 shows what was recorded and every failed replay's lines.
    const bool verbose = qEnvironmentVariableIntValue("TAVRIK_REPLAY_BENCH_VERBOSE") == 1;
    if (verbose)
        for (const PlanStep& step : skill->plan)
            std::printf("  %s: %s %s “%s” in %s (%s) at %s\n", qPrintable(row.task),
                        qPrintable(step.intent),
                        step.target ? qPrintable(step.target->axRole.value_or("-")) : "-",
                        step.target ? qPrintable(step.target->axTitle.value_or("")) : "",
                        step.target ? qPrintable(step.target->appBundleID.value_or("-")) : "-",
                        step.target ? qPrintable(step.target->windowTitle.value_or("-")) : "-",
                        step.target ? qPrintable(step.target->axPath.value_or("-")) : "-");
    const QList<qsizetype> secretSteps = CastRoute::secretSteps(*skill);
    const qsizetype secretStep = secretSteps.isEmpty() ? -1 : secretSteps.first();
    const QString folder = Paths::skill(skill->id);

    QList<Change> changes{Change::none, Change::values, Change::moved, Change::font,
                          Change::inserted};
    if (!task.other)
        changes.removeOne(Change::values);
    QList<double> wall, perStep, start;
    int run = 0;
    for (auto _ : state) {
        const Change change = changes[run++ % changes.size()];
        if (benchClock().elapsed() > budgetMs()) {
            row.note = QStringLiteral("time budget spent after %1 replays").arg(run - 1);
            state.SkipWithError(row.note.toStdString().c_str());
            break;
        }
        const Values& values = change == Change::values ? *task.other : task.demonstrated;
        Subject subject(task.toolkit, change, b.server, b.chromiumProfile.path());
        const bool ready =
            subject.started() && Demonstration::find(*b.actor, QStringLiteral("push button"),
                                                     QStringLiteral("Save"), 20000);
        Replay result;
        if (ready)
            result = replay(folder, values, secretStep);
        std::optional<QJsonObject> saved;
        if (result.ok)
            saved = subject.waitForEvent(QStringLiteral("saved"), 5000);
        const bool ok = result.ok && saved && task.saved(*saved, values);
        state.SetIterationTime(double(result.wallMs) / 1000.0);
        (change == Change::none ? row.unchangedRuns : row.changedRuns)++;
        (change == Change::none ? row.unchangedOk : row.changedOk) += ok ? 1 : 0;
        if (ok) {
            wall.append(double(result.wallMs));
            perStep.append(double(result.wallMs) / row.steps);
            if (result.startMs >= 0)
                start.append(double(result.startMs));
        } else {
            const QString why = !ready       ? QStringLiteral("the window did not come up")
                                : !result.ok ? result.lines.value(result.lines.size() - 1)
                                : !saved     ? QStringLiteral("the application saved nothing")
                                             : QStringLiteral("saved %1")
                                               .arg(QString::fromUtf8(QJsonDocument(*saved).toJson(
                                                   QJsonDocument::Compact)));
            row.failures.append(
                QStringLiteral("%1: %2").arg(QString::fromLatin1(changeName(change)), why));
            if (verbose)
                std::printf("  %s\n", qPrintable(result.lines.join(QStringLiteral("\n  "))));
        }
    }
    row.medianMs = median(wall);
    row.medianStepMs = median(perStep);
    row.medianStartMs = median(start);
    const auto rate = [](int ok, int runs) { return runs ? double(ok) / runs : 0.0; };
    state.counters["ok_unchanged"] = rate(row.unchangedOk, row.unchangedRuns);
    state.counters["ok_changed"] = rate(row.changedOk, row.changedRuns);
    state.counters["ms_replay"] = row.medianMs;
    state.counters["ms_step"] = row.medianStepMs;
    state.counters["steps"] = row.steps;
    state.SetLabel(QStringLiteral("%1 (targets: 100 % unchanged, >= 95 % changed)")
                       .arg(row.task)
                       .toStdString());
    rows().append(row);
}

void registerTasks() {
    for (qsizetype i = 0; i < tasks().size(); ++i) {
        const QByteArray name =
            "BM_Replay/" + QString(tasks()[i].name).replace(u' ', u'_').toUtf8();
        benchmark::RegisterBenchmark(name.constData(), BM_Replay, i)
            ->Iterations(runsPerTask())
            ->Repetitions(1)
            ->ReportAggregatesOnly(false)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
}

void printTable() {
    if (rows().isEmpty())
        return;
    std::printf("\n%-26s %5s %11s %11s %10s %9s %9s\n", "task", "steps", "unchanged", "changed",
                "ms/replay", "ms/step", "ms start");
    for (const Row& r : rows()) {
        std::printf("%-26s %5d %5d/%-5d %5d/%-5d %10.0f %9.0f %9.0f\n", qPrintable(r.task), r.steps,
                    r.unchangedOk, r.unchangedRuns, r.changedOk, r.changedRuns, r.medianMs,
                    r.medianStepMs, r.medianStartMs);
        if (!r.note.isEmpty())
            std::printf("    %s\n", qPrintable(r.note));
        for (const QString& f : r.failures)
            std::printf("    failed, %s\n", qPrintable(f));
    }
    std::printf(
        "ms/replay and ms/step: medians of successful replays, from the program's start until it "
        "exited; ms start: until it began the first step.\n");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    std::unique_ptr<QApplication> application;
    if (!qEnvironmentVariableIsEmpty("DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "xcb");
        application = std::make_unique<QApplication>(argc, argv);
    }
    registerTasks();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    printTable();
    sharedBench().reset();
    return 0;
}
