#pragma once

#include "TavrikCore/Models/Rect.h"
#include "TavrikCore/Replay/LiveElement.h"

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <optional>

namespace tavrik {
class DesktopActor;
} // namespace tavrik

namespace tavrik::test {

// An application from Debian's archive on the test display, with settings and data folders of its
// own so that nothing a person's session left behind (or an earlier test) changes what it shows.
class DebianApp {
public:
    // What a person may have set differently, written into the application's own config folder.
    struct Setup {
        // GTK's interface font size in points; 0 leaves the toolkit's own.
        int fontPoints = 0;
        // Where it starts (a file chooser's first folder); empty: here.
        QString folder;
        // A folder its file chooser lists among the places in its sidebar, under this name.
        QString bookmarkFolder;
        QString bookmarkName;
    };

    DebianApp(const QString& program, const QStringList& arguments, const QString& appID,
              const Setup& setup);
    ~DebianApp();

    static bool isInstalled(const QString& program);

    // Waits up to `timeoutMs` for a showing window of the application whose title holds `title`.
    std::optional<LiveWindow> window(DesktopActor& actor, const QString& title, int timeoutMs);
    // Moves and resizes its windows through the window manager, as a person drags them.
    bool place(const Rect& frame);
    // Places the window titled `title` at `frame` and waits until the desktop shows it there.
    bool placeAndWait(DesktopActor& actor, const QString& title, const Rect& frame);
    // The text of the first showing element of `role` in `window`.
    std::optional<QString> text(DesktopActor& actor, const LiveWindow& window, const QString& role);

private:
    QTemporaryDir m_home;
    QProcess m_process;
    QString m_appID;
};

Point centre(const Rect& r);

} // namespace tavrik::test
