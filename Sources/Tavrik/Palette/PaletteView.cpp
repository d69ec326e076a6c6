#include "Tavrik/Palette/PaletteView.h"

#include "Tavrik/MainWindow/SkillIcon.h"
#include "Tavrik/Palette/PaletteRows.h"
#include "Tavrik/Palette/PaletteValuesForm.h"
#include "Tavrik/Style/Theme.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>

namespace tavrik {

PaletteView::PaletteView(QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint) {
    setObjectName(QStringLiteral("TavrikPalette"));
    setWindowTitle(tr("Tavrik Palette"));

    auto* magnifier = new QLabel(this);
    magnifier->setPixmap(SkillIcon::bundledPixmap(QStringLiteral("magnifyingglass"), 18,
                                                  Theme::secondaryText, devicePixelRatioF()));

    m_search = new QLineEdit(this);
    m_search->setObjectName(QStringLiteral("paletteSearch"));
    m_search->setPlaceholderText(tr("Search skills"));
    m_search->setAccessibleName(tr("Search skills"));
    m_search->setFrame(false);
    m_search->setFont(Theme::font(13));
    m_search->setStyleSheet(
        QStringLiteral("QLineEdit { background: transparent; border: none; color: %1; "
                       "selection-background-color: %2; }")
            .arg(Theme::text.name(), Theme::selection.darker(110).name()));
    m_search->installEventFilter(this);

    m_close = new QPushButton(tr("Close"), this);
    m_close->setObjectName(QStringLiteral("paletteClose"));
    m_close->setCursor(Qt::PointingHandCursor);
    m_close->setFocusPolicy(Qt::NoFocus);
    m_close->setFont(Theme::font(9));
    m_close->setStyleSheet(
        QStringLiteral("QPushButton { color: %1; background: %2; border: none; border-radius: 6px;"
                       " padding: 4px 10px; }"
                       "QPushButton:hover { background: %3; color: %4; }")
            .arg(Theme::secondaryText.name(), Theme::chip.name(), Theme::divider.name(),
                 Theme::text.name()));

    auto* header = new QHBoxLayout;
    header->setContentsMargins(20, 0, 14, 0);
    header->setSpacing(12);
    header->addWidget(magnifier);
    header->addWidget(m_search, 1);
    header->addWidget(m_close);

    auto* headerWidget = new QWidget(this);
    headerWidget->setFixedHeight(headerHeight);
    headerWidget->setLayout(header);

    m_rows = new PaletteRows(&m_model, this);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, 1, 1, 1);
    layout->setSpacing(0);
    layout->addWidget(headerWidget);
    layout->addWidget(m_rows, 1);

    connect(m_search, &QLineEdit::textChanged, this, [this](const QString& text) {
        m_model.setQuery(text);
        fitToContent();
        m_rows->refresh();
    });
    connect(m_rows, &PaletteRows::rowClicked, this, &PaletteView::chooseRow);
    connect(m_close, &QPushButton::clicked, this, &PaletteView::dismiss);

    Theme::keepRounded(this);
    fitToContent();
}

void PaletteView::setSkills(QList<Skill> skills) {
    m_model.setSkills(std::move(skills));
    fitToContent();
    m_rows->refresh();
}

void PaletteView::fitToContent() {
    // Sized to its rows rather than a fixed panel: an opaque window has no clear area to hide.
    const int content = m_form ? m_form->sizeHint().height() : m_rows->contentHeight();
    const int height = qMin(maxPanelHeight, headerHeight + 1 + content + 2);
    if (size() != QSize(panelWidth, height))
        setFixedSize(panelWidth, height);
}

QPoint PaletteView::placement(const QRect& visible, QSize size) {
    return QPoint(visible.x() + visible.width() - size.width(),
                  visible.y() + visible.height() / 2 - 44);
}

void PaletteView::present(QScreen* screen) {
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (screen)
        QWidget::move(placement(screen->availableGeometry(), size()));
    show();
    raise();
    activateWindow();
    m_search->setFocus(Qt::PopupFocusReason);
    QTimer::singleShot(0, this, [this] { m_model.prepareSearch(); });
}

void PaletteView::move(int step) {
    m_model.move(step);
    m_rows->refresh();
}

void PaletteView::activate() {
    run(m_model.activate());
}

bool PaletteView::askForValues() {
    const PaletteModel::Choice choice = m_model.activate();
    if (m_dismissing || m_form || choice.kind != PaletteModel::Choice::Kind::cast ||
        choice.skill.parameters.isEmpty())
        return false;
    m_form = new PaletteValuesForm(choice.skill, this);
    connect(m_form, &PaletteValuesForm::submitted, this,
            [this](const QMap<QString, QString>& values) {
                const Skill skill = m_form->skill();
                dismiss();
                emit castRequested(skill, values);
            });
    connect(m_form, &PaletteValuesForm::cancelled, this, &PaletteView::closeValuesForm);
    m_rows->hide();
    static_cast<QVBoxLayout*>(layout())->insertWidget(1, m_form, 1);
    m_search->setEnabled(false);
    fitToContent();
    m_form->focusFirstField();
    return true;
}

void PaletteView::closeValuesForm() {
    if (!m_form)
        return;
    m_form->deleteLater();
    m_form = nullptr;
    m_rows->show();
    m_search->setEnabled(true);
    fitToContent();
    m_search->setFocus(Qt::OtherFocusReason);
}

void PaletteView::chooseRow(int row) {
    run(m_model.choose(row));
}

void PaletteView::run(const PaletteModel::Choice& choice) {
    if (m_dismissing)
        return;
    if (choice.kind == PaletteModel::Choice::Kind::record) {
        createNew();
        return;
    }
    dismiss();
    emit castRequested(choice.skill, choice.parameters);
}

void PaletteView::createNew() {
    if (m_dismissing)
        return;
    const PaletteModel::RecordAction action = PaletteModel::recordAction(m_state);
    if (action != PaletteModel::RecordAction::none)
        emit recordRequested(action);
    dismiss();
}

void PaletteView::dismiss() {
    if (m_dismissing)
        return;
    m_dismissing = true;
    m_search->clearFocus();
    // Only an X server can fade a window (and only with a compositor); elsewhere it just goes.
    if (QGuiApplication::platformName() == QLatin1String("xcb")) {
        auto* fade = new QPropertyAnimation(this, "windowOpacity", this);
        fade->setDuration(280);
        fade->setStartValue(1.0);
        fade->setEndValue(0.0);
        fade->setEasingCurve(QEasingCurve::InQuad);
        fade->start(QAbstractAnimation::DeleteWhenStopped);
    }
    QTimer::singleShot(closeDelayMs, this, [this] {
        emit closed();
        close();
    });
}

bool PaletteView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_search && event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        switch (key->key()) {
        case Qt::Key_Up:
            move(-1);
            return true;
        case Qt::Key_Down:
            move(+1);
            return true;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (!(key->modifiers() & Qt::ShiftModifier) || !askForValues())
                activate();
            return true;
        case Qt::Key_Tab:
            askForValues();
            return true;
        case Qt::Key_Escape:
            dismiss();
            return true;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void PaletteView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        dismiss();
        return;
    }
    QWidget::keyPressEvent(event);
}

void PaletteView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), Theme::window);
    painter.setPen(QPen(Theme::divider, 1));
    painter.drawLine(16, headerHeight + 1, width() - 16, headerHeight + 1);
    painter.setPen(QPen(Theme::border, 1.5));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75),
                            Theme::cornerRadius - 0.5, Theme::cornerRadius - 0.5);
}

} // namespace tavrik
