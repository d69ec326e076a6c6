#include "Tavrik/Pill/PillWindow.h"

#include "Tavrik/Pill/SkillPanel.h"
#include "Tavrik/Style/Theme.h"
#include "TavrikPlatform/FloatingWindow.h"

#include <QBitmap>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWindow>

namespace tavrik {

namespace {

constexpr int tabWidth = 14;
constexpr int tabHeight = 60;

// A child that paints a rounded card; the window's shape cuts the same corners.
class Card : public QWidget {
public:
    Card(QColor background, QColor border, QWidget* parent)
        : QWidget(parent), m_background(background), m_border(border) {
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        // Outside the rounded border is border too: what the shape keeps of it reads as border.
        painter.fillRect(rect(), m_border);
        painter.setPen(QPen(m_border, 1.5));
        painter.setBrush(m_background);
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75),
                                Theme::cornerRadius - 0.5, Theme::cornerRadius - 0.5);
    }

private:
    QColor m_background;
    QColor m_border;
};

// The microphone level while recording: a short rounded bar that fills with the voice.
class LevelBar : public QWidget {
public:
    explicit LevelBar(QWidget* parent) : QWidget(parent) { setFixedSize(120, 6); }
    void setLevel(double level) {
        m_level = level;
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::chip);
        painter.drawRoundedRect(rect(), 3, 3);
        painter.setBrush(Theme::recording);
        painter.drawRoundedRect(QRectF(0, 0, qMax(6.0, m_level * width()), height()), 3, 3);
    }

private:
    double m_level = 0;
};

QPushButton* cardButton(const QString& text, bool primary, QWidget* parent) {
    auto* button = new QPushButton(text, parent);
    button->setCursor(Qt::PointingHandCursor);
    button->setFont(Theme::font(9.5, QFont::Medium));
    const QColor background = primary ? Theme::accent : Theme::chip;
    button->setStyleSheet(
        QStringLiteral("QPushButton { background: %1; color: %2; border: none; border-radius: 7px;"
                       " padding: 6px 9px; } QPushButton:hover { background: %3; }"
                       " QPushButton:focus { border: 2px solid %4; }")
            .arg(background.name(), primary ? QStringLiteral("#ffffff") : Theme::text.name(),
                 primary ? Theme::accent.darker(112).name() : Theme::divider.name(),
                 Theme::text.name()));
    return button;
}

} // namespace

PillWindow::PillWindow(QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                          Qt::X11BypassWindowManagerHint | Qt::WindowDoesNotAcceptFocus) {
    setObjectName(QStringLiteral("TavrikPill"));
    setWindowTitle(tr("Tavrik"));
    setAttribute(Qt::WA_ShowWithoutActivating);

    m_panel = new SkillPanel(this);
    m_panel->editor()->viewport()->installEventFilter(this);
    m_panel->installEventFilter(this);

    m_card = new Card(Theme::window, Theme::border, this);
    m_cardTitle = new QLabel(m_card);
    m_cardTitle->setFont(Theme::font(11, QFont::DemiBold));
    m_cardTitle->setTextFormat(Qt::RichText);
    m_cardTitle->setStyleSheet(QStringLiteral("color: %1;").arg(Theme::text.name()));
    m_cardHint = new QLabel(m_card);
    m_cardHint->setFont(Theme::font(9));
    m_cardHint->setWordWrap(true);
    m_cardHint->setStyleSheet(QStringLiteral("color: %1;").arg(Theme::secondaryText.name()));
    m_cardHint->setTextInteractionFlags(Qt::LinksAccessibleByMouse);
    connect(m_cardHint, &QLabel::linkActivated, this, [this](const QString& link) {
        if (link == QLatin1String("download"))
            emit updateDownloadClicked();
        else if (link == QLatin1String("later"))
            emit updateLaterClicked();
    });
    m_recordButton = cardButton(tr("Record a skill"), true, m_card);
    m_paletteButton = cardButton(tr("Cast a skill"), false, m_card);
    m_openButton = cardButton(QStringLiteral("Open Tavrik"), false, m_card);
    auto* cardButtons = new QHBoxLayout;
    cardButtons->setSpacing(6);
    cardButtons->addWidget(m_recordButton);
    cardButtons->addWidget(m_paletteButton);
    cardButtons->addWidget(m_openButton);
    cardButtons->addStretch(1);
    m_levelBar = new LevelBar(m_card);
    m_levelBar->hide();
    cardButtons->addWidget(m_levelBar, 0, Qt::AlignVCenter);
    auto* cardLayout = new QVBoxLayout(m_card);
    cardLayout->setContentsMargins(18, 14, 30, 14);
    cardLayout->setSpacing(4);
    cardLayout->addWidget(m_cardTitle);
    cardLayout->addWidget(m_cardHint, 1);
    cardLayout->addLayout(cardButtons);

    m_tipBubble = new Card(Theme::dark, Theme::dark, this);
    m_tipLabel = new QLabel(m_tipBubble);
    m_tipLabel->setFont(Theme::font(10, QFont::Medium));
    m_tipLabel->setWordWrap(true);
    m_tipLabel->setStyleSheet(QStringLiteral("color: #ffffff;"));
    m_dismissTips = new QPushButton(tr("Don't show me again, I've got it now"), m_tipBubble);
    m_dismissTips->setCursor(Qt::PointingHandCursor);
    m_dismissTips->setFont(Theme::font(8.5));
    m_dismissTips->setStyleSheet(
        QStringLiteral("QPushButton { color: #b9c3d6; background: transparent; border: none;"
                       " text-align: left; padding: 0; }"
                       "QPushButton:hover { color: #ffffff; text-decoration: underline; }"));
    auto* tipLayout = new QVBoxLayout(m_tipBubble);
    tipLayout->setContentsMargins(16, 10, 16, 10);
    tipLayout->setSpacing(4);
    tipLayout->addWidget(m_tipLabel, 1);
    tipLayout->addWidget(m_dismissTips);
    m_card->installEventFilter(this);
    m_tipBubble->installEventFilter(this);

    connect(m_recordButton, &QPushButton::clicked, this, &PillWindow::recordClicked);
    connect(m_paletteButton, &QPushButton::clicked, this, &PillWindow::paletteClicked);
    connect(m_openButton, &QPushButton::clicked, this, &PillWindow::openClicked);
    connect(m_dismissTips, &QPushButton::clicked, this, &PillWindow::dismissTipsClicked);

    setStatusTitle(tr("Ready"));
    resize(320, 140);
    relayout();
}

QRect PillWindow::tabRect() const {
    return QRect(width() - tabWidth, height() / 2 - tabHeight / 2, tabWidth, tabHeight);
}

QRect PillWindow::cardRect() const {
    const int cardHeight = m_parts.card.height();
    return QRect(0, height() / 2 - cardHeight / 2, width(), cardHeight);
}

QRect PillWindow::tipRect() const {
    return PillGeometry::tipZoneRect(rect(), m_parts);
}

QRect PillWindow::panelRect() const {
    return PillGeometry::panelZoneRect(rect(), m_parts);
}

void PillWindow::measureParts() {
    // Each part as wide as its widest unbreakable line (titles, button rows) and as tall as its
    // wrapped texts then need, so no text is cut whatever the font or its size.
    const auto measure = [](QWidget* part, QSize least) {
        QLayout* layout = part->layout();
        const int width = qMax(least.width(), layout->minimumSize().width());
        const int height = layout->hasHeightForWidth() ? layout->heightForWidth(width)
                                                       : layout->sizeHint().height();
        return QSize(width, qMax(least.height(), height));
    };
    const PillGeometry::Parts least;
    PillGeometry::Parts parts;
    parts.card = measure(m_card, least.card);
    parts.tip = measure(m_tipBubble, least.tip);
    parts.panel = measure(m_panel, least.panel);
    if (parts == m_parts)
        return;
    m_parts = parts;
    emit partsChanged();
}

bool PillWindow::showsCard() const {
    return m_expanded && m_phase == SkillPanelPhase::idle;
}

bool PillWindow::showsTip() const {
    return !m_tip.isEmpty() && !m_expanded && m_phase == SkillPanelPhase::idle;
}

void PillWindow::setPhase(SkillPanelPhase phase) {
    m_panel->setPhase(phase);
    if (phase == m_phase)
        return;
    m_phase = phase;
    relayout();
}

void PillWindow::setExpanded(bool expanded) {
    if (expanded == m_expanded)
        return;
    m_expanded = expanded;
    relayout();
}

void PillWindow::setTip(const QString& tip) {
    if (tip == m_tip)
        return;
    m_tip = tip;
    m_tipLabel->setText(tip);
    relayout();
}

void PillWindow::setStatusTitle(const QString& title) {
    m_statusTitle = title;
    // The card title is painted rich text; screen readers get the plain status here.
    setAccessibleDescription(title);
    refreshTitle();
}

void PillWindow::refreshTitle() {
    const QColor dot = m_recording ? Theme::recording : Theme::success;
    m_cardTitle->setText(QStringLiteral("<span style=\"color:%1\">●</span>&nbsp;&nbsp;%2")
                             .arg(dot.name(), m_statusTitle.toHtmlEscaped()));
}

void PillWindow::setRecording(bool recording) {
    if (recording == m_recording)
        return;
    m_recording = recording;
    m_recordButton->setText(recording ? tr("Stop recording") : tr("Record a skill"));
    m_paletteButton->setVisible(!recording);
    m_levelBar->setVisible(recording);
    refreshTitle();
    relayout();
}

void PillWindow::setMicLevel(double level) {
    const double clamped = qBound(0.0, level, 1.0);
    if (qFuzzyCompare(clamped + 1, m_micLevel + 1))
        return;
    m_micLevel = clamped;
    static_cast<LevelBar*>(m_levelBar)->setLevel(clamped);
    update(tabRect());
}

void PillWindow::setAcceptsMouse(bool accepts) {
    m_acceptsMouse = accepts;
    applyInputShape();
}

void PillWindow::applyInputShape() {
    if (testAttribute(Qt::WA_WState_Created))
        FloatingWindow::setTakesClicks(windowHandle(), m_acceptsMouse);
}

void PillWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    FloatingWindow::prepare(windowHandle());
    applyInputShape();
}

void PillWindow::setUpdateOffer(const QString& version) {
    if (version == m_updateVersion)
        return;
    m_updateVersion = version;
    relayout();
}

void PillWindow::setProblems(const QStringList& problems) {
    if (problems == m_problems)
        return;
    m_problems = problems;
    relayout();
}

void PillWindow::relayout() {
    if (m_recording) {
        m_cardHint->setText(tr("Do the task once, then double-tap Control to finish."));
    } else if (!m_problems.isEmpty()) {
        QStringList lines;
        for (const QString& problem : std::as_const(m_problems))
            lines << problem.toHtmlEscaped();
        m_cardHint->setText(QStringLiteral("<span style=\"color:%1\">%2</span>")
                                .arg(Theme::danger.name(), lines.join(QStringLiteral("<br>"))));
    } else if (!m_updateVersion.isEmpty()) {
        const QString link =
            QStringLiteral("<a href=\"%1\" style=\"color:%2; text-decoration:none;\">%3</a>");
        m_cardHint->setText(
            tr("Tavrik %1 is available.").arg(m_updateVersion.toHtmlEscaped()) +
            QStringLiteral("<br>") +
            link.arg(QStringLiteral("download"), Theme::accent.name(), tr("Download")) +
            QStringLiteral("&nbsp;&nbsp;·&nbsp;&nbsp;") +
            link.arg(QStringLiteral("later"), Theme::secondaryText.name(), tr("Not now")));
    } else {
        m_cardHint->setText(
            tr("Double-tap Control to record a task. Press Ctrl + / to cast a skill."));
    }
    measureParts();
    m_card->setGeometry(cardRect());
    m_tipBubble->setGeometry(tipRect());
    m_panel->setGeometry(panelRect());
    m_card->setVisible(showsCard());
    m_tipBubble->setVisible(showsTip());
    m_panel->setVisible(showsPanel());

    QBitmap shape(size());
    shape.fill(Qt::color0);
    QPainter painter(&shape);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::color1);
    // The shape is scaled to the screen's pixels in whole pixels, which at a fractional scale
    // steps into a curve of the same radius: a tighter one keeps the painted border whole.
    const int radius = Theme::cornerRadius - 2;
    // The tab and the card run off the right edge, so only their left corners are round.
    painter.drawRoundedRect(tabRect().adjusted(0, 0, tabWidth, 0), 7, 7);
    if (showsCard())
        painter.drawRoundedRect(cardRect().adjusted(0, 0, radius, 0), radius, radius);
    if (showsTip())
        painter.drawRoundedRect(tipRect(), radius, radius);
    if (showsPanel())
        painter.drawRoundedRect(panelRect(), radius, radius);
    painter.end();
    setMask(shape);
    applyInputShape();
    update();
}

void PillWindow::resizeEvent(QResizeEvent*) {
    relayout();
}

void PillWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRect tab = tabRect();
    painter.fillRect(tab, m_recording ? Theme::recording : Theme::dark);
    if (m_recording) {
        // Level meter: a white bar that grows with the voice.
        const int barHeight = qMax(4, int(m_micLevel * (tab.height() - 16)));
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(255, 255, 255, 230));
        painter.drawRoundedRect(
            QRectF(tab.center().x() - 1.5, tab.center().y() - barHeight / 2.0, 4, barHeight), 2, 2);
    } else {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0xb9, 0xc3, 0xd6));
        for (int i = -1; i <= 1; ++i)
            painter.drawEllipse(QPointF(tab.center().x() + 1, tab.center().y() + i * 8), 1.8, 1.8);
        if (!m_updateVersion.isEmpty()) {
            painter.setBrush(Theme::accent.lighter(130));
            painter.drawEllipse(QPointF(tab.center().x() + 1, tab.top() + 7), 2.6, 2.6);
        }
        if (!m_problems.isEmpty()) {
            painter.setBrush(Theme::recording);
            painter.drawEllipse(QPointF(tab.center().x() + 1, tab.bottom() - 6), 2.6, 2.6);
        }
    }
}

bool PillWindow::eventFilter(QObject* watched, QEvent* event) {
    // A part's texts changed: it may need another size.
    if (event->type() == QEvent::LayoutRequest &&
        (watched == m_card || watched == m_tipBubble || watched == m_panel))
        measureParts();
    // The pill never takes the keyboard by itself; clicking into the draft asks for it.
    if (watched == m_panel->editor()->viewport() && event->type() == QEvent::MouseButtonPress) {
        if (QWindow* handle = windowHandle()) {
            handle->setFlag(Qt::WindowDoesNotAcceptFocus, false);
            handle->requestActivate();
        }
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace tavrik
