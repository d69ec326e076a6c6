#pragma once

#include "Tavrik/Pill/PillGeometry.h"
#include "Tavrik/SkillPanelPhase.h"

#include <QWidget>

class QLabel;
class QPushButton;

namespace tavrik {

class SkillPanel;

// The pill's window: a tab on the right edge of the screen that opens into a small card, a tip
// bubble beside it, and the skill panel while a draft or a run is under way. The window is
// shaped to the parts on show, so the rest of its frame never covers the desktop.
class PillWindow : public QWidget {
    Q_OBJECT
public:
    explicit PillWindow(QWidget* parent = nullptr);

    SkillPanel* skillPanel() const { return m_panel; }

    void setPhase(SkillPanelPhase phase);
    void setExpanded(bool expanded);
    // Empty for no tip.
    void setTip(const QString& tip);
    void setStatusTitle(const QString& title);
    void setRecording(bool recording);
    // 0 to 1; drawn while recording.
    void setMicLevel(double level);
    // A newer release on offer (its version), or empty for none. The open card offers it; the
    // tab carries a dot meanwhile.
    void setUpdateOffer(const QString& version);
    // What keeps part of Tavrik from working, in plain words, or empty. The open card says it
    // and the tab carries a red dot meanwhile; a run's panel is never covered by it.
    void setProblems(const QStringList& problems);
    QLabel* cardHint() const { return m_cardHint; }
    // Whether clicks reach the window or pass through to what is beneath it.
    void setAcceptsMouse(bool accepts);
    bool acceptsMouse() const { return m_acceptsMouse; }

    // What each part needs for its texts in the current font; the window's size follows it.
    const PillGeometry::Parts& parts() const { return m_parts; }

    // The parts on show, in window coordinates; the window's shape is their union.
    QRect tabRect() const;
    QRect cardRect() const;
    QRect tipRect() const;
    QRect panelRect() const;
    bool showsCard() const;
    bool showsTip() const;
    bool showsPanel() const { return m_phase != SkillPanelPhase::idle; }

    QPushButton* recordButton() const { return m_recordButton; }
    QPushButton* paletteButton() const { return m_paletteButton; }
    QPushButton* openButton() const { return m_openButton; }
    QPushButton* dismissTipsButton() const { return m_dismissTips; }
    QLabel* tipLabel() const { return m_tipLabel; }

signals:
    void recordClicked();
    void paletteClicked();
    // The main window, for a desktop without a tray.
    void openClicked();
    void dismissTipsClicked();
    void updateDownloadClicked();
    void updateLaterClicked();
    // The parts now need other sizes: the window should be resized to match.
    void partsChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void relayout();
    void refreshTitle();
    void applyInputShape();
    void measureParts();

    SkillPanelPhase m_phase = SkillPanelPhase::idle;
    bool m_expanded = false;
    bool m_recording = false;
    bool m_acceptsMouse = false;
    double m_micLevel = 0;
    QString m_tip;
    QString m_statusTitle;
    QString m_updateVersion;
    QStringList m_problems;
    PillGeometry::Parts m_parts;

    SkillPanel* m_panel;
    QWidget* m_card;
    QLabel* m_cardTitle;
    QLabel* m_cardHint;
    QPushButton* m_recordButton;
    QPushButton* m_paletteButton;
    QPushButton* m_openButton;
    QWidget* m_levelBar;
    QWidget* m_tipBubble;
    QLabel* m_tipLabel;
    QPushButton* m_dismissTips;
};

} // namespace tavrik
