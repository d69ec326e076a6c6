#include "Tavrik/Palette/PaletteRows.h"

#include "Tavrik/MainWindow/SkillIcon.h"
#include "Tavrik/Palette/PaletteRowsAccessible.h"
#include "Tavrik/Style/Theme.h"

#include <QAccessible>
#include <QMouseEvent>
#include <QPainter>

namespace tavrik {

namespace {

constexpr int chipSize = 28;
constexpr int symbolSize = 16;

} // namespace

PaletteRows::PaletteRows(const PaletteModel* model, QWidget* parent)
    : QWidget(parent), m_model(model) {
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setCursor(Qt::PointingHandCursor);
    PaletteRowsAccessible::install();
}

QString PaletteRows::rowName(int row) const {
    const QList<Skill>& skills = m_model->shownSkills();
    if (row < 0 || row > skills.size())
        return {};
    if (row == skills.size())
        return tr("Record a new skill");
    const QString& name = skills.at(row).name;
    return name.trimmed().isEmpty() ? tr("Untitled skill") : name;
}

QString PaletteRows::rowDescription(int row) const {
    const QList<Skill>& skills = m_model->shownSkills();
    if (row < 0 || row > skills.size())
        return {};
    return row == skills.size() ? tr("or double-tap Ctrl") : skills.at(row).slashCommand();
}

void PaletteRows::refresh() {
    update();
    if (!QAccessible::isActive())
        return;
    QAccessibleEvent focus(this, QAccessible::Focus);
    focus.setChild(selectedRow());
    QAccessible::updateAccessibility(&focus);
}

bool PaletteRows::showsNoMatchNote() const {
    return m_model->shownSkills().isEmpty() && !m_model->query().trimmed().isEmpty();
}

QRect PaletteRows::rowRect(int row) const {
    const int skills = int(m_model->shownSkills().size());
    int top = inset + row * rowHeight;
    if (row == m_model->recordRow()) {
        top = inset + skills * rowHeight;
        if (skills > 0 || showsNoMatchNote())
            top += dividerHeight + (showsNoMatchNote() ? rowHeight : 0);
    }
    return QRect(inset, top, width() - 2 * inset, rowHeight);
}

int PaletteRows::contentHeight() const {
    return rowRect(m_model->recordRow()).bottom() + 1 + inset;
}

QSize PaletteRows::sizeHint() const {
    return QSize(540, contentHeight());
}

int PaletteRows::rowAt(QPoint point) const {
    for (int row = 0; row < m_model->rowCount(); ++row) {
        if (rowRect(row).contains(point))
            return row;
    }
    return -1;
}

const QPixmap& PaletteRows::symbolPixmap(const QString& symbol, const QColor& color) {
    const QString key = symbol + color.name();
    auto found = m_pixmaps.find(key);
    if (found == m_pixmaps.end())
        found = m_pixmaps.insert(
            key, SkillIcon::bundledPixmap(symbol, symbolSize, color, devicePixelRatioF()));
    return *found;
}

void PaletteRows::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), Theme::window);
    painter.setRenderHint(QPainter::Antialiasing);

    const QFont nameFont = Theme::font(10.5, QFont::Medium);
    const QFont commandFont = Theme::monospaceFont(9);
    const QFontMetrics nameMetrics(nameFont);
    const QFontMetrics commandMetrics(commandFont);
    const int selected = m_model->selectedIndex();

    auto drawBackground = [&](int row, const QRect& r) {
        if (row == selected) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(Theme::selection);
            painter.drawRoundedRect(r, 9, 9);
        } else if (row == m_hovered) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(Theme::hover);
            painter.drawRoundedRect(r, 9, 9);
        }
    };
    auto drawChip = [&](const QRect& r, const QString& symbol, const QColor& chipColor,
                        const QColor& symbolColor) {
        const QRect chip(r.left() + 8, r.center().y() - chipSize / 2 + 1, chipSize, chipSize);
        painter.setPen(Qt::NoPen);
        painter.setBrush(chipColor);
        painter.drawRoundedRect(chip, 7, 7);
        const QPixmap& pixmap = symbolPixmap(symbol, symbolColor);
        painter.drawPixmap(chip.center().x() - symbolSize / 2 + 1,
                           chip.center().y() - symbolSize / 2 + 1, pixmap);
        return chip.right() + 12;
    };

    const QList<Skill>& skills = m_model->shownSkills();
    for (int row = 0; row < skills.size(); ++row) {
        const Skill& skill = skills.at(row);
        const QRect r = rowRect(row);
        const bool isSelected = row == selected;
        drawBackground(row, r);
        const int textLeft =
            drawChip(r, SkillIcon::symbol(skill), isSelected ? Qt::white : Theme::chip,
                     isSelected ? Theme::accent : Theme::chipSymbol);

        int right = r.right() - 12;
        if (isSelected) {
            painter.setFont(nameFont);
            painter.setPen(Theme::accent);
            const QString hint = QStringLiteral("↵");
            const int hintWidth = nameMetrics.horizontalAdvance(hint);
            painter.drawText(QRect(right - hintWidth, r.top(), hintWidth, r.height()),
                             Qt::AlignVCenter, hint);
            right -= hintWidth + 10;
        }
        const QString command =
            commandMetrics.elidedText(skill.slashCommand(), Qt::ElideRight, r.width() / 3);
        const int commandWidth = commandMetrics.horizontalAdvance(command);
        painter.setFont(commandFont);
        painter.setPen(isSelected ? Theme::secondaryText : Theme::tertiaryText);
        painter.drawText(QRect(right - commandWidth, r.top(), commandWidth, r.height()),
                         Qt::AlignVCenter, command);
        right -= commandWidth + 16;

        const QString name = rowName(row);
        painter.setFont(nameFont);
        painter.setPen(Theme::text);
        painter.drawText(QRect(textLeft, r.top(), right - textLeft, r.height()), Qt::AlignVCenter,
                         nameMetrics.elidedText(name, Qt::ElideRight, right - textLeft));
    }

    if (!skills.isEmpty() || showsNoMatchNote()) {
        int lineY = inset + int(skills.size()) * rowHeight + dividerHeight / 2;
        if (showsNoMatchNote()) {
            const QRect note(inset + 12, inset, width() - 2 * inset - 24, rowHeight);
            painter.setFont(Theme::font(10));
            painter.setPen(Theme::secondaryText);
            painter.drawText(
                note, Qt::AlignVCenter,
                QFontMetrics(painter.font())
                    .elidedText(tr("No skills match “%1”").arg(m_model->query().trimmed()),
                                Qt::ElideMiddle, note.width()));
            lineY += rowHeight;
        }
        painter.setPen(QPen(Theme::divider, 1));
        painter.drawLine(inset + 8, lineY, width() - inset - 8, lineY);
    }

    const int recordRow = m_model->recordRow();
    const QRect r = rowRect(recordRow);
    drawBackground(recordRow, r);
    const int textLeft =
        drawChip(r, QString::fromLatin1(SkillIcon::recordSymbol),
                 recordRow == selected ? Qt::white : Theme::accentSoft, Theme::accent);
    painter.setFont(nameFont);
    painter.setPen(Theme::accent);
    painter.drawText(QRect(textLeft, r.top(), r.right() - textLeft, r.height()), Qt::AlignVCenter,
                     rowName(recordRow));
    painter.setFont(Theme::font(9));
    painter.setPen(Theme::tertiaryText);
    painter.drawText(QRect(textLeft, r.top(), r.right() - 12 - textLeft, r.height()),
                     Qt::AlignVCenter | Qt::AlignRight, rowDescription(recordRow));
}

void PaletteRows::mouseMoveEvent(QMouseEvent* event) {
    const int row = rowAt(event->position().toPoint());
    if (row != m_hovered) {
        m_hovered = row;
        update();
    }
}

void PaletteRows::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    const int row = rowAt(event->position().toPoint());
    if (row >= 0)
        emit rowClicked(row);
}

void PaletteRows::leaveEvent(QEvent*) {
    if (m_hovered != -1) {
        m_hovered = -1;
        update();
    }
}

} // namespace tavrik
