#pragma once

#include "TavrikCore/MCP/MCPServer.h"
#include "TavrikCore/Synthesis/ContentBlock.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QNetworkRequest>
#include <QString>
#include <QUrl>
#include <chrono>
#include <optional>

class QNetworkAccessManager;
class QObject;

namespace tavrik {

class MCPRunCall;
class StructuredCall;
class TextStreamCall;
class ToolTurnCall;

// The only component that talks to the hosted model (the Messages API). A small value made per
// use: with the user's key requests go straight to the provider, without one through the
// product's proxy. Each operation starts at once and returns a call object that reports on the
// thread that made it (see ModelCall.h); the caller owns it.
class AnthropicClient {
public:
    struct Model {
        static constexpr const char* opus = "claude-opus-4-8";
        static constexpr const char* sonnet = "claude-sonnet-4-6";
    };

    static constexpr const char* proxyToken = "tavrik_211670eae679f02e8d28a79023c39c20";
    static constexpr const char* apiVersion = "2023-06-01";
    static constexpr const char* mcpBeta = "mcp-client-2025-11-20";
    static constexpr std::chrono::milliseconds defaultTimeout{60'000};

    // `session` must live on the calling thread and outlive the calls.
    AnthropicClient(std::optional<QString> apiKey, QString model, QNetworkAccessManager* session);

    const std::optional<QString>& apiKey() const { return m_apiKey; }
    const QString& model() const { return m_model; }
    QNetworkAccessManager* session() const { return m_session; }

    // How long a request may go without any data arriving before it fails as timed out.
    std::chrono::milliseconds timeout() const { return m_timeout; }
    void setTimeout(std::chrono::milliseconds timeout) { m_timeout = timeout; }

    // The Messages endpoint on the model API host with a key, else the proxy on the web host.
    QUrl endpoint() const;
    QNetworkRequest request(bool withMcpBeta = false) const;

    // Streams a completion; the call's `delta` signal carries each fragment, its text() the whole.
    TextStreamCall* streamText(const QString& system, const QList<ContentBlock>& content,
                               int maxTokens, QObject* parent = nullptr) const;
    // An answer constrained by `schema`; the call's answer() is the first text block's UTF-8 bytes.
    StructuredCall* structuredCompletion(const QString& system, const QList<ContentBlock>& content,
                                         const QJsonObject& schema, int maxTokens,
                                         QObject* parent = nullptr) const;
    // Up to `maxTurns` requests in which the model may use `servers` (sent as their connector
    // JSON); `pause_turn` answers are continued.
    MCPRunCall* runWithMCP(const QString& instruction, const QList<MCPServer>& servers,
                           int maxTokens, int maxTurns, QObject* parent = nullptr) const;

    // One turn of a conversation (`messages` as the API takes them) with the caller's `tools`;
    // the caller carries out the tool calls in the answer and asks for the next turn.
    ToolTurnCall* toolTurn(const QString& system, const QJsonArray& messages,
                           const QJsonArray& tools, int maxTokens, QObject* parent = nullptr) const;

    static QJsonObject streamTextBody(const QString& model, const QString& system,
                                      const QList<ContentBlock>& content, int maxTokens);
    static QJsonObject structuredBody(const QString& model, const QString& system,
                                      const QList<ContentBlock>& content, const QJsonObject& schema,
                                      int maxTokens);

private:
    std::optional<QString> m_apiKey;
    QString m_model;
    QNetworkAccessManager* m_session;
    std::chrono::milliseconds m_timeout = defaultTimeout;
};

} // namespace tavrik
