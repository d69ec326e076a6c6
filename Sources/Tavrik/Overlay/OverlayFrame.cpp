#include "Tavrik/Overlay/OverlayFrame.h"

#include <QPainter>
#include <QScreen>

namespace tavrik {

OverlayFrame::OverlayFrame(QScreen* screen, const QColor& color)
    : QWidget(nullptr, Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::X11BypassWindowManagerHint | Qt::WindowTransparentForInput |
                           Qt::WindowDoesNotAcceptFocus | Qt::Tool),
      m_color(color) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setWindowTitle(QStringLiteral("Tavrik recording frame"));
    setScreen(screen);
    setGeometry(screen->geometry());
}

void OverlayFrame::setColor(const QColor& color) {
    m_color = color;
    update();
}

void OverlayFrame::resizeEvent(QResizeEvent*) {
    const QRect all = rect();
    setMask(QRegion(all).subtracted(
        QRegion(all.adjusted(thickness, thickness, -thickness, -thickness))));
}

void OverlayFrame::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), m_color);
    // A lighter inner line softens the edge against busy content.
    painter.setPen(QPen(m_color.lighter(135), 1));
    painter.drawRect(rect().adjusted(thickness - 1, thickness - 1, -thickness, -thickness));
}

} // namespace tavrik
