#pragma once

#include "TavrikPlatform/AtSpi/WindowDirectory.h"

#include <QHash>
#include <QString>
#include <optional>

struct _XDisplay; // NOLINT(bugprone-reserved-identifier): Xlib's name

namespace tavrik::atspi {

// Reads window-manager state from X: which client window is on top at a point, which one is
// active, and their owners. Only X properties are read, so a hung application cannot stall it.
// One connection of its own; use from one thread.
class ClientWindows final : public WindowDirectory {
public:
    ClientWindows();
    ~ClientWindows() override;
    ClientWindows(const ClientWindows&) = delete;
    ClientWindows& operator=(const ClientWindows&) = delete;

    bool isOpen() const override { return m_display != nullptr; }

    std::optional<ClientWindow> topmostAt(Point point) override;
    std::optional<ClientWindow> active() override;
    // The mapped client windows, the top of the stack first.
    QList<ClientWindow> clients() override;
    // Asks the window manager to activate the window and waits, at most `timeoutMs`, until it is
    // the active one.
    bool activate(unsigned long window, int timeoutMs) override;

    // The Name of the application's desktop entry, else the WM_CLASS class.
    QString appName(const ClientWindow& window) override;

private:
    // A menu, a drop-down list or another pop-up of an application at the point: such windows
    // bypass the window manager, so its list of clients never holds them.
    std::optional<ClientWindow> popupAt(Point point);
    // Position and decorations only: cheap enough to ask of every window in the stack.
    std::optional<ClientWindow> geometry(unsigned long window);
    std::optional<ClientWindow> describe(unsigned long window);

    // The GTK application id of another window of the same process: a GTK application's dialogs
    // carry only its WM_CLASS, which names it differently from its main window.
    QString applicationIDOfProcess(qint64 pid);

    _XDisplay* m_display = nullptr;
    QHash<QString, QString> m_desktopNames;
    QHash<qint64, QString> m_applicationIDs;
};

} // namespace tavrik::atspi
