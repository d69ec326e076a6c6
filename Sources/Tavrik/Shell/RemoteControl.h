#pragma once

#include <QObject>
#include <QStringList>
#include <functional>

namespace tavrik {

class AppState;

// The running application on the session bus, so a desktop's own custom shortcuts (or any
// script) can drive it where a program cannot grab keys for itself. Service and interface are
// Tavrik's application id; `tavrik record`, `tavrik palette` and `tavrik cast … --in-app` call it.
//
//   service   app.tavrik.Tavrik      object /app/tavrik/Tavrik      interface app.tavrik.Tavrik
//   activate()                      shows the main window
//   toggleRecording()               starts a recording, or stops the one under way
//   openPalette()                   opens the palette
//   cast(s ref, as assignments) → s casts a skill (id, slash command or folder) with NAME=VALUE
//                                   parameters as the palette does; returns "" when the cast
//                                   started, else why not, in one line
class RemoteControl : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.tavrik.Tavrik")
public:
    static constexpr const char* service = "app.tavrik.Tavrik";
    static constexpr const char* path = "/app/tavrik/Tavrik";
    static constexpr const char* interface = "app.tavrik.Tavrik";

    RemoteControl(AppState* app, std::function<void()> showMainWindow, QObject* parent = nullptr);
    // Takes the service name and exports this object; false when there is no session bus or
    // another instance holds the name.
    bool registerOnSessionBus();

public slots:
    Q_SCRIPTABLE void activate();
    Q_SCRIPTABLE void toggleRecording();
    Q_SCRIPTABLE void openPalette();
    Q_SCRIPTABLE QString cast(const QString& ref, const QStringList& assignments);

private:
    AppState* m_app;
    std::function<void()> m_showMainWindow;
};

} // namespace tavrik
