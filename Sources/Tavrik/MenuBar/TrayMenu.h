#pragma once

#include <QObject>

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace tavrik {

class AppState;

// The icon in the desktop's notification area and its menu: the status, record, palette, the
// skills to cast, the main window and quit. Rebuilt from the state whenever it changes.
class TrayMenu : public QObject {
    Q_OBJECT
public:
    explicit TrayMenu(AppState* app, QObject* parent = nullptr);
    ~TrayMenu() override;

    // False when the desktop has no notification area; the main window is then the way in.
    bool isAvailable() const;
    void show();
    QMenu* menu() const { return m_menu; }

    // The tray icon drawn for a state: the mark alone, or with the recording dot.
    static QIcon icon(bool recording);

signals:
    void showMainWindowRequested();
    void preferencesRequested();
    void quitRequested();

private:
    void rebuild();

    AppState* m_app;
    QSystemTrayIcon* m_tray;
    QMenu* m_menu;
};

} // namespace tavrik
