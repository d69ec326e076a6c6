#include "Tavrik/Pill/PillController.h"

#include "Tavrik/Pill/PillWindow.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

namespace tavrik {

PillController::PillController(QObject* parent) : QObject(parent) {
    m_pollTimer.setSingleShot(true);
    connect(&m_pollTimer, &QTimer::timeout, this, &PillController::poll);
}

PillController::~PillController() {
    delete m_window;
}

PillWindow* PillController::window() const {
    return m_window;
}

void PillController::show() {
    if (m_window)
        return;
    m_window = new PillWindow;
    m_window->setPhase(m_phase);
    connect(m_window, &PillWindow::partsChanged, this, &PillController::syncSize);
    connect(&m_model, &PillModel::expandedChanged, m_window, &PillWindow::setExpanded);
    m_window->resize(currentSize());
    reposition();
    m_window->show();
    m_window->setAcceptsMouse(false);
    m_pollTimer.start(pollIntervalMs);
}

QSize PillController::currentSize() const {
    return PillGeometry::sizeFor(m_phase, m_window ? m_window->parts() : PillGeometry::Parts());
}

void PillController::setPhase(SkillPanelPhase phase) {
    if (phase == m_phase)
        return;
    m_phase = phase;
    if (m_window)
        m_window->setPhase(phase);
    syncSize();
    // The pill's zones have changed; a poll scheduled for the old ones may be too late.
    if (m_pollTimer.isActive())
        m_pollTimer.start(pollIntervalMs);
}

void PillController::setHasTip(bool hasTip) {
    if (hasTip != m_hasTip && m_pollTimer.isActive())
        m_pollTimer.start(pollIntervalMs);
    m_hasTip = hasTip;
}

void PillController::setDockArea(const QRect& area) {
    m_dockArea = area;
    reposition();
}

QRect PillController::dockArea() const {
    if (m_dockArea.isValid())
        return m_dockArea;
    if (QScreen* screen = QGuiApplication::primaryScreen())
        return screen->availableGeometry();
    return {};
}

void PillController::reposition() {
    const QRect area = dockArea();
    if (!m_window || !area.isValid())
        return;
    m_window->move(PillGeometry::frameFor(area, m_window->size()).topLeft());
}

void PillController::syncSize() {
    if (m_window && m_window->size() != currentSize())
        m_window->resize(currentSize());
    reposition();
}

void PillController::poll() {
    if (m_window && m_window->isVisible())
        pollAt(QCursor::pos());
    else if (m_window)
        m_pollTimer.start(slowestPollIntervalMs); // hidden for the palette; back soon
}

void PillController::pollAt(QPoint pointer) {
    if (!m_window)
        return;
    const QRect frame = m_window->frameGeometry();
    const PillGeometry::Hover hover = PillGeometry::poll(frame, pointer, m_model.expanded(),
                                                         m_hasTip, m_phase, m_window->parts());
    setExpanded(hover.expanded);
    if (hover.acceptsMouse != m_acceptsMouse || hover.acceptsMouse != m_window->acceptsMouse()) {
        m_acceptsMouse = hover.acceptsMouse;
        m_window->setAcceptsMouse(hover.acceptsMouse);
    }
    m_pollTimer.start(PillGeometry::nextPollDelay(frame, pointer, hover, m_hasTip, m_phase,
                                                  pollIntervalMs, slowestPollIntervalMs,
                                                  m_window->parts()));
}

void PillController::setExpanded(bool expanded) {
    m_model.setExpanded(expanded);
}

void PillController::hideForPalette() {
    if (m_window)
        m_window->hide();
}

void PillController::restore() {
    if (!m_window)
        return;
    syncSize();
    m_window->show();
    m_window->raise();
    m_pollTimer.start(pollIntervalMs);
}

} // namespace tavrik
