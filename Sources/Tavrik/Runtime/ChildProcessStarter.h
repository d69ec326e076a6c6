#pragma once

#include "TavrikCore/Casting/ProcessStarter.h"

namespace tavrik {

// Starts runs as real child processes, each the leader of its own process group: `tavrik replay`
// for replays, else the installed runtime, else a development checkout through npx tsx. The
// child's environment carries the analytics identity and the direct-skill browser choice.
class ChildProcessStarter final : public ProcessStarter {
public:
    Result<std::unique_ptr<RuntimeProcess>> start(const Launch& launch) override;
};

} // namespace tavrik
