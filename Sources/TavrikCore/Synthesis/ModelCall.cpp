#include "TavrikCore/Synthesis/ModelCall.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QStringDecoder>
#include <QTimer>
#include <variant>

namespace tavrik {

QString utf8OrEmpty(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(bytes);
    return decoder.hasError() ? QString() : text;
}

namespace {

bool isSuccess(int status) {
    return status >= 200 && status <= 299;
}

// A whole (non-streamed) answer as JSON, or the error the call ends with: the HTTP status of a
// failed request, or a body that is not JSON.
std::variant<QJsonDocument, ClientError> readAnswer(int status, const QByteArray& body) {
    if (!isSuccess(status))
        return ClientError::http(status, utf8OrEmpty(body));
    QJsonParseError parseError;
    QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return ClientError::decoding(QStringLiteral("not JSON (%1 at offset %2)")
                                         .arg(parseError.errorString())
                                         .arg(parseError.offset));
    return document;
}

// The start of a long error body, marked as such. The cut may fall inside a UTF-8 sequence,
// which would make the whole text unreadable, so an incomplete last character goes too.
QByteArray markedAsTrimmed(QByteArray body) {
    qsizetype lead = body.size() - 1;
    while (lead >= 0 && lead >= body.size() - 4 && (uchar(body[lead]) & 0xC0) == 0x80)
        --lead;
    if (lead >= 0) {
        const uchar c = uchar(body[lead]);
        const qsizetype length = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
        if (body.size() - lead < length)
            body.truncate(lead);
    }
    return body + "\u2026";
}

} // namespace

ModelCall::ModelCall(const AnthropicClient& client, QObject* parent)
    : QObject(parent), m_client(client) {
    QTimer::singleShot(0, this, [this] {
        if (!m_finished)
            start();
    });
}

ModelCall::~ModelCall() {
    delete m_reply;
}

void ModelCall::send(const QJsonObject& body, bool withMcpBeta,
                     BoundedReply::StreamHandler stream) {
    const QByteArray payload = QJsonDocument(body).toJson(QJsonDocument::Compact);
    BoundedReply* reply = BoundedReply::post(m_client.session(), m_client.request(withMcpBeta),
                                             payload, stream ? streamLimit : answerLimit, this);
    reply->setStreamHandler(std::move(stream));
    m_reply = reply;
    connect(reply, &BoundedReply::finished, this, [this, reply] { onFinished(reply); });
}

void ModelCall::onFinished(BoundedReply* reply) {
    reply->deleteLater();
    if (m_reply == reply)
        m_reply = nullptr;
    if (m_finished)
        return;

    using Outcome = BoundedReply::Outcome;
    switch (reply->outcome()) {
    case Outcome::answered:
        onReply(reply->status(),
                reply->bodyTrimmed() ? markedAsTrimmed(reply->body()) : reply->body());
        return;
    case Outcome::noHttpAnswer:
        finishWith(ClientError::noHttpResponse());
        return;
    case Outcome::redirectedAway:
        finishWith(ClientError::redirected(reply->refusedOrigin().toString()));
        return;
    case Outcome::tooLarge:
        finishWith(ClientError::tooLarge());
        return;
    case Outcome::cut:
        finishWith(ClientError::transport(reply->failureDescription()));
        return;
    case Outcome::timedOut:
        finishWith(ClientError::transport(reply->errorString()));
        return;
    case Outcome::failed:
        finishWith(ClientError::transport(QStringLiteral("The network request failed: ") +
                                          reply->errorString()));
        return;
    case Outcome::pending:
    case Outcome::aborted:
        return; // only finishWith aborts, and it has reported already
    }
}

void ModelCall::finishWith(std::optional<ClientError> error) {
    if (m_finished)
        return;
    m_finished = true;
    m_error = std::move(error);
    if (m_reply) {
        BoundedReply* reply = m_reply;
        m_reply = nullptr;
        reply->disconnect(this);
        reply->abort();
        reply->deleteLater();
    }
    emit finished();
}

void ModelCall::cancel() {
    if (m_finished)
        return;
    finishWith(ClientError::cancelled());
}

bool ModelCall::waitForFinished() {
    if (!m_finished) {
        QEventLoop loop;
        connect(this, &ModelCall::finished, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return !m_error.has_value();
}

// --- streamed text

TextStreamCall::TextStreamCall(const AnthropicClient& client, const QJsonObject& body,
                               QObject* parent)
    : ModelCall(client, parent), m_body(body), m_reader([this](const QString& fragment) {
          emit delta(fragment);
          if (isFinished())
              m_reader.stop(); // cancelled from a delta handler: not one more line
      }) {}

void TextStreamCall::start() {
    send(m_body, false, [this](QByteArrayView bytes) { onData(bytes); });
}

void TextStreamCall::onData(QByteArrayView bytes) {
    if (isFinished() || m_reader.feed(bytes))
        return;
    // message_stop, a line past its limit, or a cancel() from a delta handler.
    if (m_reader.lineTooLong())
        finishWith(ClientError::tooLarge());
    else if (m_reader.sawMessageStop())
        finishWith(std::nullopt);
}

void TextStreamCall::onReply(int status, const QByteArray& body) {
    if (!isSuccess(status)) {
        // The error body is read line by line and the lines are joined without separators.
        QByteArray joined;
        for (const QByteArray& line : body.split('\n'))
            joined += line.endsWith('\r') ? line.chopped(1) : line;
        finishWith(ClientError::http(status, QString::fromUtf8(joined)));
        return;
    }
    // Qt may report a chunked body whose connection was lost as ended, whether the loss fell
    // between chunks or inside one, and shows nothing of the chunks themselves. An event stream
    // ends after a whole line, so one that stops inside a line was cut whatever Qt says; one
    // lost exactly at a line's end cannot be told from a stream that ended without message_stop.
    if (m_reader.hasPartialLine()) {
        finishWith(ClientError::transport(BoundedReply::cutText()));
        return;
    }
    m_reader.finish();
    if (m_reader.lineTooLong())
        finishWith(ClientError::tooLarge());
    else
        finishWith(std::nullopt);
}

// --- structured answer

StructuredCall::StructuredCall(const AnthropicClient& client, const QJsonObject& body,
                               QObject* parent)
    : ModelCall(client, parent), m_body(body) {}

void StructuredCall::start() {
    send(m_body);
}

namespace {

struct DecodedAnswer {
    std::optional<QString> firstText;
    std::optional<QString> stopReason;
};

// A Messages answer: "content" (blocks with a text "type" and optional text "text") and an
// optional "stop_reason". Anything else in it is ignored.
std::optional<DecodedAnswer> decodeAnswer(const QJsonDocument& document, QString* problem) {
    if (!document.isObject()) {
        *problem = QStringLiteral("expected a JSON object");
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    const QJsonValue content = object.value(QLatin1String("content"));
    if (!content.isArray()) {
        *problem = QStringLiteral("content: expected an array");
        return std::nullopt;
    }
    DecodedAnswer answer;
    bool seenText = false;
    const QJsonArray blocks = content.toArray();
    for (qsizetype i = 0; i < blocks.size(); ++i) {
        const QJsonValue type = blocks[i].toObject().value(QLatin1String("type"));
        const QJsonValue text = blocks[i].toObject().value(QLatin1String("text"));
        if (!blocks[i].isObject() || !type.isString()) {
            *problem = QStringLiteral("content[%1].type: expected text").arg(i);
            return std::nullopt;
        }
        if (!text.isUndefined() && !text.isNull() && !text.isString()) {
            *problem = QStringLiteral("content[%1].text: expected text").arg(i);
            return std::nullopt;
        }
        if (!seenText && type.toString() == QLatin1String("text")) {
            seenText = true;
            if (text.isString())
                answer.firstText = text.toString();
        }
    }
    const QJsonValue stopReason = object.value(QLatin1String("stop_reason"));
    if (stopReason.isString())
        answer.stopReason = stopReason.toString();
    else if (!stopReason.isUndefined() && !stopReason.isNull()) {
        *problem = QStringLiteral("stop_reason: expected text");
        return std::nullopt;
    }
    return answer;
}

} // namespace

void StructuredCall::onReply(int status, const QByteArray& body) {
    const std::variant<QJsonDocument, ClientError> read = readAnswer(status, body);
    if (const auto* error = std::get_if<ClientError>(&read)) {
        finishWith(*error);
        return;
    }
    const QJsonDocument& document = std::get<QJsonDocument>(read);
    QString problem;
    const std::optional<DecodedAnswer> answer = decodeAnswer(document, &problem);
    if (!answer) {
        finishWith(ClientError::decoding(problem));
        return;
    }
    if (answer->stopReason == QLatin1String("refusal")) {
        finishWith(
            ClientError::refusal(answer->firstText.value_or(QStringLiteral("no explanation"))));
        return;
    }
    if (answer->stopReason == QLatin1String("max_tokens")) {
        finishWith(ClientError::truncated());
        return;
    }
    if (!answer->firstText) {
        finishWith(ClientError::noTextContent());
        return;
    }
    m_answer = answer->firstText->toUtf8();
    finishWith(std::nullopt);
}

// --- MCP run

MCPRunCall::MCPRunCall(const AnthropicClient& client, const QString& instruction,
                       const QList<QJsonObject>& connectors, int maxTokens, int maxTurns,
                       QObject* parent)
    : ModelCall(client, parent), m_maxTokens(maxTokens), m_maxTurns(maxTurns) {
    Q_ASSERT(maxTurns >= 0);
    m_messages.append(QJsonObject{{"role", "user"}, {"content", instruction}});
    for (const QJsonObject& connector : connectors)
        m_connectors.append(connector);
}

void MCPRunCall::nextTurn() {
    if (m_turn >= m_maxTurns) {
        finishWith(std::nullopt);
        return;
    }
    ++m_turn;
    QJsonObject body{{"model", m_client.model()},
                     {"max_tokens", m_maxTokens},
                     {"thinking", QJsonObject{{"type", "adaptive"}}},
                     {"messages", m_messages}};
    if (!m_connectors.isEmpty())
        body.insert("mcp_servers", m_connectors);
    send(body, !m_connectors.isEmpty());
}

void MCPRunCall::onReply(int status, const QByteArray& body) {
    const std::variant<QJsonDocument, ClientError> read = readAnswer(status, body);
    if (const auto* error = std::get_if<ClientError>(&read)) {
        finishWith(*error);
        return;
    }
    const QJsonDocument& document = std::get<QJsonDocument>(read);
    if (!document.isObject()) {
        finishWith(ClientError::noTextContent());
        return;
    }
    const QJsonObject answer = document.object();
    const QJsonValue content = answer.value(QLatin1String("content"));
    for (const auto& item : content.toArray()) {
        const QJsonObject block = item.toObject();
        const QString type = block.value(QLatin1String("type")).toString();
        if (type == QLatin1String("text") && block.value(QLatin1String("text")).isString()) {
            m_result.text += block.value(QLatin1String("text")).toString();
        } else if (type == QLatin1String("mcp_tool_use")) {
            const QJsonValue server = block.value(QLatin1String("server_name"));
            const QJsonValue tool = block.value(QLatin1String("name"));
            const MCPToolCall call{server.isString() ? server.toString() : QStringLiteral("tool"),
                                   tool.isString() ? tool.toString() : QStringLiteral("tool")};
            m_result.toolCalls.append(call);
            emit toolCall(call);
            if (isFinished())
                return; // cancelled from the handler
        }
    }
    const QString stopReason = answer.value(QLatin1String("stop_reason")).toString();
    if (stopReason == QLatin1String("refusal")) {
        finishWith(ClientError::refusal(m_result.text.isEmpty() ? QStringLiteral("no explanation")
                                                                : m_result.text));
        return;
    }
    if (stopReason == QLatin1String("pause_turn")) {
        m_messages.append(QJsonObject{{"role", "assistant"}, {"content", content}});
        nextTurn();
        return;
    }
    finishWith(std::nullopt);
}

// --- a turn with the caller's tools

ToolTurnCall::ToolTurnCall(const AnthropicClient& client, const QJsonObject& body, QObject* parent)
    : ModelCall(client, parent), m_body(body) {}

void ToolTurnCall::start() {
    send(m_body);
}

void ToolTurnCall::onReply(int status, const QByteArray& body) {
    const std::variant<QJsonDocument, ClientError> read = readAnswer(status, body);
    if (const auto* error = std::get_if<ClientError>(&read)) {
        finishWith(*error);
        return;
    }
    const QJsonDocument& document = std::get<QJsonDocument>(read);
    const QJsonValue content = document.object().value(QLatin1String("content"));
    if (!document.isObject() || !content.isArray()) {
        finishWith(ClientError::decoding(QStringLiteral("content: expected an array")));
        return;
    }
    m_content = content.toArray();
    m_stopReason = document.object().value(QLatin1String("stop_reason")).toString();
    if (m_stopReason == QLatin1String("refusal")) {
        finishWith(ClientError::refusal(QStringLiteral("no explanation")));
        return;
    }
    if (m_stopReason == QLatin1String("max_tokens")) {
        finishWith(ClientError::truncated());
        return;
    }
    finishWith(std::nullopt);
}

} // namespace tavrik
