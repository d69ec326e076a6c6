// Draws the application's SVG icon as a square PNG of one size, for the hicolor theme's fixed
// sizes: tavrik-render-icon SVG SIZE PNG
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s SVG SIZE PNG\n", argv[0]);
        return 2;
    }
    QSvgRenderer renderer{QString::fromLocal8Bit(argv[1])};
    const int size = QByteArray(argv[2]).toInt();
    if (!renderer.isValid() || size <= 0) {
        std::fprintf(stderr, "%s: cannot draw %s at %s pixels\n", argv[0], argv[1], argv[2]);
        return 1;
    }
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter);
    painter.end();
    if (!image.save(QString::fromLocal8Bit(argv[3]), "PNG")) {
        std::fprintf(stderr, "%s: cannot write %s\n", argv[0], argv[3]);
        return 1;
    }
    return 0;
}
