#pragma once

#include "TavrikCore/Casting/RuntimeProcess.h"
#include "TavrikCore/Support/Result.h"

#include <QStringList>
#include <memory>

namespace tavrik {

// Starts the process a run speaks to. The application starts real children; tests give a
// starter that plays the line protocol back without one.
class ProcessStarter {
public:
    struct Launch {
        // `tavrik replay` for a recorded plan, else the agent runtime.
        bool replays = false;
        QString skillFolder;
        // After the skill folder: flags, then name=value pairs.
        QStringList arguments;
        // Written to the standard input, which is then closed.
        QByteArray input;
    };

    virtual ~ProcessStarter() = default;
    // The running process, or the line telling the user why none started.
    virtual Result<std::unique_ptr<RuntimeProcess>> start(const Launch& launch) = 0;
};

} // namespace tavrik
