#include "Tavrik/Shell/DesktopApplication.h"

#include "Tavrik/CommandLine.h"
#include "Tavrik/Shell/AppShell.h"
#include "Tavrik/Shell/RemoteControl.h"
#include "Tavrik/Shell/SingleInstance.h"
#include "TavrikCore/Version.h"
#include "TavrikPlatform/DesktopSession.h"

#include <QApplication>
#include <QDebug>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStyleFactory>
#include <cstdio>
#include <vector>

namespace tavrik {

std::optional<QString> missingDisplayReason(const QStringList& arguments) {
    // Qt's own -platform and -display options come before the environment, as in Qt.
    const QString platform = toolkitOptionValue(arguments, u"-platform")
                                 .value_or(qEnvironmentVariable("QT_QPA_PLATFORM"))
                                 .section(u':', 0, 0);
    if (!platform.isEmpty() && platform != QStringLiteral("xcb"))
        return std::nullopt; // someone chose another platform on purpose (offscreen in tests)
    const QString display =
        toolkitOptionValue(arguments, u"-display").value_or(qEnvironmentVariable("DISPLAY"));
    if (display.isEmpty())
        return QStringLiteral("DISPLAY is not set; the desktop application needs an X11 session");
    // A local display has its socket in /tmp/.X11-unix; remote ones are left to Qt to reach.
    static const QRegularExpression local(QStringLiteral("^(?:unix)?:(\\d+)(?:\\.\\d+)?$"));
    const QRegularExpressionMatch match = local.match(display);
    if (match.hasMatch() &&
        !QFileInfo::exists(QStringLiteral("/tmp/.X11-unix/X") + match.captured(1)))
        return QStringLiteral("nothing answers on DISPLAY %1").arg(display);
    return std::nullopt;
}

int runDesktopApplication(int argc, char** argv) {
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    if (std::optional<QString> reason = missingDisplayReason(arguments)) {
        std::fprintf(stderr,
                     "tavrik: no display (%s). Commands such as tavrik --help work without one.\n",
                     qPrintable(*reason));
        return 1;
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
    // Said once at start, where the log shows it, rather than failing quietly later.
    if (const QString limits = DesktopSession::limitations(DesktopSession::current());
        !limits.isEmpty())
        qWarning().noquote() << limits;

    // QApplication keeps pointers into these for its whole life.
    const QStringList forQt = toolkitArguments(arguments);
    std::vector<QByteArray> qtArguments{QByteArray(argv[0])};
    qtArguments.reserve(forQt.size() + 1);
    for (const QString& argument : forQt)
        qtArguments.push_back(argument.toLocal8Bit());
    std::vector<char*> qtArgv;
    qtArgv.reserve(qtArguments.size() + 1);
    for (QByteArray& argument : qtArguments)
        qtArgv.push_back(argument.data());
    qtArgv.push_back(nullptr);
    int qtArgc = int(qtArguments.size());
    QApplication application(qtArgc, qtArgv.data());
    QApplication::setOrganizationName(QStringLiteral("Tavrik"));
    QApplication::setApplicationName(QStringLiteral("Tavrik"));
    QApplication::setApplicationDisplayName(QStringLiteral("Tavrik"));
    QApplication::setApplicationVersion(QString::fromLatin1(kVersion));
    // Matches the installed desktop entry, so launchers and docks group the windows under it.
    QApplication::setDesktopFileName(QStringLiteral("app.tavrik.Tavrik"));
    // The program lives in the tray and the pill; closing its windows does not end it.
    QApplication::setQuitOnLastWindowClosed(false);
    if (!toolkitOptionValue(arguments, u"-style"))
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));

    SingleInstance instance;
    if (instance.handOverToRunning())
        return 0; // the running one shows its window
    instance.listen();

    AppShell shell;
    QObject::connect(&instance, &SingleInstance::reopenRequested, &shell,
                     &AppShell::showMainWindow);
    RemoteControl remote(shell.app(), [&shell] { shell.showMainWindow(); });
    if (!remote.registerOnSessionBus())
        qInfo("Tavrik: not on the session bus; tavrik record, palette and cast --in-app cannot "
              "reach it");
    shell.launch();
    return application.exec();
}

} // namespace tavrik
