#include "Tavrik/Preferences/KeyCheck.h"

#include "TavrikCore/Support/NetworkSession.h"
#include "TavrikCore/Synthesis/AnthropicClient.h"
#include "TavrikCore/Synthesis/ModelCall.h"

#include <QTimer>

namespace tavrik {

KeyCheck::~KeyCheck() {
    if (m_call) {
        m_call->disconnect(this);
        m_call->cancel();
    }
}

void KeyCheck::check(const QString& key) {
    if (m_call) {
        m_call->disconnect(this);
        m_call->cancel();
        m_call->deleteLater();
    }
    const QString trimmed = key.trimmed();
    if (trimmed.isEmpty()) {
        QTimer::singleShot(0, this, [this] {
            emit answered(false, QStringLiteral("Type or paste a key first."));
        });
        return;
    }
    const AnthropicClient client(trimmed, QString::fromLatin1(AnthropicClient::Model::sonnet),
                                 sharedNetworkSession());
    TextStreamCall* call =
        client.streamText({}, {ContentBlock::makeText(QStringLiteral("Hi"))}, 1, this);
    m_call = call;
    connect(call, &ModelCall::finished, this, [this, call] {
        call->deleteLater();
        m_call = nullptr;
        const std::optional<ClientError>& error = call->error();
        if (!error) {
            emit answered(true, QStringLiteral("The key works."));
            return;
        }
        switch (error->kind()) {
        case ClientError::Kind::http:
            if (error->status() == 401 || error->status() == 403)
                emit answered(false,
                              QStringLiteral(
                                  "That key was not accepted (%1). Check that it was copied whole.")
                                  .arg(error->description()));
            else
                emit answered(false,
                              QStringLiteral("The server answered: %1").arg(error->description()));
            return;
        case ClientError::Kind::transport:
            emit answered(false, QStringLiteral("The Anthropic API could not be reached: %1")
                                     .arg(error->description()));
            return;
        default:
            // The request was accepted; whatever came back, the key opened the door.
            emit answered(true, QStringLiteral("The key works."));
            return;
        }
    });
}

} // namespace tavrik
