#include "Tavrik/CommandLine.h"

#include "TavrikCore/Version.h"

#include <QCoreApplication>
#include <QTextStream>

namespace tavrik {

int runCommandLine(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTextStream(stdout) << "tavrik " << kVersion << "\n";
    return 0;
}

} // namespace tavrik
