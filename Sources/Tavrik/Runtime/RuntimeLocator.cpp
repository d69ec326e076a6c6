#include "Tavrik/Runtime/RuntimeLocator.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace tavrik::RuntimeLocator {

namespace {
bool hasPackage(const QString& folder) {
    return QFileInfo(folder + QStringLiteral("/package.json")).isFile();
}
} // namespace

QString currentExecutable() {
    if (QCoreApplication::instance())
        return QCoreApplication::applicationFilePath();
    return QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget();
}

std::optional<QString> installedRuntime(const QString& executable) {
    if (executable.isEmpty())
        return std::nullopt;
    const QString folder =
        QDir::cleanPath(QFileInfo(executable).path() + QStringLiteral("/../share/tavrik/runtime"));
    const QFileInfo node(folder + QStringLiteral("/node"));
    if (node.isFile() && node.isExecutable() &&
        QFileInfo(folder + QStringLiteral("/dist/cli.js")).isFile())
        return folder;
    return std::nullopt;
}

std::optional<QString> developmentRuntime(const QString& executable) {
    if (qEnvironmentVariableIsSet("TAVRIK_RUNTIME_DIR")) {
        const QString named = qEnvironmentVariable("TAVRIK_RUNTIME_DIR");
        if (hasPackage(named))
            return QDir::cleanPath(QFileInfo(named).absoluteFilePath());
    }
    if (!executable.isEmpty()) {
        const QString beside =
            QDir::cleanPath(QFileInfo(executable).path() + QStringLiteral("/../runtime"));
        if (hasPackage(beside))
            return beside;
    }
    const QString desktop = QDir::homePath() + QStringLiteral("/Desktop/Tavrik/runtime");
    if (hasPackage(desktop))
        return desktop;
    return std::nullopt;
}

std::optional<QString> replayProgram(const QString& executable) {
    const QString given = qEnvironmentVariable("TAVRIK_EXECUTABLE");
    if (!given.isEmpty())
        return QFileInfo(given).isExecutable() ? std::optional<QString>(given) : std::nullopt;
    const QFileInfo self(executable);
    if (self.fileName() == QStringLiteral("tavrik") && self.isExecutable())
        return executable;
    const QFileInfo beside(self.path() + QStringLiteral("/tavrik"));
    if (!executable.isEmpty() && beside.isFile() && beside.isExecutable())
        return beside.filePath();
    const QString onPath = QStandardPaths::findExecutable(QStringLiteral("tavrik"));
    return onPath.isEmpty() ? std::nullopt : std::optional<QString>(onPath);
}

} // namespace tavrik::RuntimeLocator
