#include "Tavrik/Preferences/Autostart.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace tavrik::Autostart {

QString entryPath() {
    return QDir(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation))
        .filePath(QStringLiteral("autostart/tavrik.desktop"));
}

bool isEnabled() {
    return QFile::exists(entryPath());
}

Result<> setEnabled(bool enabled, const QString& program) {
    const QString path = entryPath();
    if (!enabled) {
        if (QFile::exists(path) && !QFile::remove(path))
            return Failure{QStringLiteral("%1 could not be removed").arg(path)};
        return {};
    }
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return Failure{QStringLiteral("%1 could not be made").arg(QFileInfo(path).absolutePath())};
    // Exec quoting: a path with spaces or quotes stays one argument.
    QString exec = program;
    exec.replace(u'\\', QStringLiteral("\\\\"))
        .replace(u'"', QStringLiteral("\\\""))
        .replace(u'`', QStringLiteral("\\`"))
        .replace(u'$', QStringLiteral("\\$"));
    const QString entry =
        QStringLiteral("[Desktop Entry]\n"
                       "Type=Application\n"
                       "Name=Tavrik\n"
                       "Comment=Learns a desktop task by watching you do it once\n"
                       "Exec=\"%1\"\n"
                       "Icon=tavrik\n"
                       "Terminal=false\n"
                       "X-GNOME-Autostart-enabled=true\n")
            .arg(exec);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(entry.toUtf8()) < 0 || !file.commit())
        return Failure{QStringLiteral("%1 could not be written: %2").arg(path, file.errorString())};
    return {};
}

} // namespace tavrik::Autostart
