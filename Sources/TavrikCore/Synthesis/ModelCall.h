#pragma once

#include "TavrikCore/Synthesis/AnthropicClient.h"
#include "TavrikCore/Synthesis/ClientError.h"
#include "TavrikCore/Synthesis/EventStreamReader.h"
#include "TavrikCore/Synthesis/MCPToolCall.h"

#include <QJsonArray>
#include <QObject>
#include <QPointer>
#include <optional>

class QNetworkReply;

namespace tavrik {

// One operation of AnthropicClient in flight. Signals come on the thread that started it, in
// order, and `finished` comes exactly once (also after cancel()). Delete it with deleteLater(),
// never from inside one of its own signals.
class ModelCall : public QObject {
    Q_OBJECT
public:
    ~ModelCall() override;

    bool isFinished() const { return m_finished; }
    // Present when the call failed; meaningful once finished.
    const std::optional<ClientError>& error() const { return m_error; }

    // Stops at once: the request is aborted, no line or turn after this is handled, and the call
    // finishes with a `cancelled` error.
    void cancel();
    // For command-line use: runs a local event loop until finished. Returns !error().
    bool waitForFinished();

signals:
    void finished();

protected:
    ModelCall(const AnthropicClient& client, QObject* parent);

    // Runs from the event loop right after construction, so callers can connect first.
    virtual void start() = 0;
    // Sends one POST of `body`; replies arrive in the handlers below.
    void send(const QJsonObject& body, bool withMcpBeta = false);
    void finishWith(std::optional<ClientError> error);

    virtual void onData(QNetworkReply* reply) {}
    // A finished exchange: `status` is the HTTP status, `body` what remains unread.
    virtual void onReply(int status, const QByteArray& body) = 0;

    AnthropicClient m_client;

private:
    void onFinished(QNetworkReply* reply);

    QPointer<QNetworkReply> m_reply;
    bool m_finished = false;
    bool m_cancelled = false;
    std::optional<ClientError> m_error;
};

class TextStreamCall : public ModelCall {
    Q_OBJECT
public:
    TextStreamCall(const AnthropicClient& client, const QJsonObject& body, QObject* parent);
    // Everything streamed so far; the whole answer once finished.
    const QString& text() const { return m_reader.text(); }

signals:
    void delta(const QString& fragment);

protected:
    void start() override;
    void onData(QNetworkReply* reply) override;
    void onReply(int status, const QByteArray& body) override;

private:
    QJsonObject m_body;
    bool m_statusKnown = false;
    bool m_httpOk = false;
    QByteArray m_errorBody;
    EventStreamReader m_reader;
};

class StructuredCall : public ModelCall {
    Q_OBJECT
public:
    StructuredCall(const AnthropicClient& client, const QJsonObject& body, QObject* parent);
    const QByteArray& answer() const { return m_answer; }

protected:
    void start() override;
    void onReply(int status, const QByteArray& body) override;

private:
    QJsonObject m_body;
    QByteArray m_answer;
};

class MCPRunCall : public ModelCall {
    Q_OBJECT
public:
    MCPRunCall(const AnthropicClient& client, const QString& instruction,
               const QList<QJsonObject>& connectors, int maxTokens, int maxTurns, QObject* parent);
    const MCPRunResult& result() const { return m_result; }
    int turnsTaken() const { return m_turn; }

signals:
    void toolCall(const tavrik::MCPToolCall& call);

protected:
    void start() override { nextTurn(); }
    void onReply(int status, const QByteArray& body) override;

private:
    void nextTurn();

    QJsonArray m_messages;
    QJsonArray m_connectors;
    int m_maxTokens;
    int m_maxTurns;
    int m_turn = 0;
    MCPRunResult m_result;
};

// The text of an HTTP error body, or empty text when it is not valid UTF-8.
QString utf8OrEmpty(const QByteArray& bytes);

} // namespace tavrik
