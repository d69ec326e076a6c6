#pragma once

#include "Support/LocalHttpServer.h"
#include "Support/ScopedEnvironment.h"

#include <QJsonArray>
#include <QJsonObject>

namespace tavrik::test {

// A Messages API server on 127.0.0.1 that this process's model calls reach, with a key to send
// it, for as long as the object lives.
struct LocalModel {
    explicit LocalModel(const QByteArray& key = "sk-ant-test");

    LocalHttpServer server;
    ScopedEnvironment host;
    ScopedEnvironment key;
};

// The Messages API for a key check: a short answer to `goodKey`, 401 to any other key.
Handler acceptsOnlyKey(const QByteArray& goodKey);

// A tool call, as a block of the model's answer.
QJsonObject toolUse(const QString& id, const QString& name, const QJsonObject& input);
// One whole answer of the model that ends by calling tools.
CannedResponse toolTurn(const QJsonArray& content);

} // namespace tavrik::test
