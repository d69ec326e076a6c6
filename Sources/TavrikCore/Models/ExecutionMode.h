#pragma once

#include <QString>
#include <array>
#include <optional>

namespace tavrik {

// Every skill runs the same way; the field exists so that files can carry it.
enum class ExecutionMode { skill };

inline constexpr std::array kAllExecutionModes{ExecutionMode::skill};

inline QString toString(ExecutionMode) {
    return QStringLiteral("skill");
}
// Decoding from JSON accepts only "skill".
inline std::optional<ExecutionMode> executionModeFromString(QStringView text) {
    return text == u"skill" ? std::optional(ExecutionMode::skill) : std::nullopt;
}
// Whatever a hand-written file says, the mode is `skill`.
inline ExecutionMode parseExecutionMode(const std::optional<QString>&) {
    return ExecutionMode::skill;
}

} // namespace tavrik
