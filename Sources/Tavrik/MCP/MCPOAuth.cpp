#include "Tavrik/MCP/MCPOAuth.h"

#include "Tavrik/MCP/MCPLoginModel.h"
#include "Tavrik/MCP/MCPLoginWindow.h"
#include "TavrikCore/MCP/MCPAuthorization.h"
#include "TavrikCore/MCP/MCPRegistry.h"

#include <QDesktopServices>
#include <QUrl>
#include <QWidget>

namespace tavrik {

MCPOAuth::MCPOAuth(const MCPServer& server, const QString& skillName, QWidget* anchor,
                   BrowserOpener openBrowser)
    : m_server(server), m_anchor(anchor),
      m_openBrowser(openBrowser ? std::move(openBrowser) : BrowserOpener([](const QUrl& url) {
          return QDesktopServices::openUrl(url);
      })),
      m_model(new MCPLoginModel(skillName, server.name, this)) {
    m_model->onLogin = [this] { login(); };
    m_model->onCancel = [this] {
        if (m_session)
            m_session->cancel();
        deleteLater();
    };
    m_window = new MCPLoginWindow(m_model, anchor ? anchor->window() : nullptr);
    m_window->setAttribute(Qt::WA_DeleteOnClose);
}

MCPOAuth::~MCPOAuth() {
    if (m_window) {
        m_model->onCancel = nullptr;
        m_window->close();
    }
}

void MCPOAuth::show() {
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void MCPOAuth::login() {
    if (m_session)
        m_session->deleteLater();
    m_model->setPhase(MCPLoginModel::Phase::authenticating());
    m_session = new MCPAuthorization(QUrl(m_server.url), m_openBrowser, this);
    connect(m_session, &MCPAuthorization::succeeded, this, [this](const QString& token) {
        const MCPServer server = m_server.authenticated(token);
        if (!MCPRegistry().persist(server)) {
            m_model->setPhase(MCPLoginModel::Phase::failed(
                QStringLiteral("Logged in, but the token could not be saved in %1.")
                    .arg(MCPRegistry::filePath())));
            return;
        }
        emit connected(server);
        if (m_window)
            m_window->close(); // and with it this object
    });
    connect(m_session, &MCPAuthorization::failed, this, [this](const QString& message) {
        m_model->setPhase(MCPLoginModel::Phase::failed(message));
    });
    m_session->start();
}

} // namespace tavrik
