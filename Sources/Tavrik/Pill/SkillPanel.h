#pragma once

#include "Tavrik/SkillPanelPhase.h"

#include <QStringList>
#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace tavrik {

// The card beside the pill that follows the draft and run phases: the streamed draft while
// generating, the editable SKILL.md text, the saved skill, a run's progress and outcome, or an
// error. It only shows what it is given and reports button presses and edits.
class SkillPanel : public QWidget {
    Q_OBJECT
public:
    static constexpr int progressLinesShown = 4;
    static constexpr const char* errorHeading = "Couldn't create the skill";

    explicit SkillPanel(QWidget* parent = nullptr);

    SkillPanelPhase phase() const { return m_phase; }
    void setPhase(SkillPanelPhase phase);
    void setStatus(const QString& status);
    // The draft text; while it only grows (streaming) the new tail is appended in place.
    void setMarkdown(const QString& markdown);
    QString markdown() const;
    void setSkillName(const QString& name, const QString& slashCommand = {});
    const QString& skillName() const { return m_name; }
    // Each distinct line joins the run's progress list; an empty line starts a new run.
    void setRunningLine(const QString& line);
    void setOutcome(const QString& outcome);
    void setError(const QString& error);
    // Whether the error phase offers to write the skill again from the same demonstration.
    void setRetryAvailable(bool available);

    // For tests and the screenshot tool.
    QLabel* heading() const { return m_heading; }
    QLabel* detail() const { return m_detail; }
    QPlainTextEdit* editor() const { return m_editor; }
    QPushButton* saveButton() const { return m_save; }
    QPushButton* runButton() const { return m_run; }
    QPushButton* discardButton() const { return m_discard; }
    QPushButton* closeButton() const { return m_close; }
    QPushButton* retryButton() const { return m_retry; }
    const QStringList& progressLines() const { return m_progress; }

signals:
    void saveClicked();
    void runClicked();
    void discardClicked();
    void closeClicked();
    void retryClicked();
    void markdownEdited(const QString& markdown);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void refresh();
    QString progressHtml() const;

    SkillPanelPhase m_phase = SkillPanelPhase::idle;
    QString m_status;
    QString m_name;
    QString m_slashCommand;
    QString m_outcome;
    QString m_error;
    QStringList m_progress;
    bool m_settingText = false;
    bool m_retryAvailable = false;

    QLabel* m_badge;
    QLabel* m_heading;
    QLabel* m_detail;
    QLabel* m_footer;
    QPlainTextEdit* m_editor;
    QPushButton* m_discard;
    QPushButton* m_close;
    QPushButton* m_save;
    QPushButton* m_run;
    QPushButton* m_retry;
};

} // namespace tavrik
