#include "Tavrik/AppState.h"

#include "Tavrik/Analytics.h"
#include "Tavrik/LibraryWatcher.h"
#include "Tavrik/Runtime/ChildProcessStarter.h"
#include "TavrikCore/Casting/AgentRunner.h"
#include "TavrikCore/Casting/CastRules.h"
#include "TavrikCore/Replay/CastRoute.h"
#include "TavrikCore/Storage/AuditLog.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillEdits.h"
#include "TavrikCore/Update/UpdateChecker.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QSettings>
#include <QStandardPaths>

namespace tavrik {

namespace {

// A platform's reason as a sentence of its own: capital first, full stop last.
QString sentence(QString reason) {
    reason = reason.trimmed();
    if (reason.isEmpty())
        return reason;
    reason[0] = reason[0].toUpper();
    if (!reason.endsWith(u'.'))
        reason += u'.';
    return reason;
}

void log(const QString& line) {
    qInfo().noquote() << QStringLiteral("Tavrik: ") + line;
}

QString quotedName(const QString& name) {
    return u'"' + name + u'"';
}

} // namespace

AppState::AppState(AppServices services, QObject* parent)
    : QObject(parent), m_services(std::move(services)), m_settings(new QSettings(this)),
      m_network(new QNetworkAccessManager(this)),
      m_updateChecker(new UpdateChecker(m_network, m_settings, this)) {
    m_tipsDismissed = m_settings->value(QString::fromLatin1(tipsDismissedKey), false).toBool();
    if (!m_services.analytics)
        m_services.analytics = [](const QString& event, const QJsonObject& properties) {
            Analytics::capture(event, properties);
        };
    if (!m_services.processes)
        m_services.processes = std::make_unique<ChildProcessStarter>();

    if (Result<> made = Paths::ensureDirectories(); !made.ok())
        log(QStringLiteral("could not create the support folders: ") + made.error());
    m_libraryWatcher = new LibraryWatcher(this);
    // Folders added, edited or removed by hand show without a restart.
    connect(m_libraryWatcher, &LibraryWatcher::libraryChanged, this, &AppState::reloadSkills);
    reloadSkills();

    QTimer::singleShot(0, this, [this] {
        if (!m_services.permissions)
            return;
        m_services.permissions->refresh();
        notePermissions();
        startHotkeysIfPossible();
    });
    m_pollTimer.setInterval(permissionPollIntervalMs);
    m_pollTimer.setTimerType(Qt::CoarseTimer);
    connect(&m_pollTimer, &QTimer::timeout, this, &AppState::pollPermissions);
    m_pollTimer.start();

    m_outcomeTimer.setSingleShot(true);
    m_outcomeTimer.setInterval(outcomeShownMs);
    connect(&m_outcomeTimer, &QTimer::timeout, this, [this] {
        if (m_skillPanelPhase == SkillPanelPhase::running && !m_state.isCasting())
            setSkillPanelPhase(SkillPanelPhase::idle);
    });
}

AppState::~AppState() {
    m_generationTask.reset();
    if (m_agentRunner)
        m_agentRunner->cancel();
}

QString AppState::statusTitle() const {
    switch (m_state.kind()) {
    case TavrikState::Kind::idle:
        return QStringLiteral("Ready");
    case TavrikState::Kind::recording:
        return QStringLiteral("Recording…");
    case TavrikState::Kind::synthesizing:
    case TavrikState::Kind::creatingSkill:
        return QStringLiteral("Creating Skill");
    case TavrikState::Kind::casting:
        return QStringLiteral("Running: ") + m_state.castingSkill();
    }
    return {};
}

bool AppState::hasPillTip() const {
    if (m_tipsDismissed)
        return false;
    if (m_state.kind() == TavrikState::Kind::recording && m_skills.isEmpty())
        return true;
    return m_showCallSkillTip && m_creationStatus.kind == SkillCreationStatus::Kind::idle &&
           m_state.kind() == TavrikState::Kind::idle;
}

QString AppState::pillTip() const {
    if (!hasPillTip())
        return {};
    if (m_state.kind() == TavrikState::Kind::recording)
        return QStringLiteral("Double-tap Control to finish training your skill");
    return QStringLiteral("Press ctrl + / to call your skill");
}

QString AppState::exportFolder() {
    QString downloads = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
    if (!downloads.isEmpty() && QFileInfo(downloads).isDir())
        return downloads;
    return QDir::homePath();
}

// ---------------------------------------------------------------------------------------------
// Start-up and polling

void AppState::applicationLaunched() {
    m_updateChecker->checkIfDue();
    send(QStringLiteral("app_launched"));
}

void AppState::startHotkeysIfPossible() {
    if (!m_services.hotkeys || !m_services.permissions ||
        !m_services.permissions->hotkeysPossible())
        return;
    m_services.hotkeys->start();
    const QString problem = m_services.hotkeys->problem();
    setDesktopProblem(DesktopPart::hotkeys,
                      problem.isEmpty()
                          ? QString()
                          : tr("A keyboard shortcut does not work: %1 Free it in the other "
                               "program's settings, then quit and start Tavrik again. Until "
                               "then the pill and the tray menu record and cast.")
                                .arg(sentence(problem)));
}

void AppState::setDesktopProblem(DesktopPart part, const QString& problem) {
    if (m_desktopProblems.value(part) == problem)
        return;
    if (problem.isEmpty())
        m_desktopProblems.remove(part);
    else
        m_desktopProblems.insert(part, problem);
    emit desktopProblemsChanged();
}

// The hotkeys come alive as soon as the user finishes granting, without a restart.
void AppState::pollPermissions() {
    if (!m_services.permissions)
        return;
    const bool wereAllGranted = m_services.permissions->allGranted();
    m_services.permissions->refresh();
    if (!wereAllGranted && m_services.permissions->allGranted()) {
        m_services.permissions->refresh();
        startHotkeysIfPossible();
    }
    notePermissions();
}

void AppState::notePermissions() {
    setDesktopProblem(
        DesktopPart::permissions,
        m_services.permissions->allGranted()
            ? QString()
            : tr("Tavrik cannot follow or act on other windows yet: the accessibility bus or the "
                 "X session's input and screen access is off. Record a skill to see what to "
                 "turn on; Tavrik notices the change on its own."));
}

// ---------------------------------------------------------------------------------------------
// State changes

void AppState::set(const TavrikState& state) {
    const bool wasCasting = m_state.isCasting();
    const bool changed = !(m_state == state);
    m_state = state;
    if (wasCasting && !state.isCasting())
        send(QStringLiteral("skill_run_finished"));
    if (m_services.hotkeys)
        m_services.hotkeys->setCasting(state.isCasting());
    // A run that ended with an outcome keeps the panel until it has been seen (showRunEnd).
    if (state.kind() == TavrikState::Kind::idle && m_skillPanelPhase == SkillPanelPhase::running &&
        !m_runOutcome)
        setSkillPanelPhase(m_savedSkill ? SkillPanelPhase::saved : SkillPanelPhase::idle);
    if (changed) {
        emit stateChanged();
        emit tipsChanged();
    }
}

void AppState::send(const QString& event, const QJsonObject& properties) {
    if (m_services.analytics)
        m_services.analytics(event, properties);
}

void AppState::handleHotkey(Hotkey hotkey) {
    switch (hotkey) {
    case Hotkey::toggleRecording:
        toggleRecording();
        break;
    case Hotkey::openPalette:
        openPalette();
        break;
    case Hotkey::panic:
        panic();
        break;
    }
}

void AppState::toggleRecording() {
    switch (m_state.kind()) {
    case TavrikState::Kind::idle:
        startRecording();
        break;
    case TavrikState::Kind::recording:
        stopRecording();
        break;
    case TavrikState::Kind::creatingSkill:
        // A new recording replaces an open draft at once, without asking about edits.
        closeSkillPanel();
        startRecording();
        break;
    case TavrikState::Kind::synthesizing:
    case TavrikState::Kind::casting:
        break;
    }
}

// ---------------------------------------------------------------------------------------------
// Recording and drafting

void AppState::startRecording() {
    if (m_services.permissions && !m_services.permissions->allGranted()) {
        emit onboardingRequested();
        return;
    }
    set(TavrikState::recording());
    m_lastRecording.reset();
    send(QStringLiteral("recording_started"));
    setMicLevel(0);
    if (m_services.recorder)
        m_services.recorder->start();
    if (m_services.narration) {
        QPointer<AppState> self(this);
        m_services.narration->start([self](double level) {
            QMetaObject::invokeMethod(
                qApp,
                [self, level] {
                    if (self)
                        self->setMicLevel(level);
                },
                Qt::QueuedConnection);
        });
    }
}

void AppState::stopRecording() {
    set(TavrikState::creatingSkill());
    send(QStringLiteral("recording_stopped"));

    setCreationStatus(SkillCreationStatus::idle());
    setSkillPanelPhase(SkillPanelPhase::generating);
    setGenerating(true);
    setGenerationError(std::nullopt);
    setRunOutcome(std::nullopt);
    setGenerationStatus(QStringLiteral("Writing the skill…"));
    setPendingGeneratedSkill(std::nullopt);
    m_savedSkill.reset();
    m_generatedMarkdownSnapshot.clear();
    setPendingSkillMarkdown(QString());

    const quint64 generation = ++m_generation;
    QPointer<AppState> self(this);
    auto isCurrent = [self, generation] { return self && self->m_generation == generation; };

    auto synthesize = [this, isCurrent](std::optional<Recording> recording, QString transcript) {
        if (!isCurrent())
            return;
        setMicLevel(0);
        if (!recording || recording->events.isEmpty()) {
            failGenerating(QString::fromUtf8(emptyRecordingMessage));
            return;
        }
        m_lastRecording = Demonstration{*recording, transcript};
        synthesizeLastRecording();
    };

    auto afterRecorder = [this, isCurrent, synthesize](std::optional<Recording> recording) {
        if (!isCurrent())
            return;
        if (!m_services.narration) {
            synthesize(std::move(recording), QString());
            return;
        }
        m_services.narration->stop([this, isCurrent, recording = std::move(recording),
                                    synthesize](QString transcript) mutable {
            const QString problem = isCurrent() ? m_services.narration->problem() : QString();
            if (isCurrent())
                setDesktopProblem(
                    DesktopPart::microphone,
                    problem.isEmpty()
                        ? QString()
                        : tr("Nothing you said was recorded: %1 Connect a microphone or start "
                             "the sound server, then record again. Demonstrations work without "
                             "it.")
                              .arg(sentence(problem)));
            synthesize(std::move(recording), std::move(transcript));
        });
    };

    if (m_services.recorder)
        m_services.recorder->stop(afterRecorder);
    else
        afterRecorder(std::nullopt);
}

void AppState::synthesizeLastRecording() {
    if (!m_services.synthesis) {
        failGenerating(QStringLiteral("Skill writing is not available in this build."));
        return;
    }
    const quint64 generation = m_generation;
    QPointer<AppState> self(this);
    auto isCurrent = [self, generation] { return self && self->m_generation == generation; };
    m_generationTask = m_services.synthesis->streamSkill(
        m_lastRecording->recording, m_lastRecording->narration,
        [this, isCurrent](const QString& fragment) {
            if (isCurrent())
                setPendingSkillMarkdown(m_pendingSkillMarkdown + fragment);
        },
        [this, isCurrent](SkillSynthesis::Result result) {
            if (!isCurrent())
                return;
            if (result.draft)
                finishGenerating(result.draft->skill, result.draft->markdown);
            else
                failGenerating(result.error.isEmpty()
                                   ? QStringLiteral("The skill could not be written.")
                                   : result.error);
        });
}

void AppState::retrySynthesis() {
    if (!canRetrySynthesis())
        return;
    ++m_generation;
    m_generationTask.reset();
    set(TavrikState::creatingSkill());
    setGenerationError(std::nullopt);
    setGenerationStatus(QStringLiteral("Writing the skill…"));
    setPendingSkillMarkdown(QString());
    setGenerating(true);
    setSkillPanelPhase(SkillPanelPhase::generating);
    synthesizeLastRecording();
}

void AppState::finishGenerating(const Skill& skill, const QString& markdown) {
    setPendingGeneratedSkill(skill);
    m_generatedMarkdownSnapshot = markdown;
    setPendingSkillMarkdown(markdown);
    setGenerating(false);
    setGenerationStatus(QString());
    setSkillPanelPhase(SkillPanelPhase::editable);
    log(QStringLiteral("streamed skill draft %1 (%2 steps) — awaiting save")
            .arg(quotedName(skill.name))
            .arg(skill.plan.size()));
}

void AppState::failGenerating(const QString& message) {
    setGenerating(false);
    send(QStringLiteral("skill_creation_failed"));
    setGenerationError(message);
    setSkillPanelPhase(SkillPanelPhase::error);
    log(QStringLiteral("skill generation failed: ") + message);
}

void AppState::setPendingSkillMarkdown(const QString& markdown) {
    if (markdown == m_pendingSkillMarkdown)
        return;
    m_pendingSkillMarkdown = markdown;
    emit pendingSkillMarkdownChanged();
}

void AppState::applyMarkdownEdits() {
    if (m_pendingGeneratedSkill)
        setPendingGeneratedSkill(
            SkillEdits::merged(*m_pendingGeneratedSkill, m_pendingSkillMarkdown));
}

void AppState::renameSkill(const QString& name) {
    setPendingSkillMarkdown(SkillEdits::renamed(m_pendingSkillMarkdown, name));
    applyMarkdownEdits();
}

void AppState::saveGeneratedSkill() {
    if (!m_pendingGeneratedSkill)
        return;
    const Skill skill = SkillEdits::merged(*m_pendingGeneratedSkill, m_pendingSkillMarkdown);
    if (Result<> saved = m_store.save(skill, m_pendingSkillMarkdown); !saved.ok()) {
        setGenerationError(saved.error());
        setSkillPanelPhase(SkillPanelPhase::error);
        log(QStringLiteral("save FAILED for %1: %2").arg(quotedName(skill.name), saved.error()));
        return;
    }
    m_savedSkill = skill;
    setPendingGeneratedSkill(skill);
    m_generatedMarkdownSnapshot = m_pendingSkillMarkdown;
    emit pendingSkillMarkdownChanged(); // nothing unsaved any more
    setSkillPanelPhase(SkillPanelPhase::saved);
    reloadSkills();
    if (m_skills.size() == 1 && !m_showCallSkillTip) {
        m_showCallSkillTip = true;
        emit tipsChanged();
    }
    send(QStringLiteral("skill_created"),
         QJsonObject{{QStringLiteral("mode"), toString(skill.mode)},
                     {QStringLiteral("steps"), int(skill.plan.size())}});
    log(QStringLiteral("saved skill %1 (%2 steps, %3 parameters)")
            .arg(quotedName(skill.name))
            .arg(skill.plan.size())
            .arg(skill.parameters.size()));
}

void AppState::runPendingSkill() {
    if (!m_savedSkill)
        saveGeneratedSkill();
    if (!m_savedSkill)
        return;
    setRunOutcome(std::nullopt);
    setSkillPanelPhase(SkillPanelPhase::running);
    set(TavrikState::idle());
    cast(*m_savedSkill, {});
}

void AppState::discardGeneratedSkill() {
    if (m_skillPanelPhase == SkillPanelPhase::editable && hasUnsavedEdits()) {
        const int answer = m_services.questions
                               ? m_services.questions->ask(Question{
                                     QStringLiteral("Discard this skill?"),
                                     QStringLiteral("Your edits haven't been saved."),
                                     {QStringLiteral("Discard"), QStringLiteral("Keep Editing")},
                                     false})
                               : 0;
        if (answer != 0)
            return;
    }
    closeSkillPanel();
}

void AppState::closeSkillPanel() {
    m_outcomeTimer.stop();
    ++m_generation;
    m_generationTask.reset();
    emit editorCloseRequested();
    setSkillPanelPhase(SkillPanelPhase::idle);
    setPendingGeneratedSkill(std::nullopt);
    m_savedSkill.reset();
    m_generatedMarkdownSnapshot.clear();
    setPendingSkillMarkdown(QString());
    emit pendingSkillMarkdownChanged();
    setGenerating(false);
    setRunningLine(QString());
    if (m_state.kind() == TavrikState::Kind::creatingSkill)
        set(TavrikState::idle());
}

// ---------------------------------------------------------------------------------------------
// Casting

void AppState::cast(const Skill& skill, const QMap<QString, QString>& parameters) {
    if (m_state.kind() != TavrikState::Kind::idle)
        return;
    send(QStringLiteral("skill_run_started"));
    runViaAgent(skill, CastRules::completeParameters(skill, parameters));
}

void AppState::check(const Skill& skill) {
    if (m_state.kind() != TavrikState::Kind::idle)
        return;
    runViaAgent(skill, CastRules::completeParameters(skill, {}), true);
}

bool AppState::confirmDestructiveSteps(const Skill& skill) {
    const std::optional<CastRules::DestructiveWarning> warning =
        CastRules::destructiveWarning(skill);
    if (!warning)
        return true;
    if (!m_services.questions)
        return false; // nobody to ask: a destructive step never runs unconfirmed
    return m_services.questions->ask(Question{warning->message,
                                              warning->details,
                                              {QStringLiteral("Run It"), QStringLiteral("Cancel")},
                                              true}) == 0;
}

void AppState::runViaAgent(const Skill& skill, const QMap<QString, QString>& parameters,
                           bool checkOnly) {
    if (!checkOnly && !confirmDestructiveSteps(skill)) {
        set(TavrikState::idle());
        return;
    }
    AgentRunner::Options options;
    options.checkOnly = checkOnly;
    if (!checkOnly && CastRoute::method(skill) == CastMethod::replay) {
        for (qsizetype step : CastRoute::secretSteps(skill)) {
            std::optional<QString> secret =
                m_services.questions
                    ? m_services.questions->askSecret(
                          QStringLiteral(
                              "“%1” types into a password field at step %2. Type the value to use "
                              "for this run; Tavrik does not keep it.")
                              .arg(skill.name)
                              .arg(step + 1),
                          CastRoute::secretFieldLabel(skill.plan[step]))
                    : std::nullopt;
            if (!secret) {
                set(TavrikState::idle());
                return;
            }
            options.secrets.insert(step, *secret);
        }
    }
    // The previous run's outcome never passes for this one's: the panel starts afresh.
    m_outcomeTimer.stop();
    if (m_skillPanelPhase == SkillPanelPhase::running && m_runOutcome)
        setSkillPanelPhase(SkillPanelPhase::idle);
    setRunOutcome(std::nullopt);
    setSkillPanelPhase(SkillPanelPhase::running);
    setRunningLine(QStringLiteral("Starting…"));
    set(TavrikState::casting(skill.name));

    auto* runner = new AgentRunner(*m_services.processes, this);
    m_agentRunner = runner;
    m_runStartedAt = QDateTime::currentDateTimeUtc();
    connect(runner, &AgentRunner::progress, this, [this, runner](const QString& phrase) {
        if (m_agentRunner == runner)
            setRunningLine(phrase);
    });
    connect(runner, &AgentRunner::finished, this,
            [this, runner, skill, checkOnly](bool success, const QString& summary) {
                if (m_agentRunner != runner)
                    return; // stopped by panic; its late news is not wanted
                if (!checkOnly)
                    AuditLog::append(
                        CastRules::runRecord(m_runStartedAt, skill, runner->steps(), success));
                m_agentRunner = nullptr;
                runner->deleteLater();
                showRunEnd(skill, (success ? QStringLiteral("✓ ") : QStringLiteral("✗ ")) +
                                      CastRules::outcomeText(success, summary));
                emit runFinished(success);
            });
    m_runningSkill = skill;
    m_runIsCheck = checkOnly;
    runner->run(skill, parameters, {}, options);
}

void AppState::panic() {
    if (AgentRunner* runner = m_agentRunner) {
        m_agentRunner = nullptr;
        runner->cancel();
        // A stopped run is a run: it goes into the audit log, marked aborted.
        if (!m_runIsCheck)
            AuditLog::append(
                CastRules::runRecord(m_runStartedAt, m_runningSkill, runner->steps(), false));
        runner->deleteLater();
        showRunEnd(m_runningSkill, QString::fromUtf8(stoppedOutcome));
        return;
    }
    setRunningLine(QString());
    set(TavrikState::idle());
}

void AppState::showRunEnd(const Skill& skill, const QString& outcome) {
    m_lastOutcomes.insert(skill.id, outcome);
    setRunOutcome(outcome);
    setRunningLine(QString());
    set(TavrikState::idle());
    // A draft's run reports in its saved card; any other run keeps the panel for a while.
    if (m_skillPanelPhase != SkillPanelPhase::running)
        return;
    if (m_savedSkill)
        setSkillPanelPhase(SkillPanelPhase::saved);
    else
        m_outcomeTimer.start();
}

// ---------------------------------------------------------------------------------------------
// Palette, tips and the library

void AppState::openPalette() {
    if (m_showCallSkillTip) {
        m_showCallSkillTip = false;
        emit tipsChanged();
    }
    if (!m_paletteOpen) {
        m_paletteOpen = true;
        emit paletteOpenChanged(true);
    }
}

void AppState::closePalette() {
    if (!m_paletteOpen)
        return;
    m_paletteOpen = false;
    emit paletteOpenChanged(false);
}

void AppState::dismissTips() {
    m_tipsDismissed = true;
    m_showCallSkillTip = false;
    m_settings->setValue(QString::fromLatin1(tipsDismissedKey), true);
    m_settings->sync();
    emit tipsChanged();
}

void AppState::reloadSkills() {
    m_skills = m_store.loadAll();
    emit skillsChanged();
    emit tipsChanged();
}

void AppState::deleteSkill(const Skill& skill) {
    if (Result<> removed = m_store.remove(skill); !removed.ok()) {
        log(QStringLiteral("delete FAILED for %1: %2")
                .arg(quotedName(skill.name), removed.error()));
        return;
    }
    log(QStringLiteral("deleted skill ") + quotedName(skill.name));
    reloadSkills();
    log(QStringLiteral("skills now = %1").arg(m_skills.size()));
}

Result<> AppState::saveEditedSkill(const Skill& skill, const QString& markdown) {
    const Skill edited = SkillEdits::merged(skill, markdown);
    Result<> saved = m_store.save(edited, markdown);
    if (!saved.ok()) {
        log(QStringLiteral("save FAILED for %1: %2").arg(quotedName(skill.name), saved.error()));
        return saved;
    }
    log(QStringLiteral("saved edits of skill ") + quotedName(edited.name));
    reloadSkills();
    return saved;
}

Result<QString> AppState::exportSkill(const Skill& skill) {
    const auto fail = [](const QString& why) {
        log(QStringLiteral("export failed") + why);
        return Failure{QStringLiteral("export failed") + why};
    };
    if (!QFileInfo::exists(m_store.markdownPath(skill)))
        return fail(QStringLiteral(" — no SKILL.md for ") + quotedName(skill.name));
    const Result<QString> text = m_store.markdown(skill);
    if (!text.ok())
        return fail(QStringLiteral(": ") + text.error());

    const QDir folder(exportFolder());
    const QString base = skill.slashCommand().mid(1);
    QString target = folder.filePath(base + QStringLiteral(".md"));
    for (int n = 2; QFileInfo::exists(target); ++n)
        target = folder.filePath(QStringLiteral("%1-%2.md").arg(base).arg(n));

    QFile out(target);
    // NewOnly: a file that appeared meanwhile is never overwritten.
    if (!out.open(QIODevice::WriteOnly | QIODevice::NewOnly) || out.write(text->toUtf8()) < 0 ||
        !out.flush())
        return fail(QStringLiteral(": ") + out.errorString());
    out.close();
    emit revealFileRequested(target);
    return target;
}

// ---------------------------------------------------------------------------------------------
// Field setters that announce real changes only

void AppState::setSkillPanelPhase(SkillPanelPhase phase) {
    if (phase == m_skillPanelPhase)
        return;
    m_skillPanelPhase = phase;
    emit skillPanelPhaseChanged(phase);
}

void AppState::setRunningLine(const QString& line) {
    if (line == m_runningLine)
        return;
    m_runningLine = line;
    emit runningLineChanged();
}

void AppState::setMicLevel(double level) {
    if (level == m_micLevel)
        return;
    m_micLevel = level;
    emit micLevelChanged();
}

void AppState::setPendingGeneratedSkill(const std::optional<Skill>& skill) {
    m_pendingGeneratedSkill = skill;
    emit pendingGeneratedSkillChanged();
}

void AppState::setGenerating(bool generating) {
    if (generating == m_isGeneratingSkill)
        return;
    m_isGeneratingSkill = generating;
    emit isGeneratingSkillChanged();
}

void AppState::setGenerationStatus(const QString& status) {
    if (status == m_skillGenerationStatus)
        return;
    m_skillGenerationStatus = status;
    emit skillGenerationStatusChanged();
}

void AppState::setGenerationError(const std::optional<QString>& error) {
    if (error == m_skillGenerationError)
        return;
    m_skillGenerationError = error;
    emit skillGenerationErrorChanged();
}

void AppState::setRunOutcome(const std::optional<QString>& outcome) {
    if (outcome == m_runOutcome)
        return;
    m_runOutcome = outcome;
    emit runOutcomeChanged();
}

void AppState::setCreationStatus(const SkillCreationStatus& status) {
    if (status == m_creationStatus)
        return;
    m_creationStatus = status;
    emit creationStatusChanged();
    emit tipsChanged();
}

} // namespace tavrik
