#pragma once

#include "Tavrik/MCP/MCPLoginWindow.h"
#include "TavrikCore/MCP/MCPAuthorization.h"
#include "TavrikCore/MCP/MCPServer.h"

#include <QObject>
#include <QPointer>
#include <functional>

class QWidget;

namespace tavrik {

class MCPLoginModel;

// Connects one tool server: shows the login prompt over `anchor`, runs the browser login when
// the user agrees, and keeps the token in the registry. Deletes itself when the prompt closes.
class MCPOAuth : public QObject {
    Q_OBJECT
public:
    using BrowserOpener = std::function<bool(const QUrl&)>;

    // `openBrowser` defaults to the desktop's web browser.
    MCPOAuth(const MCPServer& server, const QString& skillName, QWidget* anchor,
             BrowserOpener openBrowser = {});
    ~MCPOAuth() override;

    void show();
    MCPLoginModel* model() const { return m_model; }
    MCPLoginWindow* window() const { return m_window; }

signals:
    // The token is in the registry.
    void connected(const tavrik::MCPServer& server);

private:
    void login();

    MCPServer m_server;
    QPointer<QWidget> m_anchor;
    BrowserOpener m_openBrowser;
    MCPLoginModel* m_model;
    QPointer<MCPLoginWindow> m_window;
    QPointer<MCPAuthorization> m_session;
};

} // namespace tavrik
