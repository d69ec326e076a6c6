#pragma once

#include "TavrikCore/Palette/PaletteModel.h"

#include <QWidget>

class QLineEdit;
class QPushButton;
class QScreen;

namespace tavrik {

class PaletteRows;
class PaletteValuesForm;

// The palette panel: a frameless floating window at the right edge of the screen with a search
// field over the ranked skills and the record row. It asks for casts and recordings through
// its signals and closes itself after `dismiss()`.
class PaletteView : public QWidget {
    Q_OBJECT
public:
    static constexpr int panelWidth = 540;
    static constexpr int maxPanelHeight = 460;
    static constexpr int headerHeight = 56;
    // How long the fade-out runs before the panel reports itself closed.
    static constexpr int closeDelayMs = 300;

    explicit PaletteView(QWidget* parent = nullptr);

    void setSkills(QList<Skill> skills);
    // The program mode decides what the record row does.
    void setProgramState(const TavrikState& state) { m_state = state; }

    const PaletteModel& model() const { return m_model; }
    QLineEdit* searchField() const { return m_search; }
    PaletteRows* rows() const { return m_rows; }
    bool isDismissing() const { return m_dismissing; }
    // The parameter form while it is open (Tab or Shift+Return on a skill with parameters).
    PaletteValuesForm* valuesForm() const { return m_form; }

    // Flush with the right edge of `visible`, its top 44 points above the middle.
    static QPoint placement(const QRect& visible, QSize size);
    // Shows the panel on `screen` (the primary one when null), in front and with the keyboard.
    void present(QScreen* screen = nullptr);

public slots:
    void move(int step);
    void activate();
    // Opens the parameter form for the selected skill; false when it has no parameters.
    bool askForValues();
    void chooseRow(int row);
    void createNew();
    void dismiss();

signals:
    void castRequested(const tavrik::Skill& skill, const QMap<QString, QString>& parameters);
    void recordRequested(tavrik::PaletteModel::RecordAction action);
    // Once, when the panel has gone after `dismiss()` or Escape.
    void closed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void run(const PaletteModel::Choice& choice);
    void closeValuesForm();
    void fitToContent();

    PaletteModel m_model;
    TavrikState m_state;
    QLineEdit* m_search;
    QPushButton* m_close;
    PaletteRows* m_rows;
    PaletteValuesForm* m_form = nullptr;
    bool m_dismissing = false;
};

} // namespace tavrik
