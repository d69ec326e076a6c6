#include "TavrikCore/Permissions/PermissionsManager.h"

#include <QDebug>

namespace tavrik {

PermissionsManager::PermissionsManager(std::unique_ptr<PermissionBackend> backend,
                                       SettingsOpener openSettings, QObject* parent)
    : QObject(parent), m_backend(std::move(backend)), m_openSettings(std::move(openSettings)) {
    refresh();
}

PermissionsManager::~PermissionsManager() = default;

PermissionStatus PermissionsManager::status(Permission permission) const {
    return m_statuses.value(permission, PermissionStatus::notDetermined);
}

bool PermissionsManager::allGranted() const {
    const QList<Permission> all = Permissions::all();
    return std::all_of(all.begin(), all.end(), [this](Permission p) {
        return m_statuses.value(p, PermissionStatus::notDetermined) == PermissionStatus::granted;
    });
}

void PermissionsManager::refresh() {
    Statuses next;
    for (Permission p : Permissions::all()) {
        next.insert(p, m_backend ? m_backend->check(p) : PermissionStatus::notDetermined);
    }
    if (next != m_statuses) {
        m_statuses = next;
        emit statusesChanged();
    }
}

void PermissionsManager::request(Permission permission) {
    if (m_backend && m_backend->enable(permission)) {
        return;
    }
    if (!openSettings(permission)) {
        qInfo().noquote() << "Tavrik: nothing to open for" << Permissions::title(permission)
                          << "on this desktop";
    }
}

bool PermissionsManager::openSettings(Permission permission) {
    return m_openSettings && m_openSettings(permission);
}

} // namespace tavrik
