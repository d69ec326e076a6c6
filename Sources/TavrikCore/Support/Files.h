#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Plain file operations whose failures come back as one readable line naming the file.
namespace tavrik::Files {

// Replaces the file's content (a plain write, not through a temporary file).
std::optional<QString> write(const QString& path, const QByteArray& bytes);
std::optional<QByteArray> read(const QString& path, QString* error = nullptr);
std::optional<QString> makeFolder(const QString& path);
// Removes a folder with everything in it; a missing folder is an error.
std::optional<QString> removeFolder(const QString& path);
// Strict UTF-8: invalid bytes are an error rather than silently replaced.
std::optional<QString> decodeUtf8(const QByteArray& bytes);

} // namespace tavrik::Files
