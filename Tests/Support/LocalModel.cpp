#include "Support/LocalModel.h"

#include "Support/MessagesApi.h"
#include "TavrikCore/Synthesis/Hosts.h"

namespace tavrik::test {

LocalModel::LocalModel(const QByteArray& key)
    : host(Hosts::modelApiVariable, server.baseUrl().toUtf8()), key("ANTHROPIC_API_KEY", key) {}

Handler acceptsOnlyKey(const QByteArray& goodKey) {
    return [goodKey](const RecordedRequest& request) {
        if (request.header("x-api-key") == goodKey)
            return CannedResponse::eventStream(
                QList<Piece>{Piece{messages::textStream({QStringLiteral("Hello")})}});
        return CannedResponse::json(401, messages::errorBody(QStringLiteral("authentication_error"),
                                                             QStringLiteral("invalid x-api-key")));
    };
}

QJsonObject toolUse(const QString& id, const QString& name, const QJsonObject& input) {
    return {{"type", "tool_use"}, {"id", id}, {"name", name}, {"input", input}};
}

CannedResponse toolTurn(const QJsonArray& content) {
    return CannedResponse::json(200, messages::answer(content, QStringLiteral("tool_use")));
}

} // namespace tavrik::test
