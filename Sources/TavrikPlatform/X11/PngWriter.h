#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>
#include <optional>

namespace tavrik {

// Encodes key frames as PNG with libpng tuned for speed: zlib level 1 and no row filters, which
// for screen content is several times faster than Qt's encoder at a similar size.
namespace PngWriter {

// Opaque RGB PNG of an RGB32/ARGB32 image (alpha is dropped); absent on failure.
std::optional<QByteArray> encode(const QImage& image, QString* error = nullptr);
// Encodes and writes atomically, replacing any file; no file is left on failure.
bool write(const QImage& image, const QString& path, QString* error = nullptr);

} // namespace PngWriter

} // namespace tavrik
