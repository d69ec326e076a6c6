#pragma once

#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikCore/Replay/ReplayClock.h"
#include "TavrikCore/Replay/SyntheticInput.h"

#include <QStringList>
#include <functional>

namespace tavrik::test {

// A desktop held in memory: windows and elements the test arranges, every action written to
// `log`, text fields that take inserted text. Time passes only when the engine sleeps.
class FakeDesktop final : public DesktopActor, public SyntheticInput, public ReplayClock {
public:
    QList<LiveWindow> windowList;
    QList<LiveElement> elementList;
    QStringList log;
    qint64 now = 0;
    // How long each accessibility call and each synthetic input takes.
    qint64 callCostMs = 0;
    qint64 inputCostMs = 0;
    // Called after each sleep, so a test can change the desktop while the engine waits.
    std::function<void()> onSleep;
    // Called with the element a click lands on or an action is carried out on, by name.
    std::function<void(const QString& name)> onPress;
    // Actions that fail when asked for.
    QStringList refusedActions;
    // Actions carried out but answered as failed (the answer ran out of time).
    QStringList lateActions;
    bool insertTextWorks = true;
    // Elements something else covers: the pointer does not reach them.
    QStringList covered;
    // Whether a click lands: it selects the selectable row under it and turns a toggle there.
    bool clicksLand = true;
    bool activationWorks = true;
    // Whether a menu pressed through accessibility opens (shows as selected).
    bool menusOpenThroughActions = true;

    LiveWindow& addWindow(const QString& appID, const QString& title, Rect frame);
    LiveElement& addElement(const LiveWindow& window, const QString& role, const QString& name,
                            const QString& path, Rect frameInWindow);
    LiveElement* find(const QString& name);
    // The window and its elements go; the first window left comes to the front.
    void closeWindow(quint64 handle);

    bool isAvailable() const override { return true; }
    QList<LiveWindow> windows() override {
        now += callCostMs;
        return windowList;
    }
    QList<LiveElement> elements(const LiveWindow& window, const QString& role, int limit) override;
    std::optional<LiveElement> refresh(const LiveElement& element) override;
    // The element whose path is this one's less its last segment.
    std::optional<LiveElement> parent(const LiveElement& element) override;
    bool reaches(const LiveElement& element, Point at) override;
    bool performAction(const LiveElement& element, const QString& action) override;
    bool focus(const LiveElement& element) override;
    bool select(const LiveElement& element) override;
    bool insertText(const LiveElement& element, const QString& text) override;
    bool replaceText(const LiveElement& element, const QString& text) override;
    std::optional<QString> text(const LiveElement& element) override;
    bool activateWindow(const LiveWindow& window) override;

    bool pressKey(quint16 keyCode, quint64 modifierFlags) override;
    bool typeText(const QString& text) override;
    bool click(Point at, Button button, int count) override;
    bool drag(Point from, Point to) override;
    bool scroll(Point at, int dx, int dy) override;

    qint64 elapsedMs() const override { return now; }
    void sleepMs(int ms) override;

private:
    LiveElement* byHandle(quint64 handle);
    quint64 m_nextHandle = 1;
};

} // namespace tavrik::test
