#pragma once

#include "Tavrik/Pill/PillGeometry.h"
#include "Tavrik/Pill/PillModel.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

namespace tavrik {

class PillWindow;

// Owns the pill's window and decides its size, its place on the right edge of the screen,
// whether it is expanded and whether it lets clicks through. The pointer is polled, since a
// window that lets clicks through gets no hover events: every 40 ms near the pill or while it is
// open, less often while the pointer is too far away to reach it sooner, so an idle desktop
// is not woken 25 times a second.
class PillController : public QObject {
    Q_OBJECT
public:
    static constexpr int pollIntervalMs = 40;
    static constexpr int slowestPollIntervalMs = 250;

    explicit PillController(QObject* parent = nullptr);
    ~PillController() override;

    // Creates the window once and shows it without taking the keyboard.
    void show();
    PillWindow* window() const;
    PillModel* model() { return &m_model; }

    SkillPanelPhase phase() const { return m_phase; }
    void setPhase(SkillPanelPhase phase);
    void setHasTip(bool hasTip);
    QSize currentSize() const;

    // The area the pill docks to; the primary screen's available area unless set (tests).
    void setDockArea(const QRect& area);
    QRect dockArea() const;

    void reposition();
    void syncSize();
    void poll();
    // One poll with the pointer at a global position; schedules the next.
    void pollAt(QPoint pointer);
    // When the next poll is due, in milliseconds, while the timer runs.
    int nextPollMs() const { return m_pollTimer.isActive() ? m_pollTimer.interval() : -1; }
    void setExpanded(bool expanded);
    bool acceptsMouse() const { return m_acceptsMouse; }

    // Out of the way while the palette is open, back in place afterwards.
    void hideForPalette();
    void restore();

private:
    PillModel m_model;
    QPointer<PillWindow> m_window;
    QTimer m_pollTimer;
    SkillPanelPhase m_phase = SkillPanelPhase::idle;
    bool m_hasTip = false;
    bool m_acceptsMouse = false;
    QRect m_dockArea;
};

} // namespace tavrik
