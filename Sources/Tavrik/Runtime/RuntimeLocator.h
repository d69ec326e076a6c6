#pragma once

#include <QString>
#include <optional>

// Where the agent runtime lives. An installed runtime (its own "node" and a built dist/cli.js
// under <prefix>/share/tavrik/runtime) wins over a development checkout (a folder with
// package.json, run through npx tsx).
namespace tavrik::RuntimeLocator {

QString currentExecutable();

// <prefix>/share/tavrik/runtime, where <prefix> is the folder above the executable's folder.
std::optional<QString> installedRuntime(const QString& executable = currentExecutable());
// TAVRIK_RUNTIME_DIR, then "runtime" two levels above the executable (the source tree, as the
// build puts tavrik at the top of its build folder), then ~/Desktop/Tavrik/runtime.
std::optional<QString> developmentRuntime(const QString& executable = currentExecutable());

// The tavrik program, which replays recorded plans in a process of its own: TAVRIK_EXECUTABLE,
// else this program when it is tavrik, else tavrik beside it or on the PATH.
std::optional<QString> replayProgram(const QString& executable = currentExecutable());

} // namespace tavrik::RuntimeLocator
