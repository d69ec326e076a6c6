#pragma once

#include <QString>
#include <optional>

namespace tavrik {

// How a skill is carried out: its recorded plan replayed on the desktop, its runtime block opened
// directly, or the agent runtime with a model. Stored as "replay", "runtime", "agent".
enum class CastMethod { replay, runtime, agent };

QString toString(CastMethod method);
std::optional<CastMethod> castMethodFromString(QStringView text);

} // namespace tavrik
