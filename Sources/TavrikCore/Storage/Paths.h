#pragma once

#include "TavrikCore/Support/Result.h"

#include <QString>
#include <QUuid>

// The program's well-known folders: $XDG_DATA_HOME/Tavrik (default ~/.local/share/Tavrik) with
// "recordings", "skills" and "logs". Recomputed on every call so tests can move XDG_DATA_HOME.
namespace tavrik::Paths {

inline constexpr const char* appName = "Tavrik";

QString support();
QString recordings();
QString skills();
QString logs();
QString recording(const QUuid& id);
QString skill(const QUuid& id);

// Creates support, recordings, skills and logs in that order; the first failure is returned as
// a message, nothing when all exist.
Result<> ensureDirectories();

} // namespace tavrik::Paths
