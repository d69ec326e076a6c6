#pragma once

#include "TavrikCore/Palette/PaletteModel.h"

#include <QHash>
#include <QPixmap>
#include <QWidget>

namespace tavrik {

// The palette's result rows, painted in one widget so a keystroke over a large library costs
// one ranking and one paint: each skill with its symbol, name and slash command, then the
// record row.
class PaletteRows : public QWidget {
    Q_OBJECT
public:
    static constexpr int rowHeight = 42;
    static constexpr int inset = 8;
    static constexpr int dividerHeight = 9;

    explicit PaletteRows(const PaletteModel* model, QWidget* parent = nullptr);

    // Height needed for the model's rows as they stand.
    int contentHeight() const;
    // Row under a point, or -1 (the "no match" note and the gaps are no row).
    int rowAt(QPoint point) const;
    QRect rowRect(int row) const;
    int rowCount() const { return m_model->rowCount(); }
    int selectedRow() const { return m_model->selectedIndex(); }
    // What a screen reader says for a row: the skill's name (or the record row's text), then its
    // slash command.
    QString rowName(int row) const;
    QString rowDescription(int row) const;
    // Repaints after the model changed and tells screen readers which row is selected now.
    void refresh();

    QSize sizeHint() const override;

signals:
    void rowClicked(int row);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    bool showsNoMatchNote() const;
    const QPixmap& symbolPixmap(const QString& symbol, const QColor& color);

    const PaletteModel* m_model;
    int m_hovered = -1;
    QHash<QString, QPixmap> m_pixmaps;
};

} // namespace tavrik
