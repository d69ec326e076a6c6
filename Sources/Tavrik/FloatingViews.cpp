#include "Tavrik/FloatingViews.h"

#include "Tavrik/AppState.h"
#include "Tavrik/Palette/PaletteView.h"
#include "Tavrik/Palette/PaletteWindow.h"
#include "Tavrik/Pill/PillController.h"
#include "Tavrik/Pill/PillWindow.h"
#include "Tavrik/Pill/SkillPanel.h"
#include "TavrikCore/Update/UpdateChecker.h"

#include <QDesktopServices>

namespace tavrik {

FloatingViews::FloatingViews(AppState* app, QObject* parent) : QObject(parent), m_app(app) {
    connect(app, &AppState::paletteOpenChanged, this, [this](bool open) {
        if (open)
            openPalette();
    });
    // An open palette follows the library too (folders changed on disk while it is up).
    connect(app, &AppState::skillsChanged, this, [this] {
        if (m_palette && m_app)
            m_palette->setSkills(m_app->skills());
    });
}

FloatingViews::~FloatingViews() {
    delete m_pill;
    delete m_palette;
}

void FloatingViews::openPalette() {
    if (!m_app)
        return;
    if (m_pill)
        m_pill->hideForPalette();
    QPointer<AppState> app = m_app;
    PaletteWindow::Callbacks callbacks;
    callbacks.onRun = [app](const Skill& skill, const QMap<QString, QString>& parameters) {
        if (app)
            app->cast(skill, parameters);
    };
    callbacks.onRecord = [app](PaletteModel::RecordAction action) {
        if (!app)
            return;
        switch (action) {
        case PaletteModel::RecordAction::start:
            app->startRecording();
            break;
        case PaletteModel::RecordAction::stop:
            app->stopRecording();
            break;
        case PaletteModel::RecordAction::replaceDraft:
            app->closeSkillPanel();
            app->startRecording();
            break;
        case PaletteModel::RecordAction::none:
            break;
        }
    };
    callbacks.onClosed = [this, app] {
        if (m_pill)
            m_pill->restore();
        if (app)
            app->closePalette();
    };
    m_palette = PaletteWindow::show(m_app->skills(), m_app->state(), std::move(callbacks));
}

void FloatingViews::showPill() {
    if (m_pill || !m_app)
        return;
    m_pill = new PillController;
    m_pill->show();
    PillWindow* window = m_pill->window();
    SkillPanel* panel = window->skillPanel();
    AppState* app = m_app;

    connect(app, &AppState::skillPanelPhaseChanged, this, [this] { syncPill(); });
    connect(app, &AppState::stateChanged, this, [this] { syncPill(); });
    connect(app, &AppState::tipsChanged, this, [this] { syncPill(); });
    connect(app, &AppState::skillsChanged, this, [this] { syncPill(); });
    connect(app, &AppState::desktopProblemsChanged, this, [this] { syncPill(); });
    connect(app, &AppState::micLevelChanged, window,
            [window, app] { window->setMicLevel(app->micLevel()); });
    connect(app, &AppState::pendingSkillMarkdownChanged, this, [this] { syncPanelText(); });
    connect(app, &AppState::pendingGeneratedSkillChanged, this, [this] { syncPanelText(); });
    connect(app, &AppState::skillGenerationStatusChanged, this, [this] { syncPanelText(); });
    connect(app, &AppState::skillGenerationErrorChanged, this, [this] { syncPanelText(); });
    connect(app, &AppState::runningLineChanged, panel,
            [panel, app] { panel->setRunningLine(app->runningLine()); });
    connect(app, &AppState::runOutcomeChanged, panel,
            [panel, app] { panel->setOutcome(app->runOutcome()); });

    connect(panel, &SkillPanel::saveClicked, app, &AppState::saveGeneratedSkill);
    connect(panel, &SkillPanel::runClicked, app, &AppState::runPendingSkill);
    connect(panel, &SkillPanel::discardClicked, app, &AppState::discardGeneratedSkill);
    connect(panel, &SkillPanel::closeClicked, app, &AppState::closeSkillPanel);
    connect(panel, &SkillPanel::retryClicked, app, &AppState::retrySynthesis);
    connect(panel, &SkillPanel::markdownEdited, app, [app](const QString& markdown) {
        app->setPendingSkillMarkdown(markdown);
        app->applyMarkdownEdits();
    });
    connect(window, &PillWindow::recordClicked, app, &AppState::toggleRecording);
    connect(window, &PillWindow::paletteClicked, app, &AppState::openPalette);
    connect(window, &PillWindow::openClicked, this, &FloatingViews::mainWindowRequested);
    connect(window, &PillWindow::dismissTipsClicked, app, &AppState::dismissTips);

    if (UpdateChecker* updates = app->updateChecker()) {
        auto offer = [window, updates] {
            window->setUpdateOffer(updates->available() ? updates->available()->version
                                                        : QString());
        };
        connect(updates, &UpdateChecker::availableChanged, window, offer);
        connect(window, &PillWindow::updateDownloadClicked, updates, [updates] {
            if (updates->available())
                QDesktopServices::openUrl(updates->available()->downloadURL);
        });
        connect(window, &PillWindow::updateLaterClicked, updates, &UpdateChecker::dismiss);
        offer();
    }

    syncPill();
    syncPanelText();
}

void FloatingViews::syncPill() {
    if (!m_pill || !m_app)
        return;
    PillWindow* window = m_pill->window();
    // The phase first: entering a run clears the previous run's lines.
    m_pill->setPhase(m_app->skillPanelPhase());
    // A cast from the palette names its skill too, not only a run of the draft.
    const TavrikState& state = m_app->state();
    if (state.isCasting() && window->skillPanel()->skillName() != state.castingSkill())
        window->skillPanel()->setSkillName(state.castingSkill());
    window->skillPanel()->setRunningLine(m_app->runningLine());
    window->skillPanel()->setOutcome(m_app->runOutcome());
    window->skillPanel()->setRetryAvailable(m_app->canRetrySynthesis());
    m_pill->setHasTip(m_app->hasPillTip());
    window->setTip(m_app->pillTip());
    window->setRecording(m_app->state().kind() == TavrikState::Kind::recording);
    window->setStatusTitle(m_app->statusTitle());
    window->setMicLevel(m_app->micLevel());
    window->setProblems(m_app->desktopProblems());
}

void FloatingViews::syncPanelText() {
    if (!m_pill || !m_app)
        return;
    SkillPanel* panel = m_pill->window()->skillPanel();
    panel->setStatus(m_app->skillGenerationStatus());
    panel->setError(m_app->skillGenerationError());
    panel->setRetryAvailable(m_app->canRetrySynthesis());
    if (const std::optional<Skill>& skill = m_app->pendingGeneratedSkill())
        panel->setSkillName(skill->name, skill->slashCommand());
    panel->setMarkdown(m_app->pendingSkillMarkdown());
}

} // namespace tavrik
