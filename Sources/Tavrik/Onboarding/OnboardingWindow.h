#pragma once

#include "TavrikCore/Permissions/Permission.h"

#include <QHash>
#include <QWidget>

class QLabel;
class QLineEdit;
class QPushButton;

namespace tavrik {

class PermissionsManager;

// Shown at the first launch and while a permission is missing: the key when none is set, whether
// to send usage statistics until that is answered, then the three permissions, why each is
// needed, whether it is granted, and a button to grant it (or open the desktop's settings for
// it). Follows the manager's statuses as the poll refreshes them.
class OnboardingWindow : public QWidget {
    Q_OBJECT
public:
    explicit OnboardingWindow(PermissionsManager* permissions, QWidget* parent = nullptr);

    QPushButton* grantButton(Permission permission) const {
        return m_rows.value(permission).button;
    }
    QLabel* statusLabel(Permission permission) const { return m_rows.value(permission).status; }
    QPushButton* doneButton() const { return m_done; }
    // Present only while the key is missing and the question unanswered when the window opened.
    QLineEdit* keyField() const { return m_key; }
    QPushButton* sendStatisticsButton() const { return m_sendStatistics; }
    QPushButton* keepStatisticsButton() const { return m_keepStatistics; }

    // Whether launching should open this window.
    static bool isNeeded(const PermissionsManager& permissions);

private:
    QWidget* keyCard();
    QWidget* statisticsCard();
    struct Row {
        QLabel* status = nullptr;
        QPushButton* button = nullptr;
    };
    void refresh();

    PermissionsManager* m_permissions;
    QHash<Permission, Row> m_rows;
    QLabel* m_footer;
    QPushButton* m_done;
    QLineEdit* m_key = nullptr;
    QLabel* m_keyStatus = nullptr;
    QLabel* m_statisticsStatus = nullptr;
    QPushButton* m_sendStatistics = nullptr;
    QPushButton* m_keepStatistics = nullptr;
};

} // namespace tavrik
