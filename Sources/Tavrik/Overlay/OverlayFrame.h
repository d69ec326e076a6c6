#pragma once

#include <QWidget>

class QScreen;

namespace tavrik {

// A coloured frame around one screen's edges while recording. The window is shaped to the frame
// itself and takes no input, so everything inside stays usable and nothing needs a compositor.
class OverlayFrame : public QWidget {
    Q_OBJECT
public:
    static constexpr int thickness = 5;

    explicit OverlayFrame(QScreen* screen, const QColor& color);
    void setColor(const QColor& color);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QColor m_color;
};

} // namespace tavrik
