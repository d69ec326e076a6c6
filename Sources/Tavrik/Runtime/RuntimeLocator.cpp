#include "Tavrik/Runtime/RuntimeLocator.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

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
    const QString folder = QDir::cleanPath(QFileInfo(executable).path() + QStringLiteral("/../share/tavrik/runtime"));
    const QFileInfo node(folder + QStringLiteral("/node"));
    if (node.isFile() && node.isExecutable() && QFileInfo(folder + QStringLiteral("/dist/cli.js")).isFile())
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
        const QString beside = QDir::cleanPath(QFileInfo(executable).path() + QStringLiteral("/../runtime"));
        if (hasPackage(beside))
            return beside;
    }
    const QString desktop = QDir::homePath() + QStringLiteral("/Desktop/Tavrik/runtime");
    if (hasPackage(desktop))
        return desktop;
    return std::nullopt;
}

} // namespace tavrik::RuntimeLocator
