#include "TavrikCore/Synthesis/ClientError.h"

#include "TavrikCore/Support/BoundedReply.h"

namespace tavrik {

ClientError ClientError::http(int status, const QString& body) {
    return {Kind::http, status, body};
}
ClientError ClientError::refusal(const QString& message) {
    return {Kind::refusal, 0, message};
}
ClientError ClientError::noTextContent() {
    return {Kind::noTextContent, 0, {}};
}
ClientError ClientError::truncated() {
    return {Kind::truncated, 0, {}};
}
ClientError ClientError::transport(const QString& message) {
    return {Kind::transport, 0, message};
}
ClientError ClientError::decoding(const QString& detail) {
    return {Kind::decoding, 0, detail};
}
ClientError ClientError::cancelled() {
    return {Kind::cancelled, 0, {}};
}
ClientError ClientError::redirected(const QString& origin) {
    return {Kind::redirected, 0, origin};
}
ClientError ClientError::tooLarge() {
    return {Kind::tooLarge, 0, {}};
}

QString ClientError::description() const {
    switch (m_kind) {
    case Kind::http:
        return QStringLiteral("Anthropic API HTTP ") + QString::number(m_status) +
               QStringLiteral(": ") + m_text;
    case Kind::refusal:
        return QStringLiteral("The model declined the request: ") + m_text;
    case Kind::noTextContent:
        return QStringLiteral("The response contained no text content.");
    case Kind::truncated:
        return QStringLiteral("The response was cut off (hit max_tokens).");
    case Kind::transport:
        return m_text;
    case Kind::decoding:
        return QStringLiteral("The response could not be read: ") + m_text;
    case Kind::cancelled:
        return QStringLiteral("The request was cancelled.");
    case Kind::redirected:
        return BoundedReply::redirectRefusedText(QUrl(m_text));
    case Kind::tooLarge:
        return BoundedReply::tooLargeText();
    }
    return {};
}

} // namespace tavrik
