#include "Tavrik/Onboarding/OnboardingWindow.h"

#include "Tavrik/Analytics.h"
#include "Tavrik/MenuBar/TrayMenu.h"
#include "Tavrik/Shell/WindowStyle.h"
#include "Tavrik/Style/Theme.h"
#include "TavrikCore/Permissions/PermissionsManager.h"
#include "TavrikCore/Synthesis/Secrets.h"
#include "TavrikPlatform/DesktopSession.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace tavrik {

namespace {

// A white rounded card around one permission.
class Card : public QWidget {
protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(Theme::border, 1));
        painter.setBrush(Qt::white);
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 12, 12);
    }
};

QLabel* text(const QString& value, qreal size, QFont::Weight weight = QFont::Normal,
             bool secondary = false) {
    auto* label = new QLabel(value);
    label->setFont(Theme::font(size, weight));
    label->setWordWrap(true);
    if (secondary)
        label->setProperty("role", QStringLiteral("secondary"));
    return label;
}

} // namespace

OnboardingWindow::OnboardingWindow(PermissionsManager* permissions, QWidget* parent)
    : QWidget(parent), m_permissions(permissions) {
    setWindowTitle(QStringLiteral("Welcome to Tavrik"));
    setWindowIcon(TrayMenu::icon(false));
    WindowStyle::apply(this);
    setFixedWidth(560);

    // The questions scroll when the screen is shorter than they are (a large scale factor).
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* body = new QWidget;
    body->setObjectName(QStringLiteral("TavrikWindow"));
    body->setAttribute(Qt::WA_StyledBackground);
    scroll->setWidget(body);
    outer->addWidget(scroll);
    auto* root = new QVBoxLayout(body);
    root->setContentsMargins(32, 24, 32, 20);
    root->setSpacing(8);
    auto* mark = new QLabel;
    mark->setPixmap(TrayMenu::icon(false).pixmap(48, 48));
    root->addWidget(mark);
    root->addSpacing(4);
    root->addWidget(text(QStringLiteral("Let Tavrik watch and help"), 17, QFont::DemiBold));
    root->addWidget(
        text(QStringLiteral("Tavrik learns a task by watching you do it once. To see, follow and "
                            "repeat what you do, it needs three things from your desktop."),
             10.5, QFont::Normal, true));
    root->addSpacing(8);
    // A session Tavrik cannot fully work in is said first, with what would change it.
    if (const QString limits = DesktopSession::limitations(DesktopSession::current());
        !limits.isEmpty()) {
        auto* notice = text(limits, 9.5, QFont::Normal);
        notice->setObjectName(QStringLiteral("sessionNotice"));
        notice->setAccessibleName(QStringLiteral("Desktop session"));
        root->addWidget(notice);
        root->addSpacing(8);
    }

    // The first launch also asks for the key and, before any usage event leaves, whether to send
    // them at all.
    if (!Secrets::hasAnthropicKey())
        root->addWidget(keyCard());
    if (!Analytics::isAnswered())
        root->addWidget(statisticsCard());

    for (Permission permission : Permissions::all()) {
        auto* card = new Card;
        auto* layout = new QHBoxLayout(card);
        layout->setContentsMargins(18, 14, 14, 14);
        layout->setSpacing(14);
        auto* texts = new QVBoxLayout;
        texts->setSpacing(3);
        texts->addWidget(text(Permissions::title(permission), 11, QFont::DemiBold));
        texts->addWidget(text(Permissions::rationale(permission), 9.5, QFont::Normal, true));
        layout->addLayout(texts, 1);
        Row row;
        row.status = text({}, 9.5, QFont::DemiBold);
        row.status->setWordWrap(false);
        layout->addWidget(row.status, 0, Qt::AlignVCenter);
        row.button = new QPushButton;
        row.button->setMinimumWidth(104);
        layout->addWidget(row.button, 0, Qt::AlignVCenter);
        connect(row.button, &QPushButton::clicked, this, [this, permission] {
            m_permissions->request(permission);
            m_permissions->refresh();
        });
        m_rows.insert(permission, row);
        root->addWidget(card);
    }

    root->addSpacing(8);
    auto* footer = new QHBoxLayout;
    m_footer = text({}, 9.5, QFont::Normal, true);
    footer->addWidget(m_footer, 1);
    m_done = new QPushButton;
    footer->addWidget(m_done);
    root->addLayout(footer);
    connect(m_done, &QPushButton::clicked, this, &QWidget::close);

    connect(m_permissions, &PermissionsManager::statusesChanged, this, &OnboardingWindow::refresh);
    refresh();
    resize(width(), body->sizeHint().height());
}

bool OnboardingWindow::isNeeded(const PermissionsManager& permissions) {
    return !permissions.allGranted() || !Analytics::isAnswered();
}

QWidget* OnboardingWindow::keyCard() {
    auto* card = new Card;
    auto* layout = new QHBoxLayout(card);
    layout->setContentsMargins(18, 14, 14, 14);
    layout->setSpacing(12);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(3);
    texts->addWidget(text(QStringLiteral("Anthropic API key"), 11, QFont::DemiBold));
    texts->addWidget(
        text(QStringLiteral(
                 "Tavrik writes skills with it. Get one at console.anthropic.com under API Keys."),
             9.5, QFont::Normal, true));
    layout->addLayout(texts, 1);
    auto* field = new QVBoxLayout;
    field->setSpacing(3);
    m_key = new QLineEdit;
    m_key->setEchoMode(QLineEdit::Password);
    m_key->setPlaceholderText(QStringLiteral("sk-ant-…"));
    m_key->setAccessibleName(QStringLiteral("Anthropic API key"));
    m_key->setFixedWidth(180);
    field->addWidget(m_key);
    m_keyStatus = text({}, 9, QFont::DemiBold);
    field->addWidget(m_keyStatus);
    layout->addLayout(field);
    connect(m_key, &QLineEdit::editingFinished, this, [this] {
        if (m_key->text().trimmed().isEmpty())
            return;
        const Result<> saved = Secrets::saveAnthropicKey(m_key->text());
        m_keyStatus->setText(saved.ok() ? QStringLiteral("✓ Saved") : saved.error());
        m_keyStatus->setStyleSheet(
            QStringLiteral("color: %1").arg((saved.ok() ? Theme::success : Theme::danger).name()));
    });
    return card;
}

QWidget* OnboardingWindow::statisticsCard() {
    auto* card = new Card;
    auto* layout = new QHBoxLayout(card);
    layout->setContentsMargins(18, 14, 14, 14);
    layout->setSpacing(10);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(3);
    texts->addWidget(text(QStringLiteral("Send anonymous usage statistics?"), 11, QFont::DemiBold));
    texts->addWidget(text(QStringLiteral("Which features are used, never what you record or type."),
                          9.5, QFont::Normal, true));
    layout->addLayout(texts, 1);
    m_statisticsStatus = text({}, 9.5, QFont::DemiBold);
    m_statisticsStatus->setWordWrap(false);
    m_statisticsStatus->setVisible(false);
    layout->addWidget(m_statisticsStatus, 0, Qt::AlignVCenter);
    m_sendStatistics = new QPushButton(QStringLiteral("Send"));
    m_keepStatistics = new QPushButton(QStringLiteral("Don't Send"));
    WindowStyle::setKind(m_sendStatistics, WindowStyle::ButtonKind::secondary);
    WindowStyle::setKind(m_keepStatistics, WindowStyle::ButtonKind::secondary);
    layout->addWidget(m_sendStatistics, 0, Qt::AlignVCenter);
    layout->addWidget(m_keepStatistics, 0, Qt::AlignVCenter);
    const auto answer = [this](bool send) {
        Analytics::setOptedOut(!send);
        m_sendStatistics->setVisible(false);
        m_keepStatistics->setVisible(false);
        m_statisticsStatus->setText(send ? QStringLiteral("✓ Sending")
                                         : QStringLiteral("Not sending"));
        m_statisticsStatus->setVisible(true);
    };
    connect(m_sendStatistics, &QPushButton::clicked, this, [answer] { answer(true); });
    connect(m_keepStatistics, &QPushButton::clicked, this, [answer] { answer(false); });
    return card;
}

void OnboardingWindow::refresh() {
    for (auto it = m_rows.cbegin(); it != m_rows.cend(); ++it) {
        const bool granted = m_permissions->status(it.key()) == PermissionStatus::granted;
        it->status->setText(granted ? QStringLiteral("✓ Allowed") : QString());
        it->status->setStyleSheet(QStringLiteral("color: %1").arg(Theme::success.name()));
        it->status->setVisible(granted);
        it->button->setVisible(!granted);
        it->button->setText(it.key() == Permission::accessibility
                                ? QStringLiteral("Turn On")
                                : QStringLiteral("Open Settings"));
        WindowStyle::setKind(it->button, it.key() == Permission::accessibility
                                             ? WindowStyle::ButtonKind::primary
                                             : WindowStyle::ButtonKind::secondary);
    }
    const bool all = m_permissions->allGranted();
    m_footer->setText(
        all ? QStringLiteral("All set. Double-tap Control to record your first skill.")
            : QStringLiteral("Tavrik notices changes on its own; no restart needed."));
    m_done->setText(all ? QStringLiteral("Get Started") : QStringLiteral("Later"));
    WindowStyle::setKind(m_done,
                         all ? WindowStyle::ButtonKind::primary : WindowStyle::ButtonKind::quiet);
}

} // namespace tavrik
