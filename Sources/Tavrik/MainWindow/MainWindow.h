#pragma once

#include "TavrikCore/MCP/MCPServer.h"
#include "TavrikCore/Models/Skill.h"

#include <QWidget>

class QAction;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QStackedWidget;
class QVBoxLayout;

namespace tavrik {

class AppState;
class SkillDetailView;

// The library: every saved skill with its icon, a search over them, and what can be done with
// one (cast, edit, export, delete). With an empty library it explains how to record the first.
class MainWindow : public QWidget {
    Q_OBJECT
public:
    explicit MainWindow(AppState* app, QWidget* parent = nullptr);

    // For tests and the screenshot tool.
    QLineEdit* searchField() const { return m_search; }
    QListWidget* list() const { return m_list; }
    SkillDetailView* detail() const { return m_detail; }
    QPushButton* recordButton() const { return m_record; }
    // "Preferences…" (Ctrl+,) and "Quit Tavrik" (Ctrl+Q), under the header's menu button and
    // as the window's own shortcuts, so a desktop without a tray still reaches them.
    QAction* preferencesAction() const { return m_preferences; }
    QAction* quitAction() const { return m_quit; }
    bool showsEmptyLibrary() const;
    // The skills listed, in order.
    QList<Skill> shownSkills() const { return m_shown; }
    void select(qsizetype row);

signals:
    void editRequested(const tavrik::Skill& skill);
    void preferencesRequested();
    void quitRequested();
    // The skill works in an application whose tool server is not connected yet.
    void connectRequested(const tavrik::Skill& skill, const tavrik::MCPServer& server);

public slots:
    // Reads the selected skill again, e.g. after a tool server was connected.
    void showSelected();

private:
    void refreshSkills();
    void refreshState();
    void refreshProblems();
    void confirmDelete(const Skill& skill);
    void reviewRepair(bool accept);

    AppState* m_app;
    QLabel* m_status;
    QLabel* m_problems;
    QLineEdit* m_search;
    QPushButton* m_record;
    QAction* m_preferences;
    QAction* m_quit;
    QStackedWidget* m_body;
    QListWidget* m_list;
    QLabel* m_count;
    SkillDetailView* m_detail;
    QList<Skill> m_shown;
};

// The selected skill in full: what it is for, its parameters and steps, and its actions.
class SkillDetailView : public QWidget {
    Q_OBJECT
public:
    explicit SkillDetailView(QWidget* parent = nullptr);
    void setSkill(const std::optional<Skill>& skill);
    void setCastEnabled(bool enabled);
    // How the skill's last run ended; empty hides the line.
    void setLastOutcome(const QString& outcome);
    QLabel* lastOutcomeLabel() const { return m_lastOutcome; }

    QPushButton* castButton() const { return m_cast; }
    QPushButton* editButton() const { return m_edit; }
    QPushButton* exportButton() const { return m_export; }
    QPushButton* deleteButton() const { return m_delete; }
    QPushButton* connectButton() const { return m_connect; }
    // Shown while a run's repaired steps wait for review: the steps before and after.
    QWidget* repairOffer() const { return m_repair; }
    QLabel* repairText() const { return m_repairText; }
    QPushButton* updateSkillButton() const { return m_updateSkill; }
    QPushButton* keepSkillButton() const { return m_keepSkill; }
    QLabel* nameLabel() const { return m_name; }
    // The server the connect button offers, if any.
    const std::optional<MCPServer>& unconnectedServer() const { return m_unconnected; }

signals:
    void castClicked();
    void checkClicked();
    void editClicked();
    void exportClicked();
    void deleteClicked();
    void connectClicked();
    void updateSkillClicked();
    void keepSkillClicked();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QLabel* m_icon;
    QLabel* m_name;
    QLabel* m_command;
    QLabel* m_trigger;
    QLabel* m_summary;
    QLabel* m_lastOutcome;
    QLabel* m_parametersHeading;
    QLabel* m_parameters;
    QLabel* m_stepsHeading;
    QLabel* m_steps;
    QPushButton* m_check = nullptr;
    bool m_hasPlan = false;
    QPushButton* m_cast;
    QPushButton* m_edit;
    QPushButton* m_export;
    QPushButton* m_delete;
    QPushButton* m_connect;
    std::optional<MCPServer> m_unconnected;
    QWidget* m_repair;
    QLabel* m_repairText;
    QPushButton* m_updateSkill;
    QPushButton* m_keepSkill;
    QWidget* m_content;
    QLabel* m_placeholder;
};

} // namespace tavrik
