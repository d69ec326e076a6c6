#pragma once

#include "TavrikCore/Permissions/PermissionBackend.h"

#include <QStringList>

namespace tavrik::linux_desktop {

// What the three permissions come down to on an X11 desktop:
// - screen recording: the X display answers and its root window can be read back;
// - input monitoring: the display offers the RECORD extension that global input is read from;
// - accessibility: the session's accessibility bus answers and org.a11y.Status IsEnabled is on
//   (toolkits export their trees only then). This one a program can turn on itself.
// Each check opens what it needs and closes it again, so a display or bus that comes back later
// is seen at the next poll.
class LinuxPermissionBackend final : public PermissionBackend {
public:
    PermissionStatus check(Permission permission) override;
    bool enable(Permission permission) override;
};

// Opens the desktop's accessibility settings with the first settings program found. X11 has
// nothing to grant for screen recording and input monitoring, so there is nothing to open.
bool openDesktopSettings(Permission permission);

// The settings programs tried for a permission, each as program and arguments.
QList<QStringList> settingsCommands(Permission permission);

} // namespace tavrik::linux_desktop
