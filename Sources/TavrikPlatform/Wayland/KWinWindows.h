#pragma once

#include "TavrikPlatform/Wayland/CompositorWindows.h"

#include <QByteArray>
#include <functional>
#include <memory>

namespace tavrik::wayland {

class KWinScript;

// Windows and the pointer on KWin, through Tavrik's KWin script. KWin keeps a stacking order and
// decorates windows itself (GTK and Qt both take its title bars), so every toolkit counts from
// the surface: the buffer, which holds a shadow only where a client decorates itself.
class KWinWindows final : public CompositorWindows {
public:
    // A null script is a KWin that refused it: no windows.
    explicit KWinWindows(std::shared_ptr<KWinScript> script, int timeoutMs = 3000);

    bool isReachable() override;
    QList<CompositorWindow> windows() override;
    bool keepsStackingOrder() const override { return true; }
    bool clientsDecorate() const override { return false; }
    bool focus(qint64 id) override;
    std::optional<Point> pointer();

    // The windows of a report, topmost first; numberFor turns KWin's ids into small numbers.
    static QList<CompositorWindow> parseWindows(const QByteArray& json,
                                                const std::function<qint64(QString)>& numberFor);
    static std::optional<Point> parsePointer(const QByteArray& json);

private:
    std::shared_ptr<KWinScript> m_script;
    int m_timeoutMs;
};

} // namespace tavrik::wayland
