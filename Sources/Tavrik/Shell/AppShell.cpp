#include "Tavrik/Shell/AppShell.h"

#include "Tavrik/AppState.h"
#include "Tavrik/Editor/SkillEditorWindow.h"
#include "Tavrik/MainWindow/MainWindow.h"
#include "Tavrik/MenuBar/TrayMenu.h"
#include "Tavrik/ModelSynthesis.h"
#include "Tavrik/Onboarding/OnboardingWindow.h"
#include "Tavrik/Overlay/OverlayController.h"
#include "Tavrik/Palette/PaletteWindow.h"
#include "Tavrik/Pill/PillController.h"
#include "Tavrik/Pill/PillWindow.h"
#include "Tavrik/Pill/SkillPanel.h"
#include "TavrikCore/Hotkeys/HotkeyEngine.h"
#include "TavrikCore/Permissions/PermissionsManager.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileInfo>
#include <QMenu>
#include <QUrl>

namespace tavrik {

AppShell::AppShell() : m_desktop(makeDesktopServices(this)) {
    m_desktop.services.synthesis = std::make_unique<ModelSynthesis>();
    m_app = new AppState(std::move(m_desktop.services), this);

    m_overlay = new OverlayController(this);
    m_tray = new TrayMenu(m_app, this);
    m_mainWindow = new MainWindow(m_app);
    m_pill = new PillController(this);

    connect(m_desktop.hotkeys, &HotkeyEngine::triggered, m_app, [this](HotkeyEngine::Event event) {
        switch (event) {
        case HotkeyEngine::Event::toggleRecording:
            m_app->handleHotkey(AppState::Hotkey::toggleRecording);
            break;
        case HotkeyEngine::Event::openPalette:
            m_app->handleHotkey(AppState::Hotkey::openPalette);
            break;
        case HotkeyEngine::Event::panic:
            m_app->handleHotkey(AppState::Hotkey::panic);
            break;
        }
    });
    connect(m_app, &AppState::stateChanged, this, &AppShell::stateChanged);
    connect(m_app, &AppState::onboardingRequested, this, &AppShell::showOnboarding);
    connect(m_app, &AppState::revealFileRequested, this, [](const QString& path) {
        QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).absolutePath()));
    });
    connect(m_tray, &TrayMenu::showMainWindowRequested, this, &AppShell::showMainWindow);
    connect(m_tray, &TrayMenu::quitRequested, qApp, &QApplication::quit);
    connect(m_tray->menu(), &QMenu::aboutToShow, this, [this] {
        // The draft can be opened in the roomier editor while the panel shows it.
        if (!m_app->hasPendingGeneratedSkill())
            return;
        QAction* first = m_tray->menu()->actions().value(1);
        if (first && first->objectName() == QStringLiteral("editDraft"))
            return;
        auto* edit = new QAction(QStringLiteral("Edit Skill Draft…"), m_tray->menu());
        edit->setObjectName(QStringLiteral("editDraft"));
        connect(edit, &QAction::triggered, this, &AppShell::editDraft);
        m_tray->menu()->insertAction(first, edit);
    });
    connect(m_mainWindow, &MainWindow::editRequested, this, &AppShell::editSkill);

    bindPill();
    bindPalette();
}

AppShell::~AppShell() {
    PaletteWindow::close();
    delete m_editor;
    delete m_onboarding;
    delete m_mainWindow;
}

void AppShell::launch() {
    showMainWindow();
    m_pill->show();
    syncPill();
    if (m_tray->isAvailable())
        m_tray->show();
    if (!m_desktop.permissions->allGranted())
        showOnboarding();
    m_app->applicationLaunched();
}

void AppShell::showMainWindow() {
    m_mainWindow->show();
    m_mainWindow->raise();
    m_mainWindow->activateWindow();
}

void AppShell::showOnboarding() {
    if (!m_onboarding) {
        m_onboarding = new OnboardingWindow(m_desktop.permissions);
        m_onboarding->setAttribute(Qt::WA_DeleteOnClose);
    }
    m_onboarding->show();
    m_onboarding->raise();
    m_onboarding->activateWindow();
}

void AppShell::editDraft() {
    if (!m_app->hasPendingGeneratedSkill())
        return;
    if (m_editor && !m_editor->editsDraft())
        m_editor->close();
    if (!m_editor)
        m_editor = new SkillEditorWindow(m_app);
    m_editor->show();
    m_editor->raise();
    m_editor->activateWindow();
}

void AppShell::editSkill(const Skill& skill) {
    if (m_editor)
        m_editor->close();
    m_editor = new SkillEditorWindow(m_app, skill);
    m_editor->show();
    m_editor->raise();
    m_editor->activateWindow();
}

void AppShell::stateChanged() {
    const TavrikState& state = m_app->state();
    m_overlay->setCasting(state.isCasting());
    m_overlay->setVisible(state.showsOverlay());
    syncPill();
}

// ---------------------------------------------------------------------------------------------
// The pill and its skill panel read the state and call its operations.

void AppShell::bindPill() {
    // The pill is always there; its window exists from here on.
    m_pill->show();
    PillWindow* window = m_pill->window();
    SkillPanel* panel = window->skillPanel();

    connect(window, &PillWindow::recordClicked, m_app, [this] {
        if (m_app->state().kind() == TavrikState::Kind::recording)
            m_app->stopRecording();
        else
            m_app->toggleRecording();
    });
    connect(window, &PillWindow::paletteClicked, m_app, &AppState::openPalette);
    connect(window, &PillWindow::dismissTipsClicked, m_app, &AppState::dismissTips);
    connect(panel, &SkillPanel::saveClicked, m_app, &AppState::saveGeneratedSkill);
    connect(panel, &SkillPanel::runClicked, m_app, &AppState::runPendingSkill);
    connect(panel, &SkillPanel::discardClicked, m_app, &AppState::discardGeneratedSkill);
    connect(panel, &SkillPanel::closeClicked, m_app, &AppState::closeSkillPanel);
    connect(panel, &SkillPanel::markdownEdited, m_app, [this](const QString& markdown) {
        m_app->setPendingSkillMarkdown(markdown);
        m_app->applyMarkdownEdits();
    });

    for (auto signal : {&AppState::tipsChanged, &AppState::skillGenerationStatusChanged,
                        &AppState::pendingSkillMarkdownChanged, &AppState::pendingGeneratedSkillChanged,
                        &AppState::runningLineChanged, &AppState::runOutcomeChanged,
                        &AppState::skillGenerationErrorChanged, &AppState::micLevelChanged})
        connect(m_app, signal, this, &AppShell::syncPill);
    connect(m_app, &AppState::skillPanelPhaseChanged, this, &AppShell::syncPill);
}

void AppShell::syncPill() {
    PillWindow* window = m_pill->window();
    if (!window)
        return;
    SkillPanel* panel = window->skillPanel();
    m_pill->setPhase(m_app->skillPanelPhase());
    m_pill->setHasTip(m_app->hasPillTip());
    window->setTip(m_app->pillTip());
    window->setStatusTitle(m_app->statusTitle());
    window->setRecording(m_app->state().kind() == TavrikState::Kind::recording);
    window->setMicLevel(m_app->micLevel());
    panel->setStatus(m_app->skillGenerationStatus());
    if (panel->markdown() != m_app->pendingSkillMarkdown())
        panel->setMarkdown(m_app->pendingSkillMarkdown());
    if (const std::optional<Skill>& draft = m_app->pendingGeneratedSkill())
        panel->setSkillName(draft->name, draft->slashCommand());
    panel->setRunningLine(m_app->runningLine());
    panel->setOutcome(m_app->runOutcome());
    panel->setError(m_app->skillGenerationError());
}

void AppShell::bindPalette() {
    connect(m_app, &AppState::paletteOpenChanged, this, [this](bool open) {
        if (!open)
            return;
        m_pill->hideForPalette();
        PaletteWindow::Callbacks callbacks;
        callbacks.onRun = [app = QPointer(m_app)](const Skill& skill, const QMap<QString, QString>& parameters) {
            if (app)
                app->cast(skill, parameters);
        };
        callbacks.onRecord = [app = QPointer(m_app)](PaletteModel::RecordAction action) {
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
        callbacks.onClosed = [this, app = QPointer(m_app)] {
            m_pill->restore();
            if (app)
                app->closePalette();
        };
        PaletteWindow::show(m_app->skills(), m_app->state(), std::move(callbacks));
    });
}

} // namespace tavrik
