#include "Support/MessagesApi.h"

#include <QJsonDocument>

namespace tavrik::test::messages {

QByteArray event(const QJsonObject& data) {
    return "event: " + data.value("type").toString().toUtf8() +
           "\ndata: " + QJsonDocument(data).toJson(QJsonDocument::Compact) + "\n\n";
}

QByteArray textDelta(const QString& fragment) {
    return event({{"type", "content_block_delta"},
                  {"index", 0},
                  {"delta", QJsonObject{{"type", "text_delta"}, {"text", fragment}}}});
}

QByteArray textStream(const QStringList& fragments, bool withStop) {
    QByteArray stream =
        event({{"type", "message_start"},
               {"message",
                QJsonObject{{"id", "msg_01XFDUDYJgAACzvnptvVoYEL"},
                            {"type", "message"},
                            {"role", "assistant"},
                            {"model", "claude-opus-4-8"},
                            {"content", QJsonArray()},
                            {"stop_reason", QJsonValue::Null},
                            {"usage", QJsonObject{{"input_tokens", 472}, {"output_tokens", 2}}}}}});
    stream += event({{"type", "content_block_start"},
                     {"index", 0},
                     {"content_block", QJsonObject{{"type", "text"}, {"text", ""}}}});
    stream += event({{"type", "ping"}});
    for (const QString& fragment : fragments)
        stream += textDelta(fragment);
    stream += event({{"type", "content_block_stop"}, {"index", 0}});
    stream += event(
        {{"type", "message_delta"},
         {"delta", QJsonObject{{"stop_reason", "end_turn"}, {"stop_sequence", QJsonValue::Null}}},
         {"usage", QJsonObject{{"output_tokens", 15}}}});
    if (withStop)
        stream += event({{"type", "message_stop"}});
    return stream;
}

QByteArray answer(const QJsonArray& content, const QString& stopReason) {
    QJsonObject object{{"id", "msg_013Zva2CMHLNnXjNJJKqJ2EF"},
                       {"type", "message"},
                       {"role", "assistant"},
                       {"model", "claude-opus-4-8"},
                       {"content", content},
                       {"stop_sequence", QJsonValue::Null},
                       {"usage", QJsonObject{{"input_tokens", 2095}, {"output_tokens", 503}}}};
    object.insert("stop_reason",
                  stopReason.isNull() ? QJsonValue(QJsonValue::Null) : QJsonValue(stopReason));
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonObject textBlock(const QString& text) {
    return {{"type", "text"}, {"text", text}};
}

QJsonObject thinkingBlock(const QString& thinking) {
    return {{"type", "thinking"},
            {"thinking", thinking},
            {"signature", "EqQBCgIYAhIM1gbcDa9GJwZA2b3hGgxBdjrkzLoky3dl1pkiMOYds"}};
}

QJsonObject toolUseBlock(const QString& server, const QString& tool) {
    return {{"type", "mcp_tool_use"},
            {"id", "mcptoolu_014Q35RayjACSWkSj4X2yov1"},
            {"server_name", server},
            {"name", tool},
            {"input", QJsonObject{{"query", "open issues"}}}};
}

QByteArray errorBody(const QString& type, const QString& message) {
    return QJsonDocument(QJsonObject{{"type", "error"},
                                     {"error", QJsonObject{{"type", type}, {"message", message}}}})
        .toJson(QJsonDocument::Compact);
}

} // namespace tavrik::test::messages
