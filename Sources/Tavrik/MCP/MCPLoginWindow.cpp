#include "Tavrik/MCP/MCPLoginWindow.h"

#include "Tavrik/MCP/MCPLoginModel.h"
#include "Tavrik/MenuBar/TrayMenu.h"
#include "Tavrik/Shell/WindowStyle.h"
#include "Tavrik/Style/Theme.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace tavrik {

namespace {

// "linear" reads as "Linear" in a sentence.
QString displayName(const QString& service) {
    return service.isEmpty() ? service : service.left(1).toUpper() + service.mid(1);
}

} // namespace

MCPLoginWindow::MCPLoginWindow(MCPLoginModel* model, QWidget* parent)
    : QWidget(parent, Qt::Dialog), m_model(model) {
    setWindowTitle(QStringLiteral("Connect %1").arg(displayName(model->serviceName())));
    setWindowIcon(TrayMenu::icon(false));
    WindowStyle::apply(this);
    setFixedWidth(440);

    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(28, 24, 28, 20);
    root->setSpacing(8);
    m_heading = new QLabel;
    m_heading->setFont(Theme::font(14, QFont::DemiBold));
    m_heading->setWordWrap(true);
    m_detail = new QLabel;
    m_detail->setFont(Theme::font(10));
    m_detail->setWordWrap(true);
    m_detail->setProperty("role", QStringLiteral("secondary"));
    root->addWidget(m_heading);
    root->addWidget(m_detail);
    root->addSpacing(12);

    auto* actions = new QHBoxLayout;
    actions->addStretch(1);
    m_cancel = new QPushButton;
    m_login = new QPushButton;
    WindowStyle::setKind(m_cancel, WindowStyle::ButtonKind::secondary);
    WindowStyle::setKind(m_login, WindowStyle::ButtonKind::primary);
    m_login->setDefault(true);
    actions->addWidget(m_cancel);
    actions->addWidget(m_login);
    root->addLayout(actions);

    connect(m_login, &QPushButton::clicked, this, [this] {
        if (m_model && m_model->onLogin)
            m_model->onLogin();
    });
    connect(m_cancel, &QPushButton::clicked, this, &QWidget::close);
    connect(model, &MCPLoginModel::phaseChanged, this, &MCPLoginWindow::refresh);
    refresh();
}

void MCPLoginWindow::refresh() {
    if (!m_model)
        return;
    const QString service = displayName(m_model->serviceName());
    const MCPLoginModel::Phase& phase = m_model->phase();
    switch (phase.kind) {
    case MCPLoginModel::Phase::Kind::prompt:
        m_heading->setText(QStringLiteral("Connect %1 to Tavrik?").arg(service));
        m_detail->setText(
            QStringLiteral("“%1” works in %2. Log in to %2 in your browser so Tavrik can use it "
                           "directly when it runs the skill.")
                .arg(m_model->skillName(), service));
        m_login->setText(QStringLiteral("Log In"));
        m_cancel->setText(QStringLiteral("Not Now"));
        m_login->setEnabled(true);
        break;
    case MCPLoginModel::Phase::Kind::authenticating:
        m_heading->setText(QStringLiteral("Waiting for %1…").arg(service));
        m_detail->setText(
            QStringLiteral("Finish logging in in the browser window that opened. This window "
                           "closes by itself once %1 lets Tavrik in.")
                .arg(service));
        m_login->setText(QStringLiteral("Log In"));
        m_cancel->setText(QStringLiteral("Cancel"));
        m_login->setEnabled(false);
        break;
    case MCPLoginModel::Phase::Kind::failed:
        m_heading->setText(QStringLiteral("Couldn't connect %1").arg(service));
        m_detail->setText(phase.message);
        m_login->setText(QStringLiteral("Try Again"));
        m_cancel->setText(QStringLiteral("Close"));
        m_login->setEnabled(true);
        break;
    }
}

void MCPLoginWindow::closeEvent(QCloseEvent* event) {
    if (m_model && m_model->onCancel)
        m_model->onCancel();
    event->accept();
}

} // namespace tavrik
