#include "Tavrik/Style/Theme.h"

#include <QBitmap>
#include <QEvent>
#include <QFontDatabase>
#include <QPainter>
#include <QWidget>

namespace tavrik::Theme {

QFont font(qreal pointSize, QFont::Weight weight) {
    QFont f = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    f.setPointSizeF(pointSize);
    f.setWeight(weight);
    return f;
}

QFont monospaceFont(qreal pointSize) {
    QFont f = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    f.setPointSizeF(pointSize);
    return f;
}

QRegion roundedShape(QSize size, int radius) {
    QBitmap bitmap(size);
    bitmap.fill(Qt::color0);
    QPainter painter(&bitmap);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::color1);
    painter.drawRoundedRect(QRect(QPoint(0, 0), size), radius, radius);
    painter.end();
    return QRegion(bitmap);
}

namespace {

class ShapeKeeper : public QObject {
public:
    ShapeKeeper(QWidget* window, int radius) : QObject(window), m_radius(radius) {}

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Resize) {
            auto* window = static_cast<QWidget*>(watched);
            window->setMask(roundedShape(window->size(), m_radius));
        }
        return false;
    }

private:
    int m_radius;
};

} // namespace

void keepRounded(QWidget* window, int radius) {
    window->installEventFilter(new ShapeKeeper(window, radius));
    window->setMask(roundedShape(window->size(), radius));
}

} // namespace tavrik::Theme
