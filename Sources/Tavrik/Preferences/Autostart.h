#pragma once

#include <QString>
#include <optional>

// "Start Tavrik at login": an XDG autostart entry, $XDG_CONFIG_HOME/autostart/tavrik.desktop,
// which the desktop reads at login. Its presence is the setting; nothing else remembers it.
namespace tavrik::Autostart {

QString entryPath();
bool isEnabled();
// Writes the entry (starting `program`) or removes it. The error's text, or nothing.
std::optional<QString> setEnabled(bool enabled, const QString& program);

} // namespace tavrik::Autostart
