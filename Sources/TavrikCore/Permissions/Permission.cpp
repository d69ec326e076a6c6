#include "TavrikCore/Permissions/Permission.h"

namespace tavrik::Permissions {

QList<Permission> all() {
    return {Permission::screenRecording, Permission::accessibility, Permission::inputMonitoring};
}

QString id(Permission permission) {
    switch (permission) {
    case Permission::screenRecording:
        return QStringLiteral("screenRecording");
    case Permission::accessibility:
        return QStringLiteral("accessibility");
    case Permission::inputMonitoring:
        return QStringLiteral("inputMonitoring");
    }
    return {};
}

std::optional<Permission> fromID(const QString& text) {
    for (Permission p : all()) {
        if (id(p) == text) {
            return p;
        }
    }
    return std::nullopt;
}

QString title(Permission permission) {
    switch (permission) {
    case Permission::screenRecording:
        return QStringLiteral("Screen Recording");
    case Permission::accessibility:
        return QStringLiteral("Accessibility");
    case Permission::inputMonitoring:
        return QStringLiteral("Input Monitoring");
    }
    return {};
}

QString rationale(Permission permission) {
    switch (permission) {
    case Permission::screenRecording:
        return QStringLiteral("Capture frames of what you're doing so a skill can see the screen.");
    case Permission::accessibility:
        return QStringLiteral(
            "Read the element under your cursor and click & type on your behalf when casting.");
    case Permission::inputMonitoring:
        return QString::fromUtf8("Watch global hotkeys (\u2303\u2303 to record, \u2303/ to cast) "
                                 "and your input while recording.");
    }
    return {};
}

QString statusID(PermissionStatus status) {
    switch (status) {
    case PermissionStatus::granted:
        return QStringLiteral("granted");
    case PermissionStatus::denied:
        return QStringLiteral("denied");
    case PermissionStatus::notDetermined:
        return QStringLiteral("notDetermined");
    }
    return {};
}

} // namespace tavrik::Permissions
