#include "TavrikCore/Synthesis/Secrets.h"

#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Support/Files.h"

namespace tavrik::Secrets {

QString anthropicKeyFilePath() {
    return Paths::support() + QStringLiteral("/anthropic_key.txt");
}

std::optional<QString> anthropicAPIKey() {
    const QString fromEnvironment = qEnvironmentVariable("ANTHROPIC_API_KEY").trimmed();
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;

    // A key is a line of text; anything much bigger is not one.
    const std::optional<QByteArray> bytes = Files::read(anthropicKeyFilePath(), 64 * Files::KiB);
    if (!bytes)
        return std::nullopt;
    const std::optional<QString> text = Files::decodeUtf8(*bytes);
    if (!text)
        return std::nullopt;
    const QString key = text->trimmed();
    if (key.isEmpty())
        return std::nullopt;
    return key;
}

bool hasAnthropicKey() {
    return anthropicAPIKey().has_value();
}

} // namespace tavrik::Secrets
