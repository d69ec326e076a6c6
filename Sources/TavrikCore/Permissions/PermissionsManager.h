#pragma once

#include "TavrikCore/Permissions/PermissionBackend.h"

#include <QHash>
#include <QObject>
#include <functional>
#include <memory>

namespace tavrik {

// The cached status of each permission, for the onboarding and menu views and the periodic poll.
class PermissionsManager : public QObject {
    Q_OBJECT
public:
    using Statuses = QHash<Permission, PermissionStatus>;
    // Opens the desktop's settings for a permission; false when there is nothing to open.
    using SettingsOpener = std::function<bool(Permission)>;

    // Fills the statuses at once.
    PermissionsManager(std::unique_ptr<PermissionBackend> backend, SettingsOpener openSettings,
                       QObject* parent = nullptr);
    ~PermissionsManager() override;

    const Statuses& statuses() const { return m_statuses; }
    PermissionStatus status(Permission permission) const;
    bool allGranted() const;

    // Recomputes every status; publishes only when something changed.
    void refresh();
    // Turns the permission on when this desktop allows it, else opens the desktop's settings.
    // Does not refresh: callers refresh afterwards or poll.
    void request(Permission permission);
    bool openSettings(Permission permission);

signals:
    void statusesChanged();

private:
    std::unique_ptr<PermissionBackend> m_backend;
    SettingsOpener m_openSettings;
    Statuses m_statuses;
};

} // namespace tavrik
