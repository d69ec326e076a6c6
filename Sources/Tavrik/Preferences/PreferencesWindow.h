#pragma once

#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace tavrik {

class KeyCheck;

// "Tavrik Preferences": the user's Anthropic API key (saved where the key lookup finds it, and
// tested on request), the usage statistics opt-out and starting at login. Every change is
// saved as it is made; there is nothing to apply.
class PreferencesWindow : public QWidget {
    Q_OBJECT
public:
    explicit PreferencesWindow(QWidget* parent = nullptr);

    // Saves the key field; the result shows under it.
    void saveKey();
    void testKey();

    // For tests and the screenshot tool.
    QLineEdit* keyField() const { return m_key; }
    QPushButton* testButton() const { return m_test; }
    QLabel* keyStatus() const { return m_keyStatus; }
    QLabel* environmentNote() const { return m_environmentNote; }
    QCheckBox* analyticsBox() const { return m_analytics; }
    QCheckBox* loginBox() const { return m_login; }
    QComboBox* browserBox() const { return m_browser; }

private:
    void showKeyStatus(const QString& text, bool bad = false);

    QLineEdit* m_key;
    QPushButton* m_test;
    QLabel* m_keyStatus;
    QLabel* m_environmentNote;
    QCheckBox* m_analytics;
    QCheckBox* m_login;
    QComboBox* m_browser;
    KeyCheck* m_check;
};

} // namespace tavrik
