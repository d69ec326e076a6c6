#pragma once

#include "Tavrik/AppServices.h"
#include "Tavrik/SkillPanelPhase.h"
#include "TavrikCore/Models/Skill.h"
#include "TavrikCore/Models/TavrikState.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QDateTime>
#include <QHash>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QTimer>

class QNetworkAccessManager;
class QSettings;

namespace tavrik {

class AgentRunner;
class LibraryWatcher;
class UpdateChecker;

// The one controller of the application: owns the services, holds everything the views show and
// carries out every flow (record, draft, review, save or discard, cast, panic, palette, delete,
// export). Views read its properties, redraw on the change signals and call its slots; nothing
// else changes its state. Lives on the main thread.
class AppState : public QObject {
    Q_OBJECT
    Q_PROPERTY(tavrik::TavrikState state READ state NOTIFY stateChanged)
    Q_PROPERTY(QString statusTitle READ statusTitle NOTIFY stateChanged)
    Q_PROPERTY(QList<tavrik::Skill> skills READ skills NOTIFY skillsChanged)
    Q_PROPERTY(
        tavrik::SkillCreationStatus creationStatus READ creationStatus NOTIFY creationStatusChanged)
    Q_PROPERTY(bool showCallSkillTip READ showCallSkillTip NOTIFY tipsChanged)
    Q_PROPERTY(bool tipsDismissed READ tipsDismissed NOTIFY tipsChanged)
    Q_PROPERTY(bool hasPillTip READ hasPillTip NOTIFY tipsChanged)
    Q_PROPERTY(QString pillTip READ pillTip NOTIFY tipsChanged)
    Q_PROPERTY(bool paletteOpen READ paletteOpen NOTIFY paletteOpenChanged)
    Q_PROPERTY(
        tavrik::SkillPanelPhase skillPanelPhase READ skillPanelPhase NOTIFY skillPanelPhaseChanged)
    Q_PROPERTY(QString runningLine READ runningLine NOTIFY runningLineChanged)
    Q_PROPERTY(double micLevel READ micLevel NOTIFY micLevelChanged)
    Q_PROPERTY(QString pendingSkillMarkdown READ pendingSkillMarkdown WRITE setPendingSkillMarkdown
                   NOTIFY pendingSkillMarkdownChanged)
    Q_PROPERTY(bool hasPendingGeneratedSkill READ hasPendingGeneratedSkill NOTIFY
                   pendingGeneratedSkillChanged)
    Q_PROPERTY(bool hasUnsavedEdits READ hasUnsavedEdits NOTIFY pendingSkillMarkdownChanged)
    Q_PROPERTY(bool isGeneratingSkill READ isGeneratingSkill NOTIFY isGeneratingSkillChanged)
    Q_PROPERTY(QString skillGenerationStatus READ skillGenerationStatus NOTIFY
                   skillGenerationStatusChanged)
    Q_PROPERTY(
        QString skillGenerationError READ skillGenerationError NOTIFY skillGenerationErrorChanged)
    Q_PROPERTY(QString runOutcome READ runOutcome NOTIFY runOutcomeChanged)
    Q_PROPERTY(QStringList desktopProblems READ desktopProblems NOTIFY desktopProblemsChanged)

public:
    enum class Hotkey { toggleRecording, openPalette, panic };
    Q_ENUM(Hotkey)

    static constexpr const char* tipsDismissedKey = "tavrik.tipsDismissed";
    static constexpr int permissionPollIntervalMs = 1500;
    // How long a finished run's outcome stays on the pill unless dismissed.
    static constexpr int outcomeShownMs = 8000;
    static constexpr const char* stoppedOutcome = "Stopped";
    static constexpr const char* emptyRecordingMessage =
        "That recording was empty — there was nothing to turn into a skill.";

    // Makes the support folders, loads the library and starts permission polling. Settings come
    // from the default QSettings store.
    explicit AppState(AppServices services, QObject* parent = nullptr);
    ~AppState() override;

    // Published fields.
    const TavrikState& state() const { return m_state; }
    QString statusTitle() const;
    const QList<Skill>& skills() const { return m_skills; }
    const SkillCreationStatus& creationStatus() const { return m_creationStatus; }
    bool showCallSkillTip() const { return m_showCallSkillTip; }
    bool tipsDismissed() const { return m_tipsDismissed; }
    // Whether the pill shows a tip now, and its text (empty when none).
    bool hasPillTip() const;
    QString pillTip() const;
    bool paletteOpen() const { return m_paletteOpen; }
    SkillPanelPhase skillPanelPhase() const { return m_skillPanelPhase; }
    const QString& runningLine() const { return m_runningLine; }
    double micLevel() const { return m_micLevel; }
    const QString& pendingSkillMarkdown() const { return m_pendingSkillMarkdown; }
    const std::optional<Skill>& pendingGeneratedSkill() const { return m_pendingGeneratedSkill; }
    bool hasPendingGeneratedSkill() const { return m_pendingGeneratedSkill.has_value(); }
    // The draft text differs from what was generated or last saved.
    bool hasUnsavedEdits() const { return m_pendingSkillMarkdown != m_generatedMarkdownSnapshot; }
    const std::optional<Skill>& savedSkill() const { return m_savedSkill; }
    bool isGeneratingSkill() const { return m_isGeneratingSkill; }
    // Writing the skill failed and the demonstration it was written from can be sent again.
    bool canRetrySynthesis() const {
        return m_skillPanelPhase == SkillPanelPhase::error && m_lastRecording &&
               !m_pendingGeneratedSkill;
    }
    const QString& skillGenerationStatus() const { return m_skillGenerationStatus; }
    // Empty when there is none.
    QString skillGenerationError() const { return m_skillGenerationError.value_or(QString()); }
    QString runOutcome() const { return m_runOutcome.value_or(QString()); }
    bool hasRunOutcome() const { return m_runOutcome.has_value(); }
    // How the skill's last run in this session ended, as the pill showed it; empty when none.
    QString lastOutcome(const Skill& skill) const { return m_lastOutcomes.value(skill.id); }
    // Whether a finished run's outcome is on show and will leave by itself.
    bool showsFinishedRun() const { return m_outcomeTimer.isActive(); }
    // What of the desktop does not work (a shortcut another program holds, no microphone), each
    // in plain words with what to do; empty when all works.
    QStringList desktopProblems() const { return m_desktopProblems.values(); }
    // What the desktop session lacks that the user can add (a shell extension, a helper
    // program), said with the other problems; empty for nothing.
    void setSessionProblem(const QString& problem) {
        setDesktopProblem(DesktopPart::session, problem);
    }

    // Services for the views that need more than the fields (update bubble, onboarding).
    UpdateChecker* updateChecker() const { return m_updateChecker; }
    PermissionGate* permissions() const { return m_services.permissions.get(); }
    const SkillStore& store() const { return m_store; }

    // The folder exports go to: the user's Downloads folder, else the home folder.
    static QString exportFolder();

public slots:
    // Start-up work that belongs to a launched application: the update check when due and the
    // "app_launched" event.
    void applicationLaunched();

    void handleHotkey(tavrik::AppState::Hotkey hotkey);
    // What a double tap of Control does in the current state.
    void toggleRecording();
    void startRecording();
    void stopRecording();

    void setPendingSkillMarkdown(const QString& markdown);
    void applyMarkdownEdits();
    void renameSkill(const QString& name);
    void saveGeneratedSkill();
    void runPendingSkill();
    // Sends the last demonstration to be written again, without recording it again.
    void retrySynthesis();
    // Asks first when there are unsaved edits.
    void discardGeneratedSkill();
    void closeSkillPanel();

    // Ignored unless idle. Missing or empty parameters take their example values.
    void cast(const tavrik::Skill& skill, const QMap<QString, QString>& parameters = {});
    // Finds every recorded step's element on the desktop now, acting on nothing; the outcome
    // shows like a run's, and nothing is audited. Ignored unless idle.
    void check(const tavrik::Skill& skill);
    void panic();

    void openPalette();
    // Called by the palette once it has gone.
    void closePalette();

    void dismissTips();
    void reloadSkills();
    void deleteSkill(const tavrik::Skill& skill);
    // A saved skill's SKILL.md as edited in the editor window, merged as SkillEdits::merged
    // does.
    tavrik::Result<> saveEditedSkill(const tavrik::Skill& skill, const QString& markdown);
    // The path written; a failure is logged as well.
    tavrik::Result<QString> exportSkill(const tavrik::Skill& skill);

    // One tick of the permission poll; the timer calls it every 1.5 s.
    void pollPermissions();

signals:
    void stateChanged();
    void skillsChanged();
    void creationStatusChanged();
    void tipsChanged();
    void paletteOpenChanged(bool open);
    void skillPanelPhaseChanged(tavrik::SkillPanelPhase phase);
    void runningLineChanged();
    void micLevelChanged();
    void pendingSkillMarkdownChanged();
    void pendingGeneratedSkillChanged();
    void isGeneratingSkillChanged();
    void skillGenerationStatusChanged();
    void skillGenerationErrorChanged();
    void runOutcomeChanged();
    void desktopProblemsChanged();

    // Requests to the desktop shell.
    void onboardingRequested();
    void revealFileRequested(const QString& path);
    void editorCloseRequested();
    // A run ended and its record was appended to the audit log.
    void runFinished(bool success);

private:
    void set(const TavrikState& state);
    void send(const QString& event, const QJsonObject& properties = {});
    void startHotkeysIfPossible();
    void synthesizeLastRecording();
    void finishGenerating(const Skill& skill, const QString& markdown);
    void failGenerating(const QString& message);
    void runViaAgent(const Skill& skill, const QMap<QString, QString>& parameters,
                     bool checkOnly = false);
    bool confirmDestructiveSteps(const Skill& skill);

    void setSkillPanelPhase(SkillPanelPhase phase);
    void setRunningLine(const QString& line);
    void setMicLevel(double level);
    void setPendingGeneratedSkill(const std::optional<Skill>& skill);
    void setGenerating(bool generating);
    void setGenerationStatus(const QString& status);
    void setGenerationError(const std::optional<QString>& error);
    void setRunOutcome(const std::optional<QString>& outcome);
    void setCreationStatus(const SkillCreationStatus& status);
    void showRunEnd(const Skill& skill, const QString& outcome);
    enum class DesktopPart { session, permissions, hotkeys, microphone };
    void notePermissions();
    // Empty `problem` clears what was said about that part.
    void setDesktopProblem(DesktopPart part, const QString& problem);

    AppServices m_services;
    QSettings* m_settings;
    QNetworkAccessManager* m_network;
    UpdateChecker* m_updateChecker;
    SkillStore m_store;
    LibraryWatcher* m_libraryWatcher;
    QTimer m_pollTimer;
    QTimer m_outcomeTimer;

    TavrikState m_state;
    QList<Skill> m_skills;
    SkillCreationStatus m_creationStatus;
    bool m_showCallSkillTip = false;
    bool m_tipsDismissed = false;
    bool m_paletteOpen = false;
    SkillPanelPhase m_skillPanelPhase = SkillPanelPhase::idle;
    QString m_runningLine;
    double m_micLevel = 0;
    QString m_pendingSkillMarkdown;
    std::optional<Skill> m_pendingGeneratedSkill;
    bool m_isGeneratingSkill = false;
    QString m_skillGenerationStatus;
    std::optional<QString> m_skillGenerationError;
    std::optional<QString> m_runOutcome;
    QHash<QUuid, QString> m_lastOutcomes;
    QMap<DesktopPart, QString> m_desktopProblems;

    // A counter for the generation in flight: answers for an older one are dropped.
    quint64 m_generation = 0;
    std::unique_ptr<SkillSynthesis::Task> m_generationTask;
    struct Demonstration {
        Recording recording;
        QString narration;
    };
    std::optional<Demonstration> m_lastRecording;
    QString m_generatedMarkdownSnapshot;
    std::optional<Skill> m_savedSkill;
    QPointer<AgentRunner> m_agentRunner;
    Skill m_runningSkill;
    bool m_runIsCheck = false;
    QDateTime m_runStartedAt;
};

} // namespace tavrik
