#pragma once

#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikCore/Replay/ReplayClock.h"
#include "TavrikCore/Replay/SyntheticInput.h"

namespace tavrik::bench {

// One window of `elementCount` elements held in memory, answering at once: what replay costs
// apart from the accessibility bus and the application. Every third element is a text field,
// the others buttons named "Button <i>".
class MemoryDesktop final : public DesktopActor, public SyntheticInput, public ReplayClock {
public:
    explicit MemoryDesktop(int elementCount) {
        m_window = LiveWindow{1,
                              QStringLiteral("org.example.Big"),
                              QStringLiteral("Big"),
                              QStringLiteral("Big"),
                              Rect(100, 100, 1200, 900),
                              true};
        for (int i = 0; i < elementCount; ++i) {
            LiveElement e;
            e.handle = quint64(i + 2);
            e.window = 1;
            e.role = i % 3 == 0 ? QStringLiteral("text") : QStringLiteral("push button");
            e.name =
                e.role == QStringLiteral("text") ? QString() : QStringLiteral("Button %1").arg(i);
            e.path = QStringLiteral("filler:0/panel:%1/%2:%3").arg(i / 50).arg(e.role).arg(i % 50);
            e.frame = Rect(100 + (i % 40) * 30, 100 + (i / 40) * 20, 28, 18);
            e.showing = e.enabled = e.focusable = true;
            e.editable = e.role == QStringLiteral("text");
            if (!e.editable)
                e.actions = {QStringLiteral("click")};
            e.value = QString();
            m_elements.append(e);
        }
    }
    const LiveWindow& window() const { return m_window; }
    const QList<LiveElement>& all() const { return m_elements; }

    bool isAvailable() const override { return true; }
    QList<LiveWindow> windows() override { return {m_window}; }
    QList<LiveElement> elements(const LiveWindow&, const QString& role, int limit) override {
        QList<LiveElement> found;
        for (const LiveElement& e : m_elements)
            if ((role.isEmpty() || e.role == role) && found.size() < limit)
                found.append(e);
        return found;
    }
    std::optional<LiveElement> refresh(const LiveElement& e) override { return e; }
    std::optional<LiveElement> parent(const LiveElement&) override { return std::nullopt; }
    bool reaches(const LiveElement&, Point) override { return false; }
    bool performAction(const LiveElement&, const QString&) override { return true; }
    bool focus(const LiveElement&) override { return true; }
    bool select(const LiveElement&) override { return true; }
    bool insertText(const LiveElement&, const QString& text) override {
        m_text = text;
        return true;
    }
    bool replaceText(const LiveElement&, const QString&) override { return true; }
    std::optional<QString> text(const LiveElement&) override { return m_text; }
    bool activateWindow(const LiveWindow&) override { return true; }
    bool pressKey(quint16, quint64) override { return true; }
    bool typeText(const QString&) override { return true; }
    bool click(Point, Button, int) override { return true; }
    bool drag(Point, Point) override { return true; }
    bool scroll(Point, int, int) override { return true; }
    // Waits pass at once: a target that never shows costs no wall time.
    qint64 elapsedMs() const override { return m_now; }
    void sleepMs(int ms) override { m_now += ms; }

private:
    LiveWindow m_window;
    QList<LiveElement> m_elements;
    QString m_text;
    qint64 m_now = 0;
};

} // namespace tavrik::bench
