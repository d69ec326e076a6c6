#pragma once

#include "TavrikCore/Casting/ProcessStarter.h"

#include <QList>
#include <optional>

namespace tavrik::test {

// Starts no process: each launch is played back in the runtime's line protocol, one line per
// turn of the event loop, according to the name=value arguments it is given:
//   lines=a|b|c   print these lines        exit=N   end with status N (0 when absent)
//   hang=1        print the lines and "· waiting", then never end on its own
// A stopped run prints "✗ Terminated", as a runtime that catches the signal would, and ends.
class ScriptedRuntime final : public ProcessStarter {
public:
    Result<std::unique_ptr<RuntimeProcess>> start(const Launch& launch) override;

    // Every launch asked for, in order.
    QList<Launch> launches;
    // How many runs were stopped before they ended; shared, as a process may outlive its starter.
    std::shared_ptr<int> stops = std::make_shared<int>(0);
    // The next start fails with this line.
    std::optional<QString> failure;
};

} // namespace tavrik::test
