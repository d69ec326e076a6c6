#pragma once

#include "TavrikCore/Permissions/Permission.h"

#include <QHash>
#include <QWidget>

class QLabel;
class QPushButton;

namespace tavrik {

class PermissionsManager;

// Shown while a permission is missing: the three permissions, why each is needed, whether it is
// granted, and a button to grant it (or open the desktop's settings for it). Follows the manager's
// statuses as the poll refreshes them.
class OnboardingWindow : public QWidget {
    Q_OBJECT
public:
    explicit OnboardingWindow(PermissionsManager* permissions, QWidget* parent = nullptr);

    QPushButton* grantButton(Permission permission) const { return m_rows.value(permission).button; }
    QLabel* statusLabel(Permission permission) const { return m_rows.value(permission).status; }
    QPushButton* doneButton() const { return m_done; }

private:
    struct Row {
        QLabel* status = nullptr;
        QPushButton* button = nullptr;
    };
    void refresh();

    PermissionsManager* m_permissions;
    QHash<Permission, Row> m_rows;
    QLabel* m_footer;
    QPushButton* m_done;
};

} // namespace tavrik
