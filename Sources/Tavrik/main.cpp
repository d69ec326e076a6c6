#include "Tavrik/CommandLine.h"
#include "Tavrik/Shell/DesktopApplication.h"

// No arguments starts the desktop application; anything else is the command line, which never
// needs a display.
int main(int argc, char** argv) {
    if (argc == 1)
        return tavrik::runDesktopApplication(argc, argv);
    return tavrik::runCommandLine(argc, argv);
}
