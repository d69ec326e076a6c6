#include "TavrikPlatform/X11/PngWriter.h"

#include <QSaveFile>
#include <csetjmp>
#include <png.h>

namespace tavrik {

namespace {

void appendBytes(png_structp png, png_bytep data, png_size_t length) {
    auto* out = static_cast<QByteArray*>(png_get_io_ptr(png));
    out->append(reinterpret_cast<const char*>(data), qsizetype(length));
}

void noFlush(png_structp) {}

} // namespace

std::optional<QByteArray> PngWriter::encode(const QImage& source, QString* error) {
    if (source.isNull()) {
        if (error)
            *error = QStringLiteral("empty image");
        return std::nullopt;
    }
    QImage image = source;
    if (image.format() != QImage::Format_RGB32 && image.format() != QImage::Format_ARGB32)
        image = image.convertToFormat(QImage::Format_RGB32);

    QByteArray out;
    out.reserve(qsizetype(image.width()) * image.height() / 8);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!png || !info) {
        png_destroy_write_struct(&png, nullptr);
        if (error)
            *error = QStringLiteral("out of memory");
        return std::nullopt;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        if (error)
            *error = QStringLiteral("PNG encoding failed");
        return std::nullopt;
    }
    png_set_write_fn(png, &out, appendBytes, noFlush);
    png_set_IHDR(png, info, png_uint_32(image.width()), png_uint_32(image.height()), 8,
                 PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, 1);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    png_write_info(png, info);
    // QImage's 32-bit pixels are 0xAARRGGBB words; in memory (little-endian) B, G, R, A.
    if (Q_BYTE_ORDER == Q_LITTLE_ENDIAN) {
        png_set_bgr(png);
        png_set_filler(png, 0, PNG_FILLER_AFTER);
    } else {
        png_set_filler(png, 0, PNG_FILLER_BEFORE);
    }
    for (int y = 0; y < image.height(); ++y)
        png_write_row(png, const_cast<png_bytep>(image.constScanLine(y)));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return out;
}

bool PngWriter::write(const QImage& image, const QString& path, QString* error) {
    const std::optional<QByteArray> bytes = encode(image, error);
    if (!bytes)
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(*bytes) != bytes->size() || !file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}

} // namespace tavrik
