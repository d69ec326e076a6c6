#pragma once

#include "TavrikCore/Support/Result.h"

#include <QByteArray>
#include <QFileDevice>
#include <QString>
#include <optional>

// File operations on the data folder, whose failures come back as one readable line naming the
// file. Everything in that folder may be a named pipe, a device, a link or a huge file put there
// by mistake or on purpose; these functions never block on it, never read without bound and
// never write or delete through a symbolic link.
namespace tavrik::Files {

inline constexpr qint64 KiB = 1024;
inline constexpr qint64 MiB = 1024 * KiB;

// Reads a regular file of at most `maxBytes`; a folder, a pipe, a device or a larger file is
// refused at once. Links are followed: only what they lead to must be a regular file.
Result<QByteArray> read(const QString& path, qint64 maxBytes);
// Replaces the file: the bytes go to a temporary file beside it, which is renamed over `path`,
// so a link, pipe or device found there is replaced, never written through. `permissions` are
// set before anything is written.
Result<> write(const QString& path, const QByteArray& bytes,
               std::optional<QFileDevice::Permissions> permissions = std::nullopt);
// Creates the folder with missing parents. A folder that is itself a symbolic link is refused,
// so what the stores write into their own folders never lands elsewhere.
Result<> makeFolder(const QString& path);
// Removes a folder with everything in it. Links are removed, never followed, whether the folder
// itself is one or something inside it; a missing folder is an error.
Result<> removeFolder(const QString& path);
// Strict UTF-8: invalid bytes are an error rather than silently replaced.
std::optional<QString> decodeUtf8(const QByteArray& bytes);

} // namespace tavrik::Files
