#include "Support/Desktop/DebianApp.h"

#include "DesktopDriver.h"
#include "TavrikCore/Replay/DesktopActor.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUrl>
#include <cmath>

namespace tavrik::test {

DebianApp::DebianApp(const QString& program, const QStringList& arguments, const QString& appID,
                     const Setup& setup)
    : m_appID(appID) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"),
                       m_home.filePath(QStringLiteral("config")));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), m_home.filePath(QStringLiteral("data")));
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), m_home.filePath(QStringLiteral("cache")));
    // Settings kept in memory: no dconf of the session leaks in, none is written.
    environment.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("memory"));
    for (const char* folder : {"config/gtk-3.0", "data", "cache"})
        QDir(m_home.path()).mkpath(QLatin1String(folder));
    // With no settings daemon on the display GTK reads its settings from here.
    if (setup.fontPoints > 0) {
        QFile settings(m_home.filePath(QStringLiteral("config/gtk-3.0/settings.ini")));
        if (settings.open(QIODevice::WriteOnly))
            settings.write("[Settings]\ngtk-font-name=Sans " +
                           QByteArray::number(setup.fontPoints) + '\n');
    }
    if (!setup.bookmarkFolder.isEmpty()) {
        QFile bookmarks(m_home.filePath(QStringLiteral("config/gtk-3.0/bookmarks")));
        if (bookmarks.open(QIODevice::WriteOnly))
            bookmarks.write(QUrl::fromLocalFile(setup.bookmarkFolder).toEncoded() + ' ' +
                            setup.bookmarkName.toUtf8() + '\n');
    }
    m_process.setProcessEnvironment(environment);
    if (!setup.folder.isEmpty())
        m_process.setWorkingDirectory(setup.folder);
    m_process.setProcessChannelMode(QProcess::ForwardedChannels);
    m_process.start(program, arguments);
}

DebianApp::~DebianApp() {
    m_process.terminate();
    if (!m_process.waitForFinished(3000)) {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
}

bool DebianApp::isInstalled(const QString& program) {
    return QFileInfo(program).isExecutable();
}

std::optional<LiveWindow> DebianApp::window(DesktopActor& actor, const QString& title,
                                            int timeoutMs) {
    std::optional<LiveWindow> found;
    waitUntil(
        [&] {
            for (const LiveWindow& w : actor.windows())
                if (w.appID == m_appID && w.title.contains(title) && w.frame.size.width > 0) {
                    found = w;
                    return true;
                }
            return false;
        },
        timeoutMs);
    return found;
}

bool DebianApp::place(const Rect& frame) {
    const auto xdotool = [](const QStringList& arguments) -> std::optional<QByteArray> {
        QProcess process;
        process.start(QStringLiteral("xdotool"), arguments);
        if (!process.waitForFinished(10000) || process.exitCode() != 0)
            return std::nullopt;
        return process.readAllStandardOutput();
    };
    const std::optional<QByteArray> windows =
        xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--pid"),
                 QString::number(m_process.processId())});
    if (!windows)
        return false;
    for (const QByteArray& id : windows->split('\n')) {
        if (id.trimmed().isEmpty())
            continue;
        const QString window = QString::fromLatin1(id.trimmed());
        if (!xdotool({QStringLiteral("windowsize"), window, QString::number(int(frame.size.width)),
                      QString::number(int(frame.size.height)), QStringLiteral("windowmove"), window,
                      QString::number(int(frame.origin.x)), QString::number(int(frame.origin.y))}))
            return false;
    }
    return true;
}

bool DebianApp::placeAndWait(DesktopActor& actor, const QString& title, const Rect& frame) {
    return place(frame) && waitUntil(
                               [&] {
                                   const std::optional<LiveWindow> w = window(actor, title, 2000);
                                   return w && std::abs(w->frame.origin.x - frame.origin.x) < 100 &&
                                          std::abs(w->frame.origin.y - frame.origin.y) < 100;
                               },
                               10000);
}

std::optional<QString> DebianApp::text(DesktopActor& actor, const LiveWindow& window,
                                       const QString& role) {
    for (const LiveElement& e : actor.elements(window, role, 2000))
        if (e.showing)
            return actor.text(e);
    return std::nullopt;
}

Point centre(const Rect& r) {
    return Point{r.origin.x + r.size.width / 2, r.origin.y + r.size.height / 2};
}

} // namespace tavrik::test
