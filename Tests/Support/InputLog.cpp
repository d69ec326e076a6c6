#include "Support/InputLog.h"

#include "Support/WaitUntil.h"

namespace tavrik::test {

InputLog::InputLog(InputMonitor& monitor) {
    using Button = InputMonitor::MouseButton;
    QObject::connect(&monitor, &InputMonitor::mouseDown, [this](Point p, Button b, int count) {
        seen.append({"down", p, int(b), count});
    });
    QObject::connect(&monitor, &InputMonitor::mouseUp, [this](Point p, Button b) {
        seen.append({"up", p, int(b)});
    });
    QObject::connect(&monitor, &InputMonitor::mouseDragged, [this](Point p) {
        seen.append({"drag", p});
    });
    QObject::connect(&monitor, &InputMonitor::mouseMoved, [this](Point p) {
        seen.append({"move", p});
    });
    QObject::connect(&monitor, &InputMonitor::scroll, [this](Point p, double dx, double dy) {
        SeenInput s{"scroll", p};
        s.dx = dx;
        s.dy = dy;
        seen.append(s);
    });
    QObject::connect(&monitor, &InputMonitor::key,
                     [this](quint16 code, quint64 flags, const std::optional<QString>& chars) {
                         SeenInput s{"key"};
                         s.keyCode = code;
                         s.flags = flags;
                         s.characters = chars;
                         seen.append(s);
                     });
    QObject::connect(&monitor, &InputMonitor::flagsChanged, [this](quint16 code, quint64 flags) {
        SeenInput s{"flags"};
        s.keyCode = code;
        s.flags = flags;
        seen.append(s);
    });
}

QList<SeenInput> InputLog::ofKind(const QString& kind) const {
    QList<SeenInput> out;
    for (const SeenInput& s : seen)
        if (s.kind == kind)
            out.append(s);
    return out;
}

bool InputLog::sawKey(quint16 keyCode) const {
    return std::any_of(seen.begin(), seen.end(), [&](const SeenInput& s) {
        return s.kind == QLatin1String("key") && s.keyCode == keyCode;
    });
}

bool InputLog::waitForKey(quint16 keyCode) const {
    return waitUntil([&] { return sawKey(keyCode); });
}

} // namespace tavrik::test
