#pragma once

#include "Tavrik/Editor/SkillEditorWindow.h"
#include "Tavrik/Onboarding/OnboardingWindow.h"
#include "Tavrik/Shell/DesktopServices.h"

#include <QObject>
#include <QPointer>

namespace tavrik {

class AppState;
class HotkeyEngine;
class MainWindow;
class OverlayController;
class FloatingViews;
class PillController;
class PreferencesWindow;
class TrayMenu;

// Every window of the running application, kept in step with the application state: the tray
// menu, the main window, the pill with its skill panel, the palette, the recording frame,
// onboarding and the editor. Owns the state and its desktop services.
class AppShell : public QObject {
    Q_OBJECT
public:
    AppShell();
    ~AppShell() override;

    // What a launch does once: the main window, the pill, onboarding when something is missing,
    // the update check and the launch event.
    void launch();

    AppState* app() const { return m_app; }
    MainWindow* mainWindow() const { return m_mainWindow; }
    PillController* pill() const;
    OverlayController* overlay() const { return m_overlay; }
    TrayMenu* tray() const { return m_tray; }
    OnboardingWindow* onboarding() const { return m_onboarding; }
    HotkeyEngine* hotkeys() const { return m_desktop.hotkeys; }

    void showMainWindow();
    void showOnboarding();
    void showPreferences();
    void editDraft();
    void editSkill(const Skill& skill);

private:
    void stateChanged();

    DesktopServices m_desktop;
    AppState* m_app;
    MainWindow* m_mainWindow;
    FloatingViews* m_views;
    OverlayController* m_overlay;
    TrayMenu* m_tray;
    QPointer<OnboardingWindow> m_onboarding;
    QPointer<SkillEditorWindow> m_editor;
    QPointer<PreferencesWindow> m_preferences;
};

} // namespace tavrik
