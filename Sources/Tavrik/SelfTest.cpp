#include "Tavrik/SelfTest.h"

#include "TavrikCore/Storage/FuzzyMatch.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/RecordingStore.h"
#include "TavrikCore/Storage/RunContext.h"
#include "TavrikCore/Storage/SkillMarkdown.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Synthesis/SynthesisPrompts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

namespace tavrik {

namespace {

const QString kDirectSkill = QStringLiteral(R"(---
name: Search Google
description: Searches Google for a query in Chrome.
trigger: search Google for {{search_query}}
mode: direct
app_scope: [com.google.Chrome]
runtime:
  type: open_url
  app: com.google.Chrome
  url_template: "https://www.google.com/search?q={{search_query|urlencode}}"
parameters:
  - name: search_query
    type: text
    prompt: What should Google search for?
    example: claude code
---

# Search Google

Searches Google for the provided query.
)");

const QString kSequenceSkill = QStringLiteral(R"(---
name: Open Facebook and Claude
mode: direct
app_scope: [com.google.Chrome]
runtime:
  type: sequence
  app: com.google.Chrome
  steps:
    - type: open_url
      url_template: "https://www.facebook.com/"
    - type: open_url
      url_template: "https://claude.ai/"
---

# Open Facebook and Claude

Opens Facebook and Claude in Chrome.
)");

Skill sampleSkill() {
    Skill skill;
    skill.name = QStringLiteral("Message a Teammate in Slack");
    skill.trigger = QStringLiteral("message {{teammate}} in Slack");
    skill.summary = QStringLiteral("Opens Slack and sends a teammate a message.");
    skill.createdAt = QDateTime::fromSecsSinceEpoch(1767323045, Qt::UTC);
    skill.appScope = {QStringLiteral("com.slack.Slack")};
    skill.sourceRecordingID = QUuid::createUuid();
    skill.parameters = {{QUuid::createUuid(),
                         QStringLiteral("teammate"),
                         ParameterType::text,
                         QStringLiteral("Who should get the message?"),
                         QStringLiteral("Ada"),
                         {1}}};
    PlanStep open;
    open.index = 0;
    open.intent = QStringLiteral("Open the direct message");
    open.action = ActionType::click;
    PlanStep type;
    type.index = 1;
    type.intent = QStringLiteral("Type the greeting");
    type.action = ActionType::keystroke;
    type.text = QStringLiteral("Hi {{teammate}}!");
    PlanStep send;
    send.index = 2;
    send.intent = QStringLiteral("Send the message");
    send.action = ActionType::keystroke;
    send.keyCode = 36;
    send.isDestructive = true;
    skill.plan = {open, type, send};
    return skill;
}

Recording sampleRecording() {
    Recording recording;
    recording.startedAt = QDateTime::fromSecsSinceEpoch(1767323045, Qt::UTC);
    recording.endedAt = recording.startedAt.addSecs(3);
    recording.displays = {{1, Rect(0, 0, 1920, 1080), 1.0, true}};
    AXTarget password;
    password.axRole = QStringLiteral("AXSecureTextField");
    password.isSecure = true;
    ActionEvent secureTyping;
    secureTyping.type = ActionType::keystroke;
    secureTyping.target = password;
    ActionEvent click;
    click.type = ActionType::click;
    click.location = Point{640, 360};
    click.frameIndex = 0;
    recording.events = {click, secureTyping};
    recording.frames = {{QUuid::createUuid(),
                         0.2,
                         QStringLiteral("frames/000001.png"),
                         1,
                         {1920, 1080},
                         {Rect(600, 340, 240, 32)}}};
    return recording;
}

class Report {
public:
    explicit Report(QTextStream& out) : m_out(out) {}

    void heading(const QString& text) {
        if (m_headings++ > 0)
            m_out << '\n';
        m_out << text << '\n';
    }
    void check(const QString& name, bool passed) {
        m_out << (passed ? QStringLiteral("  ✓ ") : QStringLiteral("  ✗ ")) << name << '\n';
        if (!passed)
            ++m_failures;
    }
    void failure(const QString& line) {
        m_out << line << '\n';
        ++m_failures;
    }
    int finish() {
        if (m_failures == 0)
            m_out << "PASS — all checks green\n";
        else
            m_out << m_failures << " check(s) failed\n";
        m_out.flush();
        return m_failures == 0 ? 0 : 1;
    }

private:
    QTextStream& m_out;
    int m_headings = 0;
    int m_failures = 0;
};

void checkSkillStore(Report& report) {
    report.heading(QStringLiteral("SkillStore round-trip:"));
    const Skill skill = sampleSkill();
    SkillStore store;
    const Result<> saved = store.save(skill);
    const Result<Skill> loaded =
        saved.ok() ? store.load(Paths::skill(skill.id)) : Result<Skill>(Failure{saved.error()});
    if (!loaded.ok()) {
        report.failure(QStringLiteral("  ✗ round-trip failed: ") + loaded.error());
        return;
    }
    report.check(QStringLiteral("name preserved"), loaded->name == skill.name);
    report.check(QStringLiteral("trigger preserved"), loaded->trigger == skill.trigger);
    report.check(QStringLiteral("mode preserved"), loaded->mode == skill.mode);
    report.check(QStringLiteral("app_scope preserved"), loaded->appScope == skill.appScope);
    report.check(QStringLiteral("parameter count"),
                 loaded->parameters.size() == skill.parameters.size());
    report.check(QStringLiteral("plan step count"), loaded->plan.size() == skill.plan.size());
    report.check(QStringLiteral("templated text preserved"),
                 loaded->plan.size() > 1 && loaded->plan[1].text == skill.plan[1].text);
    report.check(QStringLiteral("source recording ref"),
                 loaded->sourceRecordingID == skill.sourceRecordingID);
}

void checkMarkdown(Report& report, const SelfTest::Options& options) {
    report.heading(QStringLiteral("SKILL.md render/parse:"));
    const Skill skill = sampleSkill();
    const QString text = SkillMarkdown::render(skill);
    std::optional<Skill> parsed = options.parse(text);
    if (!parsed) {
        report.failure(QStringLiteral("  ✗ parse threw"));
        return;
    }
    report.check(QStringLiteral("has front-matter"), text.startsWith(QStringLiteral("---\n")));
    report.check(QStringLiteral("has Steps heading"), text.contains(QStringLiteral("## Steps")));
    report.check(QStringLiteral("destructive step marked ⚠️"),
                 text.contains(QStringLiteral("⚠️")));
    report.check(QStringLiteral("reparse name"), parsed->name == skill.name);
    report.check(QStringLiteral("reparse mode"), parsed->mode == ExecutionMode::skill);
}

void checkDirectSkills(Report& report, const SelfTest::Options& options) {
    report.heading(QStringLiteral("Direct-skill frontmatter:"));
    if (std::optional<Skill> direct = options.parse(kDirectSkill)) {
        const std::optional<RuntimeSpec>& runtime = direct->runtime;
        report.check(QStringLiteral("direct mode parsed"), direct->mode == ExecutionMode::skill);
        report.check(QStringLiteral("runtime open_url"),
                     runtime && runtime->type == QStringLiteral("open_url"));
        report.check(QStringLiteral("runtime app"),
                     runtime && runtime->app == QStringLiteral("com.google.Chrome"));
        report.check(
            QStringLiteral("runtime url_template"),
            runtime && runtime->urlTemplate &&
                runtime->urlTemplate->contains(QStringLiteral("{{search_query|urlencode}}")));
        report.check(QStringLiteral("param parsed"),
                     direct->parameters.size() == 1 &&
                         direct->parameters[0].name == QStringLiteral("search_query"));
        report.check(QStringLiteral("param example"),
                     !direct->parameters.isEmpty() &&
                         direct->parameters[0].exampleValue == QStringLiteral("claude code"));
    } else {
        report.failure(QStringLiteral("  ✗ direct parse threw"));
    }
    if (std::optional<Skill> sequence = options.parse(kSequenceSkill)) {
        const QList<QString> urls =
            sequence->runtime ? sequence->runtime->allURLTemplates() : QList<QString>{};
        report.check(QStringLiteral("sequence mode"), sequence->mode == ExecutionMode::skill);
        report.check(QStringLiteral("sequence type"),
                     sequence->runtime && sequence->runtime->type == QStringLiteral("sequence"));
        report.check(QStringLiteral("sequence opens both"),
                     urls.size() == 2 && urls[0].contains(QStringLiteral("facebook.com")) &&
                         urls[1].contains(QStringLiteral("claude.ai")));
    } else {
        report.failure(QStringLiteral("  ✗ sequence parse threw"));
    }
}

void checkFuzzyMatch(Report& report) {
    report.heading(QStringLiteral("FuzzyMatch:"));
    const QList<QString> names{QStringLiteral("Export Invoices"), QStringLiteral("Search Google"),
                               QStringLiteral("Research Notes")};
    const auto self = [](const QString& name) { return QList<QString>{name}; };
    const QList<QString> found = FuzzyMatch::rank(names, QStringLiteral("sgl"), self);
    report.check(QStringLiteral("subsequence match found"),
                 found.contains(QStringLiteral("Search Google")));
    const QList<QString> searched = FuzzyMatch::rank(names, QStringLiteral("search"), self);
    report.check(QStringLiteral("prefix beats mid-word"),
                 searched.size() == 2 && searched[0] == QStringLiteral("Search Google"));
    report.check(QStringLiteral("empty query keeps order"),
                 FuzzyMatch::rank(names, QStringLiteral("  "), self) == names);
    report.check(QStringLiteral("no match → empty"),
                 FuzzyMatch::rank(names, QStringLiteral("zzz"), self).isEmpty());
}

void checkRunContext(Report& report) {
    report.heading(QStringLiteral("RunContext parameter fill:"));
    RunContext context(sampleSkill(), {{QStringLiteral("teammate"), QStringLiteral("Grace")}});
    report.check(QStringLiteral("fills slot"),
                 context.fill(QStringLiteral("Hi {{teammate}}!")) == QStringLiteral("Hi Grace!"));
    const bool before = context.aborted();
    context.abort();
    report.check(QStringLiteral("abort flag flips"), !before && context.aborted());
}

void checkRecordingStore(Report& report) {
    report.heading(QStringLiteral("RecordingStore round-trip:"));
    const Recording recording = sampleRecording();
    RecordingStore store;
    // A failed save shows as the failed load that follows.
    (void)store.save(recording);
    const Result<Recording> loaded = store.load(recording.id);
    if (!loaded.ok()) {
        report.failure(QStringLiteral("  ✗ load returned nil"));
        return;
    }
    report.check(QStringLiteral("event count"), loaded->events.size() == recording.events.size());
    report.check(QStringLiteral("frame count"), loaded->frames.size() == recording.frames.size());
    report.check(QStringLiteral("secure text dropped"),
                 loaded->events.size() == 2 && loaded->events[1].target &&
                     loaded->events[1].target->isSecure && !loaded->events[1].typedText);
    report.check(QStringLiteral("redacted region preserved"),
                 !loaded->frames.isEmpty() &&
                     loaded->frames[0].redactedRegions == recording.frames[0].redactedRegions);
    report.check(QStringLiteral("display info preserved"), loaded->displays == recording.displays);
}

void checkSchema(Report& report) {
    report.heading(QStringLiteral("Synthesizer schema:"));
    const QByteArray serialized =
        QJsonDocument(SynthesisPrompts::schema()).toJson(QJsonDocument::Compact);
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(serialized, &parseError);
    if (serialized.isEmpty() || parseError.error != QJsonParseError::NoError ||
        !document.isObject()) {
        report.failure(QStringLiteral("  ✗ schema did not round-trip"));
        return;
    }
    const QJsonObject schema = document.object();
    const QJsonArray required = schema.value(QStringLiteral("required")).toArray();
    report.check(QStringLiteral("serializes to JSON"), !serialized.isEmpty());
    report.check(QStringLiteral("declares strict object"),
                 schema.value(QStringLiteral("additionalProperties")) == QJsonValue(false));
    report.check(QStringLiteral("requires plan + parameters"),
                 required.contains(QStringLiteral("plan")) &&
                     required.contains(QStringLiteral("parameters")));
}

} // namespace

int SelfTest::run(QTextStream& out) {
    return run(out, Options{});
}

int SelfTest::run(QTextStream& out, const Options& given) {
    Options options = given;
    if (!options.parse)
        options.parse = SkillMarkdown::parse;

    // Fixtures go through the real stores, but never into the user's own library.
    QTemporaryDir sandbox;
    const QByteArray previous = qgetenv("XDG_DATA_HOME");
    const bool hadPrevious = qEnvironmentVariableIsSet("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", sandbox.path().toUtf8());

    Report report(out);
    out << "Tavrik self-test\n\n";
    checkSkillStore(report);
    checkMarkdown(report, options);
    checkDirectSkills(report, options);
    checkFuzzyMatch(report);
    checkRunContext(report);
    checkRecordingStore(report);
    checkSchema(report);
    report.check(QStringLiteral("system prompt non-empty"),
                 !SynthesisPrompts::systemPrompt().isEmpty());

    if (hadPrevious)
        qputenv("XDG_DATA_HOME", previous);
    else
        qunsetenv("XDG_DATA_HOME");
    return report.finish();
}

} // namespace tavrik
