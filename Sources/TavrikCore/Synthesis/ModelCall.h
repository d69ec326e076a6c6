#pragma once

#include "TavrikCore/Support/BoundedReply.h"
#include "TavrikCore/Synthesis/AnthropicClient.h"
#include "TavrikCore/Synthesis/ClientError.h"
#include "TavrikCore/Synthesis/EventStreamReader.h"
#include "TavrikCore/Synthesis/MCPToolCall.h"

#include <QJsonArray>
#include <QObject>
#include <QPointer>
#include <optional>

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

    // A whole (not streamed) answer is kept up to this size.
    static constexpr qint64 answerLimit = 8 * 1024 * 1024;
    // A streamed answer: far above what the largest allowed output takes as events.
    static constexpr qint64 streamLimit = 16 * 1024 * 1024;

signals:
    void finished();

protected:
    ModelCall(const AnthropicClient& client, QObject* parent);

    // Runs from the event loop right after construction, so callers can connect first.
    virtual void start() = 0;
    // Sends one POST of `body`; the answer arrives in onReply. With `stream`, a success body is
    // handed to it as it arrives (up to streamLimit) instead of being kept (up to answerLimit).
    void send(const QJsonObject& body, bool withMcpBeta = false,
              BoundedReply::StreamHandler stream = {});
    void finishWith(std::optional<ClientError> error);

    // A whole HTTP answer: its status and what was kept of its body (nothing of a streamed one).
    virtual void onReply(int status, const QByteArray& body) = 0;

    AnthropicClient m_client;

private:
    void onFinished(BoundedReply* reply);

    QPointer<BoundedReply> m_reply;
    bool m_finished = false;
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
    void onReply(int status, const QByteArray& body) override;

private:
    void onData(QByteArrayView bytes);

    QJsonObject m_body;
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

// One request of a conversation in which the model may use the caller's own tools: the answer's
// content blocks (tool_use among them) and why it stopped. The caller runs the tools and starts
// the next turn with the results.
class ToolTurnCall : public ModelCall {
    Q_OBJECT
public:
    ToolTurnCall(const AnthropicClient& client, const QJsonObject& body, QObject* parent);
    const QJsonArray& content() const { return m_content; }
    const QString& stopReason() const { return m_stopReason; }

protected:
    void start() override;
    void onReply(int status, const QByteArray& body) override;

private:
    QJsonObject m_body;
    QJsonArray m_content;
    QString m_stopReason;
};

// The text of an HTTP error body, or empty text when it is not valid UTF-8.
QString utf8OrEmpty(const QByteArray& bytes);

} // namespace tavrik
