#include "Tavrik/Shell/AppShell.h"

#include "Tavrik/AppState.h"
#include "Tavrik/Editor/SkillEditorWindow.h"
#include "Tavrik/FloatingViews.h"
#include "Tavrik/MCP/MCPOAuth.h"
#include "Tavrik/MainWindow/MainWindow.h"
#include "Tavrik/MenuBar/TrayMenu.h"
#include "Tavrik/ModelSynthesis.h"
#include "Tavrik/Onboarding/OnboardingWindow.h"
#include "Tavrik/Overlay/OverlayController.h"
#include "Tavrik/Palette/PaletteWindow.h"
#include "Tavrik/Pill/PillController.h"
#include "Tavrik/Preferences/PreferencesWindow.h"
#include "TavrikCore/Hotkeys/HotkeyEngine.h"
#include "TavrikCore/Permissions/PermissionsManager.h"
#include "TavrikPlatform/DesktopSession.h"
#include "TavrikPlatform/Wayland/WaylandDesktop.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileInfo>
#include <QMenu>
#include <QUrl>

namespace tavrik {

AppShell::AppShell() : m_desktop(makeDesktopServices(this)) {
    m_desktop.services.synthesis = std::make_unique<ModelSynthesis>();
    m_app = new AppState(std::move(m_desktop.services), this);
    if (DesktopSession::current() == DesktopSession::Kind::wayland) {
        // Only what the user can add; what the compositor never offers stays in the log.
        const wayland::WaylandDesktop::Offer offer = wayland::WaylandDesktop::current();
        if (offer.gnome ? !offer.gnomeExtension : offer.sway)
            m_app->setSessionProblem(wayland::WaylandDesktop::missing(offer).join(u' '));
    }

    m_overlay = new OverlayController(this);
    m_tray = new TrayMenu(m_app, this);
    m_mainWindow = new MainWindow(m_app);
    m_views = new FloatingViews(m_app, this);

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
    connect(m_tray, &TrayMenu::preferencesRequested, this, &AppShell::showPreferences);
    connect(m_mainWindow, &MainWindow::preferencesRequested, this, &AppShell::showPreferences);
    connect(m_mainWindow, &MainWindow::quitRequested, qApp, &QApplication::quit,
            Qt::QueuedConnection);
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
    connect(m_mainWindow, &MainWindow::connectRequested, this,
            [this](const Skill& skill, const MCPServer& server) {
                auto* login = new MCPOAuth(server, skill.name, m_mainWindow);
                connect(login, &MCPOAuth::connected, m_mainWindow, &MainWindow::showSelected);
                login->show();
            });

    connect(m_views, &FloatingViews::mainWindowRequested, this, &AppShell::showMainWindow);

    // The pill is always there; its window exists from here on.
    m_views->showPill();
}

AppShell::~AppShell() {
    PaletteWindow::close();
    delete m_editor;
    delete m_onboarding;
    delete m_preferences;
    delete m_mainWindow;
}

PillController* AppShell::pill() const {
    return m_views->pill();
}

void AppShell::launch() {
    showMainWindow();
    m_views->showPill();
    if (m_tray->isAvailable())
        m_tray->show();
    if (OnboardingWindow::isNeeded(*m_desktop.permissions))
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

void AppShell::showPreferences() {
    if (!m_preferences) {
        m_preferences = new PreferencesWindow;
        m_preferences->setAttribute(Qt::WA_DeleteOnClose);
    }
    m_preferences->show();
    m_preferences->raise();
    m_preferences->activateWindow();
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
}

} // namespace tavrik
