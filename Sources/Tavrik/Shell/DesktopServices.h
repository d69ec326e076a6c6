#pragma once

#include "Tavrik/AppServices.h"

class QWidget;

namespace tavrik {

class HotkeyEngine;
class NarrationRecorder;
class PermissionsManager;

// The application state's services backed by this session's desktop. The concrete services stay
// reachable for the windows that show more of them (onboarding lists each permission).
struct DesktopServices {
    AppServices services;
    PermissionsManager* permissions = nullptr;
    HotkeyEngine* hotkeys = nullptr;
};

// Builds them for the running QApplication; `owner` keeps the Qt objects among them.
DesktopServices makeDesktopServices(QObject* owner);

// Questions asked as modal message boxes, brought to the front first.
class DialogQuestions final : public Questions {
public:
    int ask(const Question& question) override;
    std::optional<QString> askSecret(const QString& message, const QString& fieldLabel) override;
};

} // namespace tavrik
