#pragma once

#include "TavrikCore/Models/Skill.h"

#include <QWidget>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;

namespace tavrik {

class AppState;

// The SKILL.md text in a roomy window with its name on top. It edits either the draft the skill
// panel shows (changes go straight to the application state) or a saved skill of the library
// (changes are written when saved).
class SkillEditorWindow : public QWidget {
    Q_OBJECT
public:
    // The open draft.
    explicit SkillEditorWindow(AppState* app, QWidget* parent = nullptr);
    // A saved skill; its SKILL.md is read from the library.
    SkillEditorWindow(AppState* app, const Skill& skill, QWidget* parent = nullptr);

    bool editsDraft() const { return !m_saved.has_value(); }
    QLineEdit* nameField() const { return m_name; }
    QPlainTextEdit* editor() const { return m_editor; }
    QPushButton* saveButton() const { return m_save; }
    QPushButton* secondaryButton() const { return m_secondary; }
    QLabel* messageLabel() const { return m_message; }

private:
    void build();
    void syncFromDraft();
    void save();
    void showMessage(const QString& text, bool error);

    AppState* m_app;
    std::optional<Skill> m_saved;
    QLineEdit* m_name = nullptr;
    QPlainTextEdit* m_editor = nullptr;
    QPushButton* m_save = nullptr;
    QPushButton* m_secondary = nullptr;
    QPushButton* m_run = nullptr;
    QLabel* m_message = nullptr;
    bool m_syncing = false;
};

} // namespace tavrik
