// Replay on the test desktop, end to end: each task is demonstrated once through XTest in a real
// GTK or Qt window, a Chromium page or an application from Debian's archive (galculator; mousepad
// with GTK's file chooser, also saving into a place picked in its sidebar), recorded by the real
// recorder, saved as a skill, then replayed by the real `tavrik replay` in fresh windows, unchanged
// and changed (other parameter values, the window moved and resized, another font size, an extra
// item listed before the target). A replay succeeds when it says so and the application shows the
// right result. A change a task cannot have (no list to add to) is named as not applying, never
// counted.
//
// Reports per task the success rates, the median wall time of a replay (from the program's start
// until it exits; the application's own reaction is inside it) and of a step, and from the
// replay's own timings (`tavrik replay --timings`): the median replay time beyond waiting for the
// application (wall time less the engine's sleeps until the application showed or changed
// something) and the engine's own time per step (less the accessibility bus, synthetic input and
// waiting). Targets: every unchanged and at least 95 % of changed replays succeed; a 10-step form
// replays in under 2 s beyond the application's reaction; the engine's own time is under 30 ms a
// step. TAVRIK_REPLAY_BENCH_RUNS (default 20) sets the replays per task; the whole run stops after
// TAVRIK_REPLAY_BENCH_BUDGET_S seconds (default 900) and says how many replays it made;
// TAVRIK_REPLAY_BENCH_CHANGES (e.g. "moved") replays only those changes.
#include "DesktopDriver.h"
#include "Support/Desktop/ChromiumPage.h"
#include "Support/Desktop/DebianTasks.h"
#include "Support/Desktop/Demonstration.h"
#include "Support/Desktop/TaskApp.h"
#include "Support/LocalHttpServer.h"
#include "Support/OrderSkill.h"
#include "Support/ReplayProcess.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Recorder/AXResolver.h"
#include "TavrikCore/Replay/CastRoute.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopBackend.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QRegularExpression>
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

enum class Toolkit { gtk, qt, chromium, calculator, editor, editorPlace };
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

QElapsedTimer& benchClock() {
    static QElapsedTimer clock;
    return clock;
}

struct Values {
    QStringList arguments; // name=value, as a cast passes them
    QString secret;
};

QString valueOf(const Values& v, const char* name) {
    const QString prefix = QString::fromLatin1(name) + u'=';
    for (const QString& a : v.arguments)
        if (a.startsWith(prefix))
            return a.mid(prefix.size());
    return {};
}

// The shared state of the whole run: one library, one page server, one Chromium profile, one
// XTest connection, one accessibility view for finding what to click while demonstrating, and the
// folder the editor saves into.
struct Bench {
    TempSupportFolder support;
    LocalHttpServer server;
    QTemporaryDir chromiumProfile;
    QTemporaryDir letters;
    // Where the editor starts when the file goes to a place picked in the chooser's sidebar.
    QTemporaryDir elsewhere;
    DesktopDriver desktop;
    std::unique_ptr<DesktopActor> actor = DesktopBackend::createDesktopActor();
    std::unique_ptr<AXResolver> probe = DesktopBackend::createAXResolver();
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

// The window a demonstration or a replay works in, whichever toolkit draws it.
class Subject {
public:
    Subject(Toolkit toolkit, Change change, bool demonstration = false) : m_toolkit(toolkit) {
        Bench& b = bench();
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
            m_page = std::make_unique<ChromiumPage>(b.server, query, arguments,
                                                    b.chromiumProfile.path());
            return;
        }
        if (toolkit == Toolkit::calculator || toolkit == Toolkit::editor ||
            toolkit == Toolkit::editorPlace) {
            const bool editor = toolkit != Toolkit::calculator;
            DebianApp::Setup setup;
            if (change == Change::font)
                setup.fontPoints = 15;
            setup.folder = b.letters.path();
            if (toolkit == Toolkit::editorPlace) {
                setup.folder = b.elsewhere.path();
                setup.bookmarkFolder = b.letters.path();
                setup.bookmarkName = QStringLiteral("Letters");
            }
            // Each replay saves afresh: a file left from the last would ask to be replaced.
            if (editor)
                for (const QDir& d : {QDir(b.letters.path()), QDir(b.elsewhere.path())})
                    for (const QString& f : d.entryList(QDir::Files))
                        QFile::remove(d.filePath(f));
            // An older letter in the place for the replays: opening the place puts its name in
            // the chooser's name field, which the demonstration found empty.
            if (toolkit == Toolkit::editorPlace && !demonstration) {
                QFile older(b.letters.filePath(QStringLiteral("older.txt")));
                if (older.open(QIODevice::WriteOnly))
                    older.write("Dear all\n");
            }
            m_debian = editor ? debian::startEditor(setup) : debian::startCalculator(setup);
            const QString title = editor ? debian::editorTitle() : debian::calculatorTitle();
            m_started = m_debian->window(*b.actor, title, 20000).has_value();
            if (m_started && change == Change::moved)
                m_started = m_debian->placeAndWait(
                    *b.actor, title, editor ? Rect(900, 400, 700, 560) : Rect(1100, 500, 480, 440));
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

    // Shown, and showing what the task starts from.
    bool ready(DesktopActor& actor) const {
        const bool started = m_page ? m_page->started() : m_app ? m_app->started() : m_started;
        if (!started)
            return false;
        if (m_toolkit == Toolkit::calculator)
            return Demonstration::find(actor, QStringLiteral("toggle button"), QStringLiteral("="),
                                       20000)
                .has_value();
        if (m_toolkit == Toolkit::editor || m_toolkit == Toolkit::editorPlace)
            return Demonstration::find(actor, QStringLiteral("menu"), QStringLiteral("File"), 20000)
                .has_value();
        return Demonstration::find(actor, QStringLiteral("push button"), QStringLiteral("Save"),
                                   20000)
            .has_value();
    }
    TaskApp& app() { return *m_app; }
    DebianApp& debianApp() { return *m_debian; }
    std::optional<QJsonObject> waitForEvent(const QString& name, int timeoutMs) {
        return m_page ? m_page->waitForEvent(name, timeoutMs)
                      : m_app->waitForEvent(name, timeoutMs);
    }

private:
    Toolkit m_toolkit;
    std::unique_ptr<TaskApp> m_app;
    std::unique_ptr<ChromiumPage> m_page;
    std::unique_ptr<DebianApp> m_debian;
    bool m_started = false;
};

struct Task {
    QString name;
    Toolkit toolkit;
    QString skill;
    Values demonstrated;
    // Empty when the task has no parameter to vary.
    std::optional<Values> other;
    std::function<bool(Demonstration&, Subject&, DesktopActor&)> demonstrate;
    // Empty when the application shows what these values ask for, else what it shows.
    std::function<QString(Subject&, const Values&)> outcome;
    // Changes that cannot apply to the task, and why.
    QMap<Change, QString> notApplicable;
};

// The outcome of a task window: its "saved" event, checked by `right`.
std::function<QString(Subject&, const Values&)>
savedEvent(std::function<bool(const QJsonObject&, const Values&)> right) {
    return [right](Subject& s, const Values& v) {
        const std::optional<QJsonObject> saved = s.waitForEvent(QStringLiteral("saved"), 5000);
        if (!saved)
            return QStringLiteral("the application saved nothing");
        if (right(*saved, v))
            return QString();
        return QStringLiteral("saved %1")
            .arg(QString::fromUtf8(QJsonDocument(*saved).toJson(QJsonDocument::Compact)));
    };
}

struct Row {
    QString task;
    int steps = 0;
    int unchangedRuns = 0, unchangedOk = 0, changedRuns = 0, changedOk = 0;
    double medianMs = 0, medianStepMs = 0, medianStartMs = 0, medianBeyondWaitMs = 0,
           medianOwnStepMs = 0, medianBusStepMs = 0;
    QStringList failures;
    QString note;
    QStringList notApplicable;
};

QList<Row>& rows() {
    static QList<Row> all;
    return all;
}

int runsPerTask() {
    const int runs = qEnvironmentVariableIntValue("TAVRIK_REPLAY_BENCH_RUNS");
    return runs > 0 ? runs : 20;
}

qint64 budgetMs() {
    const int seconds = qEnvironmentVariableIntValue("TAVRIK_REPLAY_BENCH_BUDGET_S");
    return qint64(seconds > 0 ? seconds : 900) * 1000;
}

bool clickNamed(Demonstration& d, DesktopActor& actor, const char* role, const char* name) {
    const std::optional<Rect> r =
        Demonstration::find(actor, QString::fromUtf8(role), QString::fromUtf8(name), 15000);
    if (r)
        d.click(centre(*r));
    return r.has_value();
}

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
             QString::fromUtf8(test::orderSkillText),
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
             savedEvent([](const QJsonObject& e, const Values& v) {
                 return e.value("name").toString() == valueOf(v, "full_name") &&
                        e.value("notes").toString() == "fast" &&
                        e.value("password").toString() == v.secret &&
                        e.value("subscribe").toBool() && e.value("fruit").toString() == "Pears";
             })});
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
                      savedEvent([](const QJsonObject& e, const Values&) {
                          return e.value("colour").toString() == "blue";
                      })});
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
                      savedEvent([](const QJsonObject& e, const Values&) {
                          return e.value("fruit").toString() == "Pears";
                      })});
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
                      savedEvent([](const QJsonObject& e, const Values& v) {
                          return e.value("notes").toString() == valueOf(v, "note");
                      })});
    return tasks;
}

QList<Task> pageTasks() {
    QList<Task> tasks;
    tasks.append(Task{QStringLiteral("Chromium order form"),
                      Toolkit::chromium,
                      QString::fromUtf8(test::orderSkillText),
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
                      savedEvent([](const QJsonObject& e, const Values& v) {
                          return e.value("name").toString() == valueOf(v, "full_name") &&
                                 e.value("notes").toString() == "fast" &&
                                 e.value("subscribe").toBool();
                      })});
    tasks.append(Task{QStringLiteral("Chromium list of links"),
                      Toolkit::chromium,
                      QString::fromUtf8(kListSkill),
                      {},
                      std::nullopt,
                      [](Demonstration& d, Subject&, DesktopActor& actor) {
                          return clickNamed(d, actor, "link", "Pears") &&
                                 clickNamed(d, actor, "push button", "Save");
                      },
                      savedEvent([](const QJsonObject& e, const Values&) {
                          return e.value("fruit").toString() == "Pears";
                      })});
    return tasks;
}

QList<Task> debianTasks() {
    QList<Task> tasks;
    tasks.append(
        Task{QStringLiteral("galculator sum"),
             Toolkit::calculator,
             QString::fromUtf8(debian::kSumSkill),
             {{"first=12", "second=30"}, {}},
             Values{{"first=7", "second=5"}, {}},
             [](Demonstration& d, Subject&, DesktopActor& actor) {
                 return debian::demonstrateSum(d, actor);
             },
             [](Subject& s, const Values& v) {
                 const QString sum =
                     QString::number(valueOf(v, "first").toInt() + valueOf(v, "second").toInt());
                 std::optional<QString> shown;
                 if (waitUntil(
                         [&] {
                             shown = debian::display(s.debianApp(), *bench().actor);
                             return shown == sum;
                         },
                         5000))
                     return QString();
                 return QStringLiteral("the display shows %1").arg(shown.value_or("nothing"));
             },
             {{Change::inserted, QStringLiteral("the task picks from no list")}}});
    tasks.append(
        Task{QStringLiteral("mousepad Save As chooser"),
             Toolkit::editor,
             QString::fromUtf8(debian::kLetterSkill),
             {{"full_name=Ada", "file_name=letter1"}, {}},
             Values{{"full_name=Grace", "file_name=note"}, {}},
             [](Demonstration& d, Subject&, DesktopActor& actor) {
                 return debian::demonstrateLetter(d, actor, *bench().probe);
             },
             [](Subject&, const Values& v) {
                 Bench& b = bench();
                 QFile saved(b.letters.filePath(valueOf(v, "file_name") + QStringLiteral(".txt")));
                 if (!waitUntil([&] { return saved.exists() && saved.size() > 0; }, 5000))
                     return QStringLiteral("no %1 in the chosen folder").arg(saved.fileName());
                 if (!saved.open(QIODevice::ReadOnly))
                     return QStringLiteral("%1 cannot be read").arg(saved.fileName());
                 const QString text = QString::fromUtf8(saved.readAll()).trimmed();
                 if (text != QStringLiteral("Hello ") + valueOf(v, "full_name"))
                     return QStringLiteral("the file holds “%1”").arg(text);
                 return QString();
             },
             {{Change::inserted,
               QStringLiteral("the file's name is typed; the task picks from no list")}}});
    // The same letter saved into a place picked in the chooser's sidebar. In the replays the
    // place holds an older letter, whose name the chooser puts in its name field.
    Task place = tasks.last();
    place.name = QStringLiteral("mousepad sidebar place");
    place.toolkit = Toolkit::editorPlace;
    place.demonstrate = [](Demonstration& d, Subject&, DesktopActor& actor) {
        return debian::demonstrateLetter(d, actor, *bench().probe, QStringLiteral("Letters"));
    };
    tasks.append(place);
    return tasks;
}

const QList<Task>& tasks() {
    static const QList<Task> all = desktopTasks(Toolkit::gtk, "GTK") +
                                   desktopTasks(Toolkit::qt, "Qt") + pageTasks() + debianTasks();
    return all;
}

// Where one replay's time went, from its --timings lines.
struct StepTimes {
    double totalMs = 0, busMs = 0, inputMs = 0, waitMs = 0, ownMs = 0;
};

QList<StepTimes> stepTimes(const QStringList& errorLines) {
    static const QRegularExpression timing(QStringLiteral(
        "^timing step=\\d+ total_us=(\\d+) bus_us=(\\d+) input_us=(\\d+) wait_us=(\\d+) "
        "own_us=(-?\\d+)$"));
    QList<StepTimes> steps;
    for (const QString& line : errorLines)
        if (const auto m = timing.match(line); m.hasMatch())
            steps.append({m.captured(1).toDouble() / 1000, m.captured(2).toDouble() / 1000,
                          m.captured(3).toDouble() / 1000, m.captured(4).toDouble() / 1000,
                          m.captured(5).toDouble() / 1000});
    return steps;
}

double median(QList<double> values) {
    if (values.isEmpty())
        return 0;
    std::sort(values.begin(), values.end());
    const qsizetype n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// TAVRIK_REPLAY_BENCH_CHANGES: the changes to replay, by their names less spaces ("moved",
// "font", "values", "inserted", "unchanged"); all when unset.
bool changeWanted(Change change) {
    const QString wanted = qEnvironmentVariable("TAVRIK_REPLAY_BENCH_CHANGES");
    if (wanted.isEmpty())
        return true;
    const QString name = QString::fromLatin1(changeName(change));
    for (const QString& w : wanted.split(u',', Qt::SkipEmptyParts))
        if (name.startsWith(w.trimmed()) || name.contains(w.trimmed()))
            return true;
    return false;
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
    if ((task.toolkit == Toolkit::calculator &&
         !DebianApp::isInstalled(debian::calculatorProgram())) ||
        ((task.toolkit == Toolkit::editor || task.toolkit == Toolkit::editorPlace) &&
         !DebianApp::isInstalled(debian::editorProgram()))) {
        state.SkipWithError("its application is not installed");
        return;
    }
    if (benchClock().isValid() && benchClock().elapsed() > budgetMs()) {
        state.SkipWithError("time budget spent before its demonstration");
        return;
    }
    Bench& b = bench();
    std::optional<Skill> skill;
    {
        Subject subject(task.toolkit, Change::none, true);
        const bool ready = subject.ready(*b.actor);
        Demonstration demonstration(b.desktop);
        demonstration.start();
        if (!ready) {
            row.note = QStringLiteral("the window for the demonstration did not come up");
        } else if (!task.demonstrate(demonstration, subject, *b.actor)) {
            row.note = QStringLiteral("an element to demonstrate with was not found");
        } else if (const QString shown = task.outcome(subject, task.demonstrated);
                   !shown.isEmpty()) {
            row.note = QStringLiteral("the demonstration itself went wrong: ") + shown;
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

    QList<Change> changes;
    for (const Change c :
         {Change::none, Change::values, Change::moved, Change::font, Change::inserted}) {
        if (c == Change::values && !task.other)
            row.notApplicable.append(
                QStringLiteral("%1: the task has no parameter").arg(changeName(c)));
        else if (task.notApplicable.contains(c))
            row.notApplicable.append(
                QStringLiteral("%1: %2").arg(changeName(c), task.notApplicable.value(c)));
        else if (changeWanted(c))
            changes.append(c);
    }
    if (changes.isEmpty()) {
        state.SkipWithError("none of the changes asked for applies");
        rows().append(row);
        return;
    }
    QList<double> wall, perStep, start, beyondWait, ownStep, busStep;
    int run = 0;
    for (auto _ : state) {
        const Change change = changes[run++ % changes.size()];
        if (benchClock().elapsed() > budgetMs()) {
            row.note = QStringLiteral("time budget spent after %1 replays").arg(run - 1);
            state.SkipWithError(row.note.toStdString().c_str());
            break;
        }
        const Values& values = change == Change::values ? *task.other : task.demonstrated;
        Subject subject(task.toolkit, change);
        const bool ready = subject.ready(*b.actor);
        ReplayResult result;
        if (ready) {
            QMap<qsizetype, QString> secrets;
            if (secretStep >= 0)
                secrets.insert(secretStep, values.secret);
            result = replay(folder, values.arguments, secrets, true);
        }
        const QString wrong =
            result.succeeded() ? task.outcome(subject, values) : QStringLiteral("not replayed");
        const bool ok = result.succeeded() && wrong.isEmpty();
        state.SetIterationTime(double(result.wallMs) / 1000.0);
        (change == Change::none ? row.unchangedRuns : row.changedRuns)++;
        (change == Change::none ? row.unchangedOk : row.changedOk) += ok ? 1 : 0;
        if (ok) {
            const QList<StepTimes> steps = stepTimes(result.errorLines);
            double waited = 0;
            for (const StepTimes& t : steps) {
                perStep.append(t.totalMs);
                ownStep.append(t.ownMs);
                busStep.append(t.busMs);
                waited += t.waitMs;
            }
            wall.append(double(result.wallMs));
            beyondWait.append(double(result.wallMs) - waited);
            if (result.startMs >= 0)
                start.append(double(result.startMs));
        } else {
            const QString why = !ready                ? QStringLiteral("the window did not come up")
                                : !result.succeeded() ? result.lines.value(result.lines.size() - 1)
                                                      : wrong;
            row.failures.append(
                QStringLiteral("%1: %2").arg(QString::fromLatin1(changeName(change)), why));
            if (verbose)
                std::printf("  %s\n",
                            qPrintable(result.transcript().replace(u'\n', QStringLiteral("\n  "))));
        }
    }
    row.medianMs = median(wall);
    row.medianStepMs = median(perStep);
    row.medianStartMs = median(start);
    row.medianBeyondWaitMs = median(beyondWait);
    row.medianOwnStepMs = median(ownStep);
    row.medianBusStepMs = median(busStep);
    const auto rate = [](int ok, int runs) { return runs ? double(ok) / runs : 0.0; };
    state.counters["ok_unchanged"] = rate(row.unchangedOk, row.unchangedRuns);
    state.counters["ok_changed"] = rate(row.changedOk, row.changedRuns);
    state.counters["ms_replay"] = row.medianMs;
    state.counters["ms_step"] = row.medianStepMs;
    state.counters["ms_beyond_wait"] = row.medianBeyondWaitMs;
    state.counters["ms_own_step"] = row.medianOwnStepMs;
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
    std::printf("\n%-26s %5s %11s %11s %9s %8s %8s %8s %8s %8s\n", "task", "steps", "unchanged",
                "changed", "ms/replay", "ms start", "ms/step", "ms >wait", "bus/step", "own/step");
    int unchangedOk = 0, unchangedRuns = 0, changedOk = 0, changedRuns = 0;
    QList<double> ownSteps;
    for (const Row& r : rows()) {
        std::printf("%-26s %5d %5d/%-5d %5d/%-5d %9.0f %8.0f %8.0f %8.0f %8.1f %8.2f\n",
                    qPrintable(r.task), r.steps, r.unchangedOk, r.unchangedRuns, r.changedOk,
                    r.changedRuns, r.medianMs, r.medianStartMs, r.medianStepMs,
                    r.medianBeyondWaitMs, r.medianBusStepMs, r.medianOwnStepMs);
        if (!r.note.isEmpty())
            std::printf("    %s\n", qPrintable(r.note));
        for (const QString& n : r.notApplicable)
            std::printf("    does not apply, %s\n", qPrintable(n));
        for (const QString& f : r.failures)
            std::printf("    failed, %s\n", qPrintable(f));
        unchangedOk += r.unchangedOk;
        unchangedRuns += r.unchangedRuns;
        changedOk += r.changedOk;
        changedRuns += r.changedRuns;
        if (r.changedOk + r.unchangedOk > 0)
            ownSteps.append(r.medianOwnStepMs);
    }
    std::printf(
        "ms/replay: median wall time of successful replays, from the program's start until it "
        "exited; ms start: until it began the first step; ms/step: median time of one step; "
        "ms >wait: median replay wall time less the engine's waits for the application to show "
        "or change something; bus/step: median time a step spent in calls on the accessibility "
        "bus (the application answering them); own/step: median time a step spent in the "
        "engine's own work.\n");
    std::printf("all tasks: unchanged %d/%d (target 100 %%), changed %d/%d = %.1f %% (target >= "
                "95 %%)\n",
                unchangedOk, unchangedRuns, changedOk, changedRuns,
                changedRuns ? 100.0 * changedOk / changedRuns : 0.0);
    // The forms are the ten-step case (nine or ten steps, as the recorder merged them).
    for (const Row& r : rows())
        if (r.task.contains(QStringLiteral("order form")) && r.medianMs > 0)
            std::printf("%s, %d steps: %.0f ms beyond waiting for the application, %.0f ms for "
                        "10 such steps (target < 2000 ms)\n",
                        qPrintable(r.task), r.steps, r.medianBeyondWaitMs,
                        r.medianBeyondWaitMs * 10 / r.steps);
    if (!ownSteps.isEmpty())
        std::printf("engine's own time per step: at most %.2f ms (task medians; target < 30 ms)\n",
                    *std::max_element(ownSteps.cbegin(), ownSteps.cend()));
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
