#pragma once

#include <QPair>
#include <QString>
#include <optional>

// Keys as a person (or the model) writes them: "ctrl+shift+s", "Return", "Escape", "Down", "F5",
// "a". Modifier and key names are read in any case.
namespace tavrik::KeyChord {

// The key code and modifier flags (KeyCodes.h), or nothing for a name it does not know.
std::optional<QPair<quint16, quint64>> parse(const QString& keys);

} // namespace tavrik::KeyChord
