#include "Tavrik/MainWindow/MainWindow.h"

#include "Tavrik/AppState.h"
#include "Tavrik/MainWindow/SkillIcon.h"
#include "Tavrik/MenuBar/TrayMenu.h"
#include "Tavrik/Shell/WindowStyle.h"
#include "Tavrik/Style/Theme.h"
#include "TavrikCore/MCP/MCPRegistry.h"
#include "TavrikCore/Storage/FuzzyMatch.h"
#include "TavrikCore/Storage/RepairProposal.h"
#include "TavrikCore/Storage/SkillMarkdown.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QStyledItemDelegate>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace tavrik {

namespace {

QLabel* label(const QString& text, qreal size, QFont::Weight weight = QFont::Normal,
              const char* role = nullptr) {
    auto* l = new QLabel(text);
    l->setFont(Theme::font(size, weight));
    if (role)
        l->setProperty("role", QString::fromLatin1(role));
    l->setTextInteractionFlags(Qt::NoTextInteraction);
    return l;
}

// The skill's symbol on a soft rounded chip.
QPixmap iconChip(const Skill& skill, int size, qreal dpr) {
    QPixmap chip(QSize(size, size) * dpr);
    chip.setDevicePixelRatio(dpr);
    chip.fill(Qt::transparent);
    QPainter painter(&chip);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::chip);
    painter.drawRoundedRect(QRectF(0, 0, size, size), size * 0.28, size * 0.28);
    const int inner = size * 0.56;
    const QPixmap symbol =
        SkillIcon::bundledPixmap(SkillIcon::symbol(skill), inner, Theme::chipSymbol, dpr);
    painter.drawPixmap(QPointF((size - inner) / 2.0, (size - inner) / 2.0), symbol);
    return chip;
}

enum Role { CommandRole = Qt::UserRole + 1, SymbolRole };

// Rows are painted rather than built from widgets, so a library of thousands opens at once.
class SkillRowDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override {
        return {0, 52};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const QRectF row = QRectF(option.rect).adjusted(0, 1, 0, -1);
        const bool selected = option.state.testFlag(QStyle::State_Selected);
        const bool hovered = option.state.testFlag(QStyle::State_MouseOver);
        if (selected || hovered) {
            painter->setPen(Qt::NoPen);
            painter->setBrush(selected ? Theme::selection : Theme::hover);
            painter->drawRoundedRect(row, 10, 10);
        }
        const qreal dpr = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        const QString symbol = index.data(SymbolRole).toString();
        const QString key = symbol + QString::number(dpr);
        if (!m_chips.contains(key))
            m_chips.insert(key, chipFor(symbol, 34, dpr));
        painter->drawPixmap(QPointF(row.left() + 10, row.center().y() - 17), m_chips.value(key));

        const int textLeft = int(row.left()) + 56;
        const int textWidth = int(row.right()) - textLeft - 10;
        QFont nameFont = Theme::font(10.5, QFont::DemiBold);
        QFont commandFont = Theme::font(9);
        painter->setFont(nameFont);
        painter->setPen(Theme::text);
        const QFontMetrics nameMetrics(nameFont);
        const QRect nameRect(textLeft, int(row.top()) + 8, textWidth, nameMetrics.height());
        painter->drawText(nameRect, Qt::AlignLeft | Qt::AlignVCenter,
                          nameMetrics.elidedText(index.data(Qt::DisplayRole).toString(),
                                                 Qt::ElideRight, textWidth));
        painter->setFont(commandFont);
        painter->setPen(Theme::secondaryText);
        const QFontMetrics commandMetrics(commandFont);
        const QRect commandRect(textLeft, nameRect.bottom() + 2, textWidth,
                                commandMetrics.height());
        painter->drawText(commandRect, Qt::AlignLeft | Qt::AlignVCenter,
                          commandMetrics.elidedText(index.data(CommandRole).toString(),
                                                    Qt::ElideRight, textWidth));
        painter->restore();
    }

private:
    static QPixmap chipFor(const QString& symbol, int size, qreal dpr) {
        QPixmap chip(QSize(size, size) * dpr);
        chip.setDevicePixelRatio(dpr);
        chip.fill(Qt::transparent);
        QPainter painter(&chip);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::chip);
        painter.drawRoundedRect(QRectF(0, 0, size, size), size * 0.28, size * 0.28);
        const int inner = int(size * 0.56);
        painter.drawPixmap(QPointF((size - inner) / 2.0, (size - inner) / 2.0),
                           SkillIcon::bundledPixmap(symbol, inner, Theme::chipSymbol, dpr));
        return chip;
    }

    mutable QHash<QString, QPixmap> m_chips;
};

QString escaped(const QString& text) {
    return text.toHtmlEscaped();
}

} // namespace

// ---------------------------------------------------------------------------------------------

SkillDetailView::SkillDetailView(QWidget* parent) : QWidget(parent) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(24, 22, 24, 20);
    outer->setSpacing(0);

    m_placeholder =
        label(QStringLiteral("Choose a skill to see its steps."), 10.5, QFont::Normal, "secondary");
    m_placeholder->setAlignment(Qt::AlignCenter);
    outer->addWidget(m_placeholder, 1);

    m_content = new QWidget;
    outer->addWidget(m_content, 1);
    auto* layout = new QVBoxLayout(m_content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);

    auto* header = new QHBoxLayout;
    header->setSpacing(14);
    m_icon = new QLabel;
    m_icon->setFixedSize(48, 48);
    header->addWidget(m_icon, 0, Qt::AlignTop);
    auto* titles = new QVBoxLayout;
    titles->setSpacing(2);
    m_name = label({}, 15, QFont::DemiBold);
    m_name->setWordWrap(true);
    m_command = label({}, 9.5, QFont::Normal, "secondary");
    titles->addWidget(m_name);
    titles->addWidget(m_command);
    header->addLayout(titles, 1);
    layout->addLayout(header);
    layout->addSpacing(10);

    m_trigger = label({}, 10, QFont::Normal, "secondary");
    m_trigger->setWordWrap(true);
    layout->addWidget(m_trigger);
    m_summary = label({}, 10.5);
    m_summary->setWordWrap(true);
    layout->addWidget(m_summary);
    m_lastOutcome = label({}, 10, QFont::DemiBold);
    m_lastOutcome->setObjectName(QStringLiteral("lastOutcome"));
    m_lastOutcome->setWordWrap(true);
    m_lastOutcome->setVisible(false);
    layout->addWidget(m_lastOutcome);
    m_repair = new QWidget;
    m_repair->setObjectName(QStringLiteral("repairOffer"));
    auto* repairLayout = new QVBoxLayout(m_repair);
    repairLayout->setContentsMargins(0, 6, 0, 0);
    repairLayout->setSpacing(6);
    m_repairText = label({}, 10);
    m_repairText->setWordWrap(true);
    repairLayout->addWidget(m_repairText);
    auto* repairButtons = new QHBoxLayout;
    m_updateSkill = new QPushButton(QStringLiteral("Update the skill"));
    m_keepSkill = new QPushButton(QStringLiteral("Keep it as it is"));
    WindowStyle::setKind(m_updateSkill, WindowStyle::ButtonKind::primary);
    WindowStyle::setKind(m_keepSkill, WindowStyle::ButtonKind::secondary);
    repairButtons->addWidget(m_updateSkill);
    repairButtons->addWidget(m_keepSkill);
    repairButtons->addStretch(1);
    repairLayout->addLayout(repairButtons);
    m_repair->setVisible(false);
    layout->addWidget(m_repair);
    layout->addSpacing(10);

    m_parametersHeading = label(QStringLiteral("PARAMETERS"), 8.5, QFont::DemiBold, "heading");
    layout->addWidget(m_parametersHeading);
    m_parameters = label({}, 10);
    m_parameters->setTextFormat(Qt::RichText);
    m_parameters->setWordWrap(true);
    layout->addWidget(m_parameters);
    layout->addSpacing(8);

    m_stepsHeading = label(QStringLiteral("STEPS"), 8.5, QFont::DemiBold, "heading");
    layout->addWidget(m_stepsHeading);
    m_steps = label({}, 10);
    m_steps->setTextFormat(Qt::RichText);
    m_steps->setWordWrap(true);
    m_steps->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    auto* scroll = new QScrollArea;
    scroll->setWidget(m_steps);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setStyleSheet(QStringLiteral(
        "QScrollArea, QScrollArea > QWidget > QWidget { background: transparent; }"));
    layout->addWidget(scroll, 1);
    layout->addSpacing(12);

    auto* actions = new QHBoxLayout;
    actions->setSpacing(8);
    m_cast = new QPushButton(QStringLiteral("Cast"));
    m_check = new QPushButton(QStringLiteral("Check"));
    m_edit = new QPushButton(QStringLiteral("Edit"));
    m_export = new QPushButton(QStringLiteral("Export"));
    m_delete = new QPushButton(QStringLiteral("Delete"));
    m_connect = new QPushButton;
    WindowStyle::setKind(m_connect, WindowStyle::ButtonKind::secondary);
    WindowStyle::setKind(m_cast, WindowStyle::ButtonKind::primary);
    WindowStyle::setKind(m_check, WindowStyle::ButtonKind::secondary);
    WindowStyle::setKind(m_edit, WindowStyle::ButtonKind::secondary);
    WindowStyle::setKind(m_export, WindowStyle::ButtonKind::secondary);
    WindowStyle::setKind(m_delete, WindowStyle::ButtonKind::danger);
    m_cast->setToolTip(QStringLiteral("Run this skill now with its example values"));
    m_check->setToolTip(
        QStringLiteral("Find every recorded step's element on your desktop now, without acting"));
    m_export->setToolTip(QStringLiteral("Copy its SKILL.md into your Downloads folder"));
    actions->addWidget(m_cast);
    actions->addWidget(m_check);
    actions->addWidget(m_edit);
    actions->addWidget(m_export);
    actions->addWidget(m_connect);
    actions->addStretch(1);
    actions->addWidget(m_delete);
    layout->addLayout(actions);

    connect(m_cast, &QPushButton::clicked, this, &SkillDetailView::castClicked);
    connect(m_check, &QPushButton::clicked, this, &SkillDetailView::checkClicked);
    connect(m_edit, &QPushButton::clicked, this, &SkillDetailView::editClicked);
    connect(m_export, &QPushButton::clicked, this, &SkillDetailView::exportClicked);
    connect(m_delete, &QPushButton::clicked, this, &SkillDetailView::deleteClicked);
    connect(m_connect, &QPushButton::clicked, this, &SkillDetailView::connectClicked);
    connect(m_updateSkill, &QPushButton::clicked, this, &SkillDetailView::updateSkillClicked);
    connect(m_keepSkill, &QPushButton::clicked, this, &SkillDetailView::keepSkillClicked);
    setSkill(std::nullopt);
}

void SkillDetailView::setSkill(const std::optional<Skill>& skill) {
    m_placeholder->setVisible(!skill);
    m_content->setVisible(skill.has_value());
    // A service the skill's application has a tool server for, not connected yet.
    m_unconnected.reset();
    if (skill && !skill->appScope.isEmpty()) {
        const MCPRegistry registry;
        const QList<MCPServer> known = registry.knownServers(skill->appScope);
        const bool anyConnected = std::any_of(known.begin(), known.end(),
                                              [](const MCPServer& s) { return s.isConfigured(); });
        if (!known.isEmpty() && !anyConnected)
            m_unconnected = known.first();
    }
    m_connect->setVisible(m_unconnected.has_value());
    if (m_unconnected) {
        const QString& name = m_unconnected->name;
        m_connect->setText(QStringLiteral("Connect %1").arg(name.left(1).toUpper() + name.mid(1)));
        m_connect->setToolTip(QStringLiteral("Log in so the skill can use %1 directly").arg(name));
    }
    // A run repaired steps with the model: offered here, never saved without the user's word.
    const std::optional<RepairProposal> proposal =
        skill ? RepairProposal::load(skill->id) : std::nullopt;
    m_repair->setVisible(proposal.has_value());
    if (proposal)
        m_repairText->setText(QStringLiteral("The model repaired %1 in the last run:\n")
                                  .arg(proposal->changes.size() == 1 ? QStringLiteral("a step")
                                                                     : QStringLiteral("steps")) +
                              proposal->describe().join(u'\n'));
    if (!skill)
        return;
    m_icon->setPixmap(iconChip(*skill, 48, devicePixelRatioF()));
    m_name->setText(skill->name.isEmpty() ? QStringLiteral("Untitled skill") : skill->name);
    m_command->setText(skill->slashCommand());
    m_trigger->setText(
        skill->trigger.isEmpty() ? QString() : QStringLiteral("Trigger: “%1”").arg(skill->trigger));
    m_trigger->setVisible(!skill->trigger.isEmpty());
    m_summary->setText(skill->summary);
    m_summary->setVisible(!skill->summary.isEmpty());

    QStringList parameters;
    for (const Parameter& parameter : skill->parameters)
        parameters << QStringLiteral("<b>%1</b> <span style='color:%3'>— %2</span>")
                          .arg(escaped(parameter.name),
                               escaped(parameter.exampleValue.isEmpty()
                                           ? parameter.prompt
                                           : QStringLiteral("e.g. ") + parameter.exampleValue),
                               Theme::secondaryText.name());
    m_parametersHeading->setVisible(!parameters.isEmpty());
    m_parameters->setVisible(!parameters.isEmpty());
    m_parameters->setText(parameters.join(QStringLiteral("<br>")));

    // The steps as the skill's own text words them; the recorded intents when it has none.
    const QStringList instructions =
        SkillMarkdown::instructionSteps(SkillStore().markdown(*skill).valueOr(QString()));
    QString steps = QStringLiteral("<table cellspacing='0' cellpadding='3'>");
    const auto addRow = [&steps](int number, const QString& text, bool asksFirst) {
        steps +=
            QStringLiteral("<tr><td style='color:%1' align='right'>%2.</td><td>%3%4</td></tr>")
                .arg(Theme::tertiaryText.name())
                .arg(number)
                .arg(escaped(text),
                     asksFirst
                         ? QStringLiteral("&nbsp;&nbsp;<span style='color:%1'>● asks first</span>")
                               .arg(Theme::danger.name())
                         : QString());
    };
    if (!instructions.isEmpty()) {
        for (qsizetype i = 0; i < instructions.size(); ++i)
            addRow(int(i + 1), instructions[i], false);
    } else {
        for (const PlanStep& step : skill->plan)
            addRow(step.index + 1, step.intent, step.isDestructive);
    }
    steps += QStringLiteral("</table>");
    const bool anySteps = !instructions.isEmpty() || !skill->plan.isEmpty();
    m_hasPlan = !skill->plan.isEmpty();
    m_check->setVisible(m_hasPlan);
    m_stepsHeading->setVisible(anySteps);
    m_steps->setText(anySteps ? steps : QString());
}

void SkillDetailView::setLastOutcome(const QString& outcome) {
    m_lastOutcome->setText(outcome.isEmpty() ? QString()
                                             : QStringLiteral("Last run: %1").arg(outcome));
    m_lastOutcome->setVisible(!outcome.isEmpty());
}

void SkillDetailView::setCastEnabled(bool enabled) {
    m_cast->setEnabled(enabled);
    m_check->setEnabled(enabled && m_hasPlan);
}

void SkillDetailView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Theme::border, 1));
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), Theme::cornerRadius,
                            Theme::cornerRadius);
}

// ---------------------------------------------------------------------------------------------

MainWindow::MainWindow(AppState* app, QWidget* parent) : QWidget(parent), m_app(app) {
    setWindowTitle(QStringLiteral("Tavrik"));
    setWindowIcon(TrayMenu::icon(false));
    WindowStyle::apply(this);
    resize(960, 620);
    setMinimumSize(720, 460);

    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(24, 20, 24, 24);
    root->setSpacing(16);

    // Header: the name and state on the left, search and record on the right.
    auto* header = new QHBoxLayout;
    header->setSpacing(12);
    auto* mark = new QLabel;
    mark->setPixmap(TrayMenu::icon(false).pixmap(32, 32));
    header->addWidget(mark);
    auto* titles = new QVBoxLayout;
    titles->setSpacing(0);
    titles->addWidget(label(QStringLiteral("Tavrik"), 15, QFont::DemiBold));
    m_status = label({}, 9.5, QFont::Normal, "secondary");
    titles->addWidget(m_status);
    header->addLayout(titles);
    header->addStretch(1);
    m_search = new QLineEdit;
    m_search->setPlaceholderText(QStringLiteral("Search skills"));
    m_search->setAccessibleName(m_search->placeholderText()); // the placeholder is not read out
    m_search->setClearButtonEnabled(true);
    m_search->setFixedWidth(260);
    header->addWidget(m_search);
    m_record = new QPushButton;
    WindowStyle::setKind(m_record, WindowStyle::ButtonKind::primary);
    header->addWidget(m_record);
    m_preferences = new QAction(QStringLiteral("Preferences…"), this);
    m_preferences->setShortcut(QKeySequence(QStringLiteral("Ctrl+,")));
    m_quit = new QAction(QStringLiteral("Quit Tavrik"), this);
    m_quit->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));
    addAction(m_preferences);
    addAction(m_quit);
    auto* menu = new QMenu(this);
    menu->addAction(m_preferences);
    menu->addSeparator();
    menu->addAction(m_quit);
    auto* more = new QToolButton;
    more->setText(QStringLiteral("Tavrik Menu"));
    more->setAccessibleName(QStringLiteral("Tavrik Menu"));
    more->setIcon(QIcon::fromTheme(QStringLiteral("open-menu-symbolic")));
    more->setToolButtonStyle(more->icon().isNull() ? Qt::ToolButtonTextOnly
                                                   : Qt::ToolButtonIconOnly);
    more->setToolTip(QStringLiteral("Preferences and Quit"));
    more->setPopupMode(QToolButton::InstantPopup);
    more->setMenu(menu);
    header->addWidget(more);
    connect(m_preferences, &QAction::triggered, this, &MainWindow::preferencesRequested);
    connect(m_quit, &QAction::triggered, this, &MainWindow::quitRequested);
    root->addLayout(header);

    // What of the desktop does not work, so it is not only in the log.
    m_problems = new QLabel;
    m_problems->setObjectName(QStringLiteral("desktopProblems"));
    m_problems->setWordWrap(true);
    m_problems->setTextFormat(Qt::PlainText);
    m_problems->setStyleSheet(
        QStringLiteral("QLabel#desktopProblems { background: %1; color: %2; border-radius: 8px;"
                       " padding: 8px 12px; }")
            .arg(Theme::dangerSoft.name(), Theme::text.name()));
    m_problems->hide();
    root->addWidget(m_problems);

    m_body = new QStackedWidget;
    root->addWidget(m_body, 1);

    // The library.
    auto* library = new QWidget;
    auto* columns = new QHBoxLayout(library);
    columns->setContentsMargins(0, 0, 0, 0);
    columns->setSpacing(16);
    auto* listColumn = new QVBoxLayout;
    listColumn->setSpacing(6);
    m_count = label({}, 8.5, QFont::DemiBold, "heading");
    listColumn->addWidget(m_count);
    m_list = new QListWidget;
    m_list->setFixedWidth(310);
    m_list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setItemDelegate(new SkillRowDelegate(m_list));
    m_list->setUniformItemSizes(true);
    m_list->setMouseTracking(true);
    listColumn->addWidget(m_list, 1);
    columns->addLayout(listColumn);
    m_detail = new SkillDetailView;
    columns->addWidget(m_detail, 1);
    m_body->addWidget(library);

    // The empty library.
    auto* empty = new QWidget;
    auto* emptyLayout = new QVBoxLayout(empty);
    emptyLayout->addStretch(2);
    auto* emptyIcon = new QLabel;
    emptyIcon->setPixmap(SkillIcon::bundledPixmap(QString::fromLatin1(SkillIcon::recordSymbol), 44,
                                                  Theme::accent, devicePixelRatioF()));
    emptyIcon->setAlignment(Qt::AlignCenter);
    emptyLayout->addWidget(emptyIcon);
    emptyLayout->addSpacing(10);
    auto* emptyTitle = label(QStringLiteral("No skills yet"), 16, QFont::DemiBold);
    emptyTitle->setAlignment(Qt::AlignCenter);
    emptyLayout->addWidget(emptyTitle);
    auto* emptyText = label(
        QStringLiteral("Double-tap Control, do the task once, and double-tap Control again.\n"
                       "Tavrik writes it down as a skill you can run any time with Ctrl + /."),
        10.5, QFont::Normal, "secondary");
    emptyText->setAlignment(Qt::AlignCenter);
    emptyLayout->addWidget(emptyText);
    emptyLayout->addSpacing(14);
    auto* emptyRecord = new QPushButton(QStringLiteral("Record Your First Skill"));
    WindowStyle::setKind(emptyRecord, WindowStyle::ButtonKind::primary);
    emptyLayout->addWidget(emptyRecord, 0, Qt::AlignHCenter);
    emptyLayout->addStretch(3);
    m_body->addWidget(empty);

    connect(m_search, &QLineEdit::textChanged, this, &MainWindow::refreshSkills);
    connect(m_list, &QListWidget::currentRowChanged, this, &MainWindow::showSelected);
    connect(m_list, &QListWidget::itemDoubleClicked, this, [this] {
        if (m_list->currentRow() >= 0)
            m_app->cast(m_shown.value(m_list->currentRow()));
    });
    connect(m_record, &QPushButton::clicked, m_app, [this] {
        if (m_app->state().kind() == TavrikState::Kind::recording)
            m_app->stopRecording();
        else
            m_app->toggleRecording();
    });
    connect(emptyRecord, &QPushButton::clicked, m_app, &AppState::toggleRecording);
    connect(m_detail, &SkillDetailView::castClicked, this, [this] {
        if (m_list->currentRow() >= 0)
            m_app->cast(m_shown.value(m_list->currentRow()));
    });
    connect(m_detail, &SkillDetailView::checkClicked, this, [this] {
        if (m_list->currentRow() >= 0)
            m_app->check(m_shown.value(m_list->currentRow()));
    });
    connect(m_detail, &SkillDetailView::editClicked, this, [this] {
        if (m_list->currentRow() >= 0)
            emit editRequested(m_shown.value(m_list->currentRow()));
    });
    connect(m_detail, &SkillDetailView::exportClicked, this, [this] {
        if (m_list->currentRow() >= 0)
            // A failure is logged; the export simply shows no file.
            (void)m_app->exportSkill(m_shown.value(m_list->currentRow()));
    });
    connect(m_detail, &SkillDetailView::connectClicked, this, [this] {
        if (m_list->currentRow() >= 0 && m_detail->unconnectedServer())
            emit connectRequested(m_shown.value(m_list->currentRow()),
                                  *m_detail->unconnectedServer());
    });
    connect(m_detail, &SkillDetailView::updateSkillClicked, this, [this] { reviewRepair(true); });
    connect(m_detail, &SkillDetailView::keepSkillClicked, this, [this] { reviewRepair(false); });
    connect(m_detail, &SkillDetailView::deleteClicked, this, [this] {
        if (m_list->currentRow() >= 0)
            confirmDelete(m_shown.value(m_list->currentRow()));
    });
    connect(m_app, &AppState::skillsChanged, this, &MainWindow::refreshSkills);
    connect(m_app, &AppState::stateChanged, this, &MainWindow::refreshState);
    connect(m_app, &AppState::desktopProblemsChanged, this, &MainWindow::refreshProblems);
    refreshProblems();
    connect(m_app, &AppState::runOutcomeChanged, this, &MainWindow::showSelected);
    refreshSkills();
    refreshState();
}

bool MainWindow::showsEmptyLibrary() const {
    return m_body->currentIndex() == 1;
}

void MainWindow::select(qsizetype row) {
    m_list->setCurrentRow(int(row));
}

void MainWindow::refreshSkills() {
    const QList<Skill>& all = m_app->skills();
    m_body->setCurrentIndex(all.isEmpty() ? 1 : 0);
    m_search->setEnabled(!all.isEmpty());

    const QUuid selected =
        m_list->currentRow() >= 0 ? m_shown.value(m_list->currentRow()).id : QUuid();
    m_shown = FuzzyMatch::rank(all, m_search->text().trimmed().toLower(), FuzzyMatch::skillFields);
    QSignalBlocker block(m_list);
    m_list->clear();
    int reselect = m_shown.isEmpty() ? -1 : 0;
    for (qsizetype i = 0; i < m_shown.size(); ++i) {
        const Skill& skill = m_shown[i];
        auto* item = new QListWidgetItem(
            skill.name.isEmpty() ? QStringLiteral("Untitled skill") : skill.name, m_list);
        item->setData(CommandRole, skill.slashCommand());
        item->setData(SymbolRole, SkillIcon::symbol(skill));
        item->setToolTip(skill.name);
        if (skill.id == selected)
            reselect = int(i);
    }
    m_count->setText(
        m_search->text().trimmed().isEmpty()
            ? QStringLiteral("%1 SKILL%2").arg(all.size()).arg(all.size() == 1 ? "" : "S")
            : QStringLiteral("%1 OF %2").arg(m_shown.size()).arg(all.size()));
    m_list->setCurrentRow(reselect);
    showSelected();
}

void MainWindow::refreshProblems() {
    const QStringList problems = m_app->desktopProblems();
    m_problems->setText(problems.join(QLatin1Char('\n')));
    m_problems->setVisible(!problems.isEmpty());
}

void MainWindow::refreshState() {
    const TavrikState& state = m_app->state();
    m_status->setText(m_app->statusTitle());
    const bool recording = state.kind() == TavrikState::Kind::recording;
    m_record->setText(recording ? QStringLiteral("Stop Recording")
                                : QStringLiteral("Record a Skill"));
    m_record->setEnabled(state.kind() != TavrikState::Kind::casting &&
                         state.kind() != TavrikState::Kind::synthesizing);
    m_detail->setCastEnabled(state.kind() == TavrikState::Kind::idle);
}

void MainWindow::showSelected() {
    const int row = m_list->currentRow();
    m_detail->setSkill(row >= 0 && row < m_shown.size() ? std::optional(m_shown[row])
                                                        : std::nullopt);
    m_detail->setLastOutcome(row >= 0 && row < m_shown.size() ? m_app->lastOutcome(m_shown[row])
                                                              : QString());
}

void MainWindow::reviewRepair(bool accept) {
    if (m_list->currentRow() < 0)
        return;
    const QUuid id = m_shown.value(m_list->currentRow()).id;
    const std::optional<RepairProposal> proposal = RepairProposal::load(id);
    if (!proposal)
        return showSelected();
    if (const Result<> done = accept ? proposal->accept() : RepairProposal::reject(id); !done.ok())
        QMessageBox::warning(this, QStringLiteral("Tavrik"),
                             QStringLiteral("The skill was not updated: %1").arg(done.error()));
    if (accept)
        m_app->reloadSkills();
    showSelected();
}

void MainWindow::confirmDelete(const Skill& skill) {
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Tavrik"),
                    QStringLiteral("Delete “%1”?").arg(skill.name), QMessageBox::NoButton, this);
    box.setInformativeText(
        QStringLiteral("Its folder and SKILL.md are removed from your library."));
    QPushButton* remove = box.addButton(QStringLiteral("Delete"), QMessageBox::DestructiveRole);
    box.addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box.exec();
    if (box.clickedButton() == remove)
        m_app->deleteSkill(skill);
}

} // namespace tavrik
