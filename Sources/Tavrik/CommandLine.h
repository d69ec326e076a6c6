#pragma once

namespace tavrik {

// Handles the command line; starts the application when no command is given.
int runCommandLine(int argc, char** argv);

} // namespace tavrik
