#pragma once

#include "TavrikCore/Support/Result.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <optional>

namespace tavrik {

// A remote tool server the model may use during a run, tied to the desktop applications it
// serves. Without a token it is known but not connected.
struct MCPServer {
    QString name;
    QString url;
    QList<QString> bundleIDs;
    std::optional<QString> authToken;

    // An empty token counts as no token.
    bool isConfigured() const { return authToken && !authToken->isEmpty(); }
    MCPServer authenticated(const QString& token) const;

    // The entry of the model request's "mcp_servers" list.
    QJsonObject connectorJSON() const;

    bool operator==(const MCPServer&) const = default;
    QJsonObject toJson() const;
    static Result<MCPServer> fromJson(const QJsonValue& value);
};

} // namespace tavrik
