#include "TavrikCore/Support/Files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

namespace tavrik::Files {

std::optional<QString> write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
    if (file.write(bytes) != bytes.size())
        return QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
    if (!file.flush())
        return QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
    return std::nullopt;
}

std::optional<QByteArray> read(const QString& path, QString* error) {
    QFile file(path);
    if (QFileInfo(path).isDir() || !file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("cannot read %1: %2").arg(path, QFileInfo(path).isDir() ? QStringLiteral("is a folder") : file.errorString());
        return std::nullopt;
    }
    return file.readAll();
}

std::optional<QString> makeFolder(const QString& path) {
    if (!QDir().mkpath(path))
        return QStringLiteral("cannot create folder %1").arg(path);
    return std::nullopt;
}

std::optional<QString> removeFolder(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists() || !info.isDir())
        return QStringLiteral("cannot remove %1: no such folder").arg(path);
    if (!QDir(path).removeRecursively())
        return QStringLiteral("cannot remove %1 completely").arg(path);
    return std::nullopt;
}

std::optional<QString> decodeUtf8(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

} // namespace tavrik::Files
