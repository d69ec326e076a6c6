#include "Tavrik/Overlay/OverlayController.h"

#include "Tavrik/Overlay/OverlayFrame.h"
#include "Tavrik/Style/Theme.h"

#include <QGuiApplication>
#include <QScreen>

namespace tavrik {

OverlayController::OverlayController(QObject* parent) : QObject(parent) {
    connect(qApp, &QGuiApplication::screenAdded, this, &OverlayController::screensChanged);
    connect(qApp, &QGuiApplication::screenRemoved, this, &OverlayController::screensChanged);
}

OverlayController::~OverlayController() {
    clear();
}

void OverlayController::setVisible(bool visible) {
    if (visible == m_visible)
        return;
    m_visible = visible;
    rebuild();
}

void OverlayController::setCasting(bool casting) {
    m_casting = casting;
    for (OverlayFrame* frame : std::as_const(m_windows))
        if (frame)
            frame->setColor(casting ? Theme::accent : Theme::recording);
}

void OverlayController::rebuild() {
    clear();
    if (!m_visible)
        return;
    for (QScreen* screen : QGuiApplication::screens()) {
        auto* frame = new OverlayFrame(screen, m_casting ? Theme::accent : Theme::recording);
        frame->show();
        frame->raise();
        m_windows << frame;
    }
}

void OverlayController::screensChanged() {
    rebuild();
}

void OverlayController::clear() {
    for (OverlayFrame* frame : std::as_const(m_windows))
        delete frame;
    m_windows.clear();
}

} // namespace tavrik
