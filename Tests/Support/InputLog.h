#pragma once

#include "TavrikCore/Recorder/InputMonitor.h"

#include <QList>
#include <QString>
#include <optional>

namespace tavrik::test {

// One signal of an input monitor, flattened for comparison.
struct SeenInput {
    QString kind; // down, up, drag, move, scroll, key, flags
    Point point;
    int button = -1;
    int clickCount = 0;
    double dx = 0, dy = 0;
    quint16 keyCode = 0;
    quint64 flags = 0;
    std::optional<QString> characters;
};

// Everything an input monitor reports, in order: what a recorder would have been told.
class InputLog {
public:
    explicit InputLog(InputMonitor& monitor);

    QList<SeenInput> ofKind(const QString& kind) const;
    bool sawKey(quint16 keyCode) const;
    // Waits until the monitor reports a press of `keyCode`, the end marker of a sequence.
    bool waitForKey(quint16 keyCode) const;

    QList<SeenInput> seen;
};

} // namespace tavrik::test
