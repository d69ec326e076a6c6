#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>

// Answers shaped like the Messages API's, for the local test server.
namespace tavrik::test::messages {

// One server-sent event: "event: <type>\ndata: <json>\n\n".
QByteArray event(const QJsonObject& data);

// A whole text answer as a stream: message_start, content_block_start, a ping, one
// content_block_delta per fragment, content_block_stop, message_delta and, when `withStop`,
// message_stop.
QByteArray textStream(const QStringList& fragments, bool withStop = true);
QByteArray textDelta(const QString& fragment);

// A whole (non-streamed) answer with these content blocks.
QByteArray answer(const QJsonArray& content,
                  const QString& stopReason = QStringLiteral("end_turn"));
QJsonObject textBlock(const QString& text);
QJsonObject thinkingBlock(const QString& thinking);
QJsonObject toolUseBlock(const QString& server, const QString& tool);

// The provider's error body: {"type":"error","error":{"type":..,"message":..}}.
QByteArray errorBody(const QString& type, const QString& message);

} // namespace tavrik::test::messages
