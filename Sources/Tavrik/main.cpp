#include "Tavrik/CommandLine.h"
#include "Tavrik/Shell/DesktopApplication.h"
#include "TavrikCore/Support/SystemLog.h"

// No arguments (or only Qt's own options) starts the desktop application; anything else is the
// command line, which never needs a display. Both log to the system log.
int main(int argc, char** argv) {
    tavrik::SystemLog::install();
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    if (tavrik::startsDesktopApplication(arguments))
        return tavrik::runDesktopApplication(argc, argv);
    return tavrik::runCommandLine(argc, argv);
}
