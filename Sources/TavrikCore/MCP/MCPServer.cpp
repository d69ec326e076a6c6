#include "TavrikCore/MCP/MCPServer.h"

#include "TavrikCore/Support/Json.h"

namespace tavrik {

MCPServer MCPServer::authenticated(const QString& token) const {
    MCPServer copy = *this;
    copy.authToken = token;
    return copy;
}

QJsonObject MCPServer::connectorJSON() const {
    QJsonObject object{
        {QStringLiteral("type"), QStringLiteral("url")},
        {QStringLiteral("url"), url},
        {QStringLiteral("name"), name},
    };
    if (isConfigured())
        object.insert(QStringLiteral("authorization_token"), *authToken);
    return object;
}

QJsonObject MCPServer::toJson() const {
    QJsonObject object{
        {QStringLiteral("name"), name},
        {QStringLiteral("url"), url},
        {QStringLiteral("bundle_ids"), QJsonArray::fromStringList(bundleIDs)},
    };
    json::putOptional(object, QStringLiteral("auth_token"), authToken);
    return object;
}

Result<MCPServer> MCPServer::fromJson(const QJsonValue& value) {
    json::ObjectReader reader(value);
    MCPServer server;
    server.name = reader.string(QStringLiteral("name"));
    server.url = reader.string(QStringLiteral("url"));
    server.bundleIDs = reader.strings(QStringLiteral("bundle_ids"));
    // A null token is read as no token, as a hand-edited file may say.
    if (!value.toObject().value(QStringLiteral("auth_token")).isNull())
        server.authToken = reader.optionalString(QStringLiteral("auth_token"));
    return json::finish(reader, std::move(server));
}

} // namespace tavrik
