#include "Tavrik/CommandLine.h"
#include "Tavrik/Shell/DesktopApplication.h"
#include "TavrikCore/Support/SystemLog.h"

// No arguments starts the desktop application; anything else is the command line, which never
// needs a display. Both log to the system log.
int main(int argc, char** argv) {
    tavrik::SystemLog::install();
    if (argc == 1)
        return tavrik::runDesktopApplication(argc, argv);
    return tavrik::runCommandLine(argc, argv);
}
