#include "TavrikCore/Synthesis/Secrets.h"

#include "TavrikCore/Storage/Paths.h"

#include <QFile>
#include <QStringDecoder>

namespace tavrik::Secrets {

QString anthropicKeyFilePath() {
    return Paths::support() + QStringLiteral("/anthropic_key.txt");
}

std::optional<QString> anthropicAPIKey() {
    const QString fromEnvironment = qEnvironmentVariable("ANTHROPIC_API_KEY").trimmed();
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;

    QFile file(anthropicKeyFilePath());
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(file.readAll());
    if (decoder.hasError())
        return std::nullopt;
    const QString key = text.trimmed();
    if (key.isEmpty())
        return std::nullopt;
    return key;
}

bool hasAnthropicKey() {
    return anthropicAPIKey().has_value();
}

} // namespace tavrik::Secrets
