#include "Tavrik/Pill/SkillPanel.h"

#include "Tavrik/Style/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTextCursor>
#include <QVBoxLayout>

namespace tavrik {

namespace {

QString buttonStyle(const QColor& background, const QColor& foreground, const QColor& hover) {
    return QStringLiteral(
               "QPushButton { background: %1; color: %2; border: none; border-radius: 7px;"
               " padding: 5px 14px; }"
               "QPushButton:hover { background: %3; }"
               "QPushButton:focus { border: 2px solid %6; }"
               "QPushButton:disabled { background: %4; color: %5; }")
        .arg(background.name(), foreground.name(), hover.name(), Theme::chip.name(),
             Theme::tertiaryText.name(), Theme::text.name());
}

QPushButton* makeButton(const QString& text, bool primary, QWidget* parent) {
    auto* button = new QPushButton(text, parent);
    button->setCursor(Qt::PointingHandCursor);
    button->setFont(Theme::font(9.5, QFont::Medium));
    button->setStyleSheet(primary ? buttonStyle(Theme::accent, Qt::white, Theme::accent.darker(112))
                                  : buttonStyle(Theme::chip, Theme::text, Theme::divider));
    return button;
}

// The draft asks for a few lines, not a page: the panel grows with its texts, and the
// editor takes what room is left.
class DraftEditor : public QPlainTextEdit {
public:
    using QPlainTextEdit::QPlainTextEdit;
    QSize sizeHint() const override {
        constexpr int linesShown = 5;
        return {QPlainTextEdit::sizeHint().width(),
                linesShown * fontMetrics().lineSpacing() + 2 * frameWidth() + 16};
    }
};

} // namespace

SkillPanel::SkillPanel(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("SkillPanel"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAccessibleName(tr("Skill panel"));

    m_badge = new QLabel(this);
    m_badge->setFont(Theme::font(8, QFont::DemiBold));
    m_badge->setAlignment(Qt::AlignCenter);
    m_badge->setFixedHeight(20);

    m_heading = new QLabel(this);
    m_heading->setFont(Theme::font(11.5, QFont::DemiBold));
    m_heading->setStyleSheet(QStringLiteral("color: %1;").arg(Theme::text.name()));
    m_heading->setTextFormat(Qt::PlainText);
    m_heading->setWordWrap(true); // a long skill name wraps rather than widening the panel

    m_detail = new QLabel(this);
    m_detail->setFont(Theme::font(10));
    m_detail->setWordWrap(true);
    m_detail->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    m_detail->setStyleSheet(QStringLiteral("color: %1;").arg(Theme::secondaryText.name()));
    m_detail->setTextInteractionFlags(Qt::TextSelectableByMouse);

    m_editor = new DraftEditor(this);
    m_editor->setObjectName(QStringLiteral("skillMarkdown"));
    m_editor->setAccessibleName(tr("Skill text"));
    m_editor->setFont(Theme::monospaceFont(9));
    m_editor->setFrameShape(QFrame::NoFrame);
    m_editor->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    m_editor->setStyleSheet(
        QStringLiteral("QPlainTextEdit { background: %1; color: %2; border: 1px solid %3;"
                       " border-radius: 8px; padding: 4px 6px; }")
            .arg(Theme::window.name(), Theme::text.name(), Theme::divider.name()));
    m_editor->verticalScrollBar()->setStyleSheet(
        QStringLiteral(
            "QScrollBar:vertical { width: 8px; background: transparent; }"
            "QScrollBar::handle:vertical { background: %1; border-radius: 4px; min-height: 24px; }"
            "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }")
            .arg(Theme::border.name()));

    m_footer = new QLabel(this);
    m_footer->setFont(Theme::font(9));
    m_footer->setStyleSheet(QStringLiteral("color: %1;").arg(Theme::tertiaryText.name()));

    m_discard = makeButton(tr("Discard"), false, this);
    m_close = makeButton(tr("Close"), false, this);
    m_save = makeButton(tr("Save"), false, this);
    m_run = makeButton(tr("Run"), true, this);
    m_retry = makeButton(QStringLiteral("Try Again"), true, this);

    auto* top = new QHBoxLayout;
    top->setSpacing(10);
    top->addWidget(m_heading, 1);
    top->addWidget(m_badge);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    buttons->addWidget(m_discard);
    buttons->addWidget(m_close);
    buttons->addWidget(m_footer);
    buttons->addStretch(1);
    buttons->addWidget(m_save);
    buttons->addWidget(m_run);
    buttons->addWidget(m_retry);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(18, 14, 18, 14);
    layout->setSpacing(8);
    layout->addLayout(top);
    layout->addWidget(m_detail);
    layout->addWidget(m_editor, 1);
    layout->addLayout(buttons);

    connect(m_save, &QPushButton::clicked, this, &SkillPanel::saveClicked);
    connect(m_run, &QPushButton::clicked, this, &SkillPanel::runClicked);
    connect(m_discard, &QPushButton::clicked, this, &SkillPanel::discardClicked);
    connect(m_close, &QPushButton::clicked, this, &SkillPanel::closeClicked);
    connect(m_retry, &QPushButton::clicked, this, &SkillPanel::retryClicked);
    connect(m_editor, &QPlainTextEdit::textChanged, this, [this] {
        if (!m_settingText && m_phase == SkillPanelPhase::editable)
            emit markdownEdited(m_editor->toPlainText());
    });
    refresh();
}

void SkillPanel::setPhase(SkillPanelPhase phase) {
    if (phase == m_phase)
        return;
    if (phase == SkillPanelPhase::running && m_phase != SkillPanelPhase::running) {
        m_progress.clear();
        m_outcome.clear();
    }
    const bool startsReview =
        phase == SkillPanelPhase::editable && m_phase != SkillPanelPhase::editable;
    m_phase = phase;
    refresh();
    if (startsReview)
        m_editor->verticalScrollBar()->setValue(0);
}

void SkillPanel::setStatus(const QString& status) {
    m_status = status;
    refresh();
}

void SkillPanel::setMarkdown(const QString& markdown) {
    const QString current = m_editor->toPlainText();
    if (markdown == current)
        return;
    m_settingText = true;
    if (!current.isEmpty() && markdown.startsWith(current)) {
        // Streaming: add the new tail without resetting the view.
        QTextCursor cursor(m_editor->document());
        cursor.movePosition(QTextCursor::End);
        cursor.insertText(markdown.mid(current.size()));
    } else {
        m_editor->setPlainText(markdown);
    }
    m_settingText = false;
    if (m_phase == SkillPanelPhase::generating)
        m_editor->verticalScrollBar()->setValue(m_editor->verticalScrollBar()->maximum());
}

QString SkillPanel::markdown() const {
    return m_editor->toPlainText();
}

void SkillPanel::setSkillName(const QString& name, const QString& slashCommand) {
    m_name = name;
    m_slashCommand = slashCommand;
    refresh();
}

void SkillPanel::setRunningLine(const QString& line) {
    const QString trimmed = line.trimmed();
    if (trimmed.isEmpty() || (!m_progress.isEmpty() && m_progress.last() == trimmed))
        return;
    m_progress.append(trimmed);
    while (m_progress.size() > progressLinesShown)
        m_progress.removeFirst();
    refresh();
}

void SkillPanel::setOutcome(const QString& outcome) {
    m_outcome = outcome.trimmed();
    refresh();
}

void SkillPanel::setError(const QString& error) {
    m_error = error;
    refresh();
}

void SkillPanel::setRetryAvailable(bool available) {
    m_retryAvailable = available;
    refresh();
}

QString SkillPanel::progressHtml() const {
    QStringList rows;
    for (int i = 0; i < m_progress.size(); ++i) {
        const bool latest = i == m_progress.size() - 1 && m_outcome.isEmpty();
        rows << QStringLiteral("<div style=\"color:%1;%2\">%3&nbsp;&nbsp;%4</div>")
                    .arg(latest ? Theme::text.name() : Theme::tertiaryText.name(),
                         latest ? QStringLiteral("font-weight:600;") : QString(),
                         latest ? QStringLiteral("›") : QStringLiteral("✓"),
                         m_progress.at(i).toHtmlEscaped());
    }
    if (!m_outcome.isEmpty())
        rows << QStringLiteral("<div style=\"color:%1;font-weight:600;\">%2</div>")
                    .arg(Theme::text.name(), m_outcome.toHtmlEscaped());
    return rows.join(QString());
}

void SkillPanel::refresh() {
    auto setBadge = [this](const QString& text, const QColor& foreground,
                           const QColor& background) {
        m_badge->setText(text);
        m_badge->setVisible(!text.isEmpty());
        m_badge->setStyleSheet(
            QStringLiteral(
                "QLabel { color: %1; background: %2; border-radius: 10px; padding: 0 10px; }")
                .arg(foreground.name(), background.name()));
    };
    const QString quotedName =
        m_name.isEmpty() ? tr("your skill") : QStringLiteral("“%1”").arg(m_name);

    m_detail->setTextFormat(Qt::PlainText);
    m_detail->setStyleSheet(QStringLiteral("color: %1;").arg(Theme::secondaryText.name()));
    QString footer;
    bool showDetail = true;
    bool showEditor = false;
    bool editable = false;
    bool discard = false, close = false, save = false, run = false, retry = false;

    switch (m_phase) {
    case SkillPanelPhase::idle:
        m_heading->clear();
        m_detail->clear();
        setBadge({}, {}, {});
        break;
    case SkillPanelPhase::generating:
        m_heading->setText(m_status.isEmpty() ? tr("Writing the skill…") : m_status);
        m_detail->setText(tr("Tavrik is turning your demonstration into steps."));
        setBadge(tr("DRAFTING"), Theme::accent, Theme::accentSoft);
        showEditor = true;
        discard = true;
        break;
    case SkillPanelPhase::editable:
        m_heading->setText(m_name.isEmpty() ? tr("Review your skill") : m_name);
        m_detail->clear();
        showDetail = false;
        footer = tr("Edit anything that is off, then save or run it.");
        setBadge(tr("DRAFT"), Theme::secondaryText, Theme::chip);
        showEditor = true;
        editable = true;
        discard = save = run = true;
        break;
    case SkillPanelPhase::saved:
        m_heading->setText(tr("Saved %1").arg(quotedName));
        if (!m_outcome.isEmpty()) {
            m_detail->setText(tr("Last run: %1").arg(m_outcome));
        } else if (!m_slashCommand.isEmpty()) {
            m_detail->setText(
                tr("Cast it any time: press Ctrl + / and type %1.").arg(m_slashCommand));
        } else {
            m_detail->setText(tr("Cast it any time: press Ctrl + / and type its name."));
        }
        setBadge(tr("SAVED"), Theme::success, Theme::successSoft);
        close = run = true;
        break;
    case SkillPanelPhase::running:
        m_heading->setText(tr("Running %1").arg(quotedName));
        m_detail->setTextFormat(Qt::RichText);
        m_detail->setText(m_progress.isEmpty() && m_outcome.isEmpty()
                              ? QStringLiteral("<div style=\"color:%1\">%2</div>")
                                    .arg(Theme::secondaryText.name(), tr("Starting…"))
                              : progressHtml());
        footer =
            m_outcome.isEmpty() ? tr("Tavrik is acting on its own. Press Esc to stop.") : QString();
        if (m_outcome.isEmpty())
            setBadge(tr("RUNNING"), Theme::accent, Theme::accentSoft);
        else if (m_outcome.startsWith(u'✓'))
            setBadge(tr("FINISHED"), Theme::success, Theme::successSoft);
        else
            setBadge(m_outcome.startsWith(u'✗') ? tr("FAILED") : tr("STOPPED"), Theme::danger,
                     Theme::dangerSoft);
        close = !m_outcome.isEmpty();
        break;
    case SkillPanelPhase::error:
        m_heading->setText(QString::fromUtf8(errorHeading));
        m_detail->setText(m_error.isEmpty() ? tr("Something went wrong.") : m_error);
        m_detail->setStyleSheet(QStringLiteral("color: %1;").arg(Theme::text.name()));
        setBadge(tr("ERROR"), Theme::danger, Theme::dangerSoft);
        close = true;
        retry = m_retryAvailable;
        break;
    }

    m_detail->setVisible(showDetail);
    m_footer->setText(footer);
    m_footer->setVisible(!footer.isEmpty());
    m_editor->setVisible(showEditor);
    m_editor->setReadOnly(!editable);
    m_discard->setVisible(discard);
    m_close->setVisible(close);
    m_save->setVisible(save);
    m_run->setVisible(run);
    m_retry->setVisible(retry);
    m_heading->setVisible(m_phase != SkillPanelPhase::idle);
    update();
}

void SkillPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // Outside the rounded border is border too: the window's shape keeps a little of it.
    painter.fillRect(rect(), Theme::border);
    painter.setPen(QPen(Theme::border, 1.5));
    painter.setBrush(Theme::window);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75),
                            Theme::cornerRadius - 0.5, Theme::cornerRadius - 0.5);
}

} // namespace tavrik
