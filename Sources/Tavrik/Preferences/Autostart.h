#pragma once

#include "TavrikCore/Support/Result.h"

#include <QString>

// "Start Tavrik at login": an XDG autostart entry, $XDG_CONFIG_HOME/autostart/tavrik.desktop,
// which the desktop reads at login. Its presence is the setting; nothing else remembers it.
namespace tavrik::Autostart {

QString entryPath();
bool isEnabled();
// Writes the entry (starting `program`) or removes it.
Result<> setEnabled(bool enabled, const QString& program);

} // namespace tavrik::Autostart
