#include "TavrikCore/Synthesis/Secrets.h"

#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Support/Files.h"

#include <QFile>
#include <QSaveFile>
#include <QStringDecoder>

namespace tavrik::Secrets {

QString anthropicKeyFilePath() {
    return Paths::support() + QStringLiteral("/anthropic_key.txt");
}

std::optional<QString> anthropicAPIKey() {
    const QString fromEnvironment = qEnvironmentVariable("ANTHROPIC_API_KEY").trimmed();
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;

    // A key is a line of text; anything much bigger is not one.
    const Result<QByteArray> bytes = Files::read(anthropicKeyFilePath(), 64 * Files::KiB);
    if (!bytes.ok())
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

bool environmentHasAnthropicKey() {
    return !qEnvironmentVariable("ANTHROPIC_API_KEY").trimmed().isEmpty();
}

Result<> saveAnthropicKey(const QString& key) {
    const QString path = anthropicKeyFilePath();
    const QString trimmed = key.trimmed();
    if (trimmed.isEmpty()) {
        if (QFile::exists(path) && !QFile::remove(path))
            return Failure{QStringLiteral("%1 could not be removed").arg(path)};
        return {};
    }
    QSaveFile file(path);
    // The temporary file gets these permissions before the key is written into it.
    if (!file.open(QIODevice::WriteOnly) ||
        !file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        return Failure{QStringLiteral("%1 could not be written: %2").arg(path, file.errorString())};
    file.write(trimmed.toUtf8() + '\n');
    if (!file.commit())
        return Failure{QStringLiteral("%1 could not be written: %2").arg(path, file.errorString())};
    return {};
}

} // namespace tavrik::Secrets
