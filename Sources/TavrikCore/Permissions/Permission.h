#pragma once

#include <QList>
#include <QString>
#include <optional>

namespace tavrik {

// The three things the desktop must allow. On X11 they mean: screenRecording, the display can be
// read back; accessibility, the desktop's accessibility support is on and its bus answers;
// inputMonitoring, global input events can be recorded (the X RECORD extension).
enum class Permission { screenRecording, accessibility, inputMonitoring };

enum class PermissionStatus { granted, denied, notDetermined };

namespace Permissions {

// In display order.
QList<Permission> all();
QString id(Permission permission); // "screenRecording", "accessibility", "inputMonitoring"
std::optional<Permission> fromID(const QString& id);
QString title(Permission permission);
QString rationale(Permission permission);
QString statusID(PermissionStatus status); // "granted", "denied", "notDetermined"

} // namespace Permissions

inline size_t qHash(Permission permission, size_t seed = 0) {
    return ::qHash(static_cast<int>(permission), seed);
}

} // namespace tavrik
