#include "Tavrik/CommandLine.h"

int main(int argc, char** argv) {
    return tavrik::runCommandLine(argc, argv);
}
