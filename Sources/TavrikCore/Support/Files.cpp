#include "TavrikCore/Support/Files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringDecoder>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tavrik::Files {

namespace {

QString sizeText(qint64 bytes) {
    if (bytes >= MiB && bytes % MiB == 0)
        return QStringLiteral("%1 MiB").arg(bytes / MiB);
    if (bytes >= KiB && bytes % KiB == 0)
        return QStringLiteral("%1 KiB").arg(bytes / KiB);
    return QStringLiteral("%1 bytes").arg(bytes);
}

// Why a file with this status is not read, or nothing when it may be.
std::optional<QString> refusal(const struct stat& status, qint64 maxBytes) {
    if (S_ISDIR(status.st_mode))
        return QStringLiteral("is a folder");
    if (!S_ISREG(status.st_mode))
        return QStringLiteral("is not a regular file");
    if (status.st_size > maxBytes)
        return QStringLiteral("is larger than %1").arg(sizeText(maxBytes));
    return std::nullopt;
}

// Depth first, looking at each entry itself: a link is unlinked, its target never entered.
bool removeTree(const QString& folder) {
    bool removed = true;
    const QFileInfoList entries = QDir(folder).entryInfoList(QDir::AllEntries | QDir::Hidden |
                                                             QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo& entry : entries) {
        if (entry.isDir() && !entry.isSymLink())
            removed = removeTree(entry.filePath()) && removed;
        else
            removed = QFile::remove(entry.filePath()) && removed;
    }
    return QDir().rmdir(folder) && removed;
}

} // namespace

Result<QByteArray> read(const QString& path, qint64 maxBytes) {
    const auto fail = [&](const QString& why) {
        return Failure{QStringLiteral("cannot read %1: %2").arg(path, why)};
    };
    const QByteArray name = QFile::encodeName(path);
    struct stat status {};
    // Looked at before opening, so a device is never even opened...
    if (::stat(name.constData(), &status) != 0)
        return fail(qt_error_string(errno));
    if (std::optional<QString> why = refusal(status, maxBytes))
        return fail(*why);
    // ...and again through the open descriptor, in case the name was swapped meanwhile; a pipe
    // opened without blocking is then refused like any other.
    const int descriptor = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return fail(qt_error_string(errno));
    QFile file;
    if (!file.open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered,
                   QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return fail(file.errorString());
    }
    if (::fstat(descriptor, &status) != 0)
        return fail(qt_error_string(errno));
    if (std::optional<QString> why = refusal(status, maxBytes))
        return fail(*why);

    // The size is known, but the file may grow while it is read: the bound holds either way.
    QByteArray bytes;
    bytes.reserve(qsizetype(status.st_size));
    char chunk[16 * 1024];
    for (;;) {
        const qint64 count = file.read(chunk, sizeof chunk);
        if (count < 0)
            return fail(file.errorString());
        if (count == 0)
            return bytes;
        if (bytes.size() + count > maxBytes)
            return fail(QStringLiteral("is larger than %1").arg(sizeText(maxBytes)));
        bytes.append(chunk, qsizetype(count));
    }
}

Result<> write(const QString& path, const QByteArray& bytes,
               std::optional<QFileDevice::Permissions> permissions) {
    const auto fail = [&](const QString& why) {
        return Failure{QStringLiteral("cannot write %1: %2").arg(path, why)};
    };
    const QFileInfo existing(path);
    if (existing.isDir() && !existing.isSymLink())
        return fail(QStringLiteral("is a folder"));
    // QSaveFile would write to a link's target, and a pipe or device is no file to replace: such
    // an entry goes first, so the new file takes its place.
    if (existing.isSymLink() || (existing.exists() && !existing.isFile())) {
        QFile entry(path);
        if (!entry.remove())
            return fail(entry.errorString());
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return fail(file.errorString());
    if (permissions && !file.setPermissions(*permissions)) {
        file.cancelWriting();
        return fail(file.errorString());
    }
    if (file.write(bytes) != bytes.size() || !file.commit()) {
        const QString why = file.errorString();
        file.cancelWriting();
        return fail(why);
    }
    return {};
}

Result<> makeFolder(const QString& path) {
    if (QFileInfo(path).isSymLink())
        return Failure{QStringLiteral("cannot use folder %1: it is a symbolic link").arg(path)};
    if (!QDir().mkpath(path))
        return Failure{QStringLiteral("cannot create folder %1").arg(path)};
    return {};
}

Result<> removeFolder(const QString& path) {
    const QFileInfo info(path);
    if (info.isSymLink()) {
        QFile link(path);
        if (!link.remove())
            return Failure{QStringLiteral("cannot remove %1: %2").arg(path, link.errorString())};
        return {};
    }
    if (!info.isDir())
        return Failure{QStringLiteral("cannot remove %1: no such folder").arg(path)};
    if (!removeTree(path))
        return Failure{QStringLiteral("cannot remove %1 completely").arg(path)};
    return {};
}

std::optional<QString> decodeUtf8(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

} // namespace tavrik::Files
