#include "TavrikCore/Synthesis/AnthropicClient.h"

#include "TavrikCore/Synthesis/Hosts.h"
#include "TavrikCore/Synthesis/ModelCall.h"

#include <QJsonArray>

namespace tavrik {

AnthropicClient::AnthropicClient(std::optional<QString> apiKey, QString model,
                                 QNetworkAccessManager* session)
    : m_apiKey(std::move(apiKey)), m_model(std::move(model)), m_session(session) {}

QUrl AnthropicClient::endpoint() const {
    if (m_apiKey)
        return Hosts::endpoint(Hosts::modelApi(), QStringLiteral("/v1/messages"));
    return Hosts::endpoint(Hosts::web(), QStringLiteral("/api/anthropic"));
}

QNetworkRequest AnthropicClient::request(bool withMcpBeta) const {
    QNetworkRequest request(endpoint());
    request.setTransferTimeout(int(m_timeout.count()));
    request.setRawHeader("Content-Type", "application/json");
    if (m_apiKey)
        request.setRawHeader("x-api-key", m_apiKey->toUtf8());
    else
        request.setRawHeader("x-tavrik-proxy", proxyToken);
    request.setRawHeader("anthropic-version", apiVersion);
    if (withMcpBeta)
        request.setRawHeader("anthropic-beta", mcpBeta);
    return request;
}

namespace {

QJsonArray userMessage(const QList<ContentBlock>& content) {
    QJsonArray blocks;
    for (const ContentBlock& block : content)
        blocks.append(block.toJson());
    return QJsonArray{QJsonObject{{"role", "user"}, {"content", blocks}}};
}

} // namespace

QJsonObject AnthropicClient::streamTextBody(const QString& model, const QString& system,
                                            const QList<ContentBlock>& content, int maxTokens) {
    return QJsonObject{{"model", model},
                       {"max_tokens", maxTokens},
                       {"system", system},
                       {"stream", true},
                       {"messages", userMessage(content)}};
}

QJsonObject AnthropicClient::structuredBody(const QString& model, const QString& system,
                                            const QList<ContentBlock>& content,
                                            const QJsonObject& schema, int maxTokens) {
    return QJsonObject{{"model", model},
                       {"max_tokens", maxTokens},
                       {"system", system},
                       {"thinking", QJsonObject{{"type", "adaptive"}}},
                       {"output_config", QJsonObject{{"format", QJsonObject{{"type", "json_schema"},
                                                                            {"schema", schema}}}}},
                       {"messages", userMessage(content)}};
}

TextStreamCall* AnthropicClient::streamText(const QString& system,
                                            const QList<ContentBlock>& content, int maxTokens,
                                            QObject* parent) const {
    return new TextStreamCall(*this, streamTextBody(m_model, system, content, maxTokens), parent);
}

StructuredCall* AnthropicClient::structuredCompletion(const QString& system,
                                                      const QList<ContentBlock>& content,
                                                      const QJsonObject& schema, int maxTokens,
                                                      QObject* parent) const {
    return new StructuredCall(*this, structuredBody(m_model, system, content, schema, maxTokens),
                              parent);
}

ToolTurnCall* AnthropicClient::toolTurn(const QString& system, const QJsonArray& messages,
                                        const QJsonArray& tools, int maxTokens,
                                        QObject* parent) const {
    const QJsonObject body{{"model", m_model},
                           {"max_tokens", maxTokens},
                           {"system", system},
                           {"tools", tools},
                           {"messages", messages}};
    return new ToolTurnCall(*this, body, parent);
}

MCPRunCall* AnthropicClient::runWithMCP(const QString& instruction, const QList<MCPServer>& servers,
                                        int maxTokens, int maxTurns, QObject* parent) const {
    QList<QJsonObject> connectors;
    for (const MCPServer& server : servers)
        connectors.append(server.connectorJSON());
    return new MCPRunCall(*this, instruction, connectors, maxTokens, maxTurns, parent);
}

} // namespace tavrik
