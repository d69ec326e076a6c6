#include "TavrikPlatform/Wayland/SwayPointer.h"

#include <QJsonArray>
#include <QJsonObject>
#include <algorithm>
#include <cmath>

namespace tavrik::wayland {

namespace {

// wl_seat's capability bit for a pointer.
constexpr int kPointerCapability = 1;
// A drag passes through points this far apart, so that toolkits see motion, not a jump.
constexpr double kDragStep = 20;
constexpr int kMaxDragSteps = 50;

QString place(Point at) {
    return QStringLiteral("seat - cursor set %1 %2").arg(qRound(at.x)).arg(qRound(at.y));
}

QString buttonName(SyntheticInput::Button button) {
    switch (button) {
    case SyntheticInput::Button::left:
        return QStringLiteral("button1");
    case SyntheticInput::Button::middle:
        return QStringLiteral("button2");
    case SyntheticInput::Button::right:
        return QStringLiteral("button3");
    }
    return QStringLiteral("button1");
}

} // namespace

SwayPointer::SwayPointer(SwayIpc ipc, std::unique_ptr<SyntheticInput> keys)
    : m_ipc(std::move(ipc)), m_keys(std::move(keys)) {}

bool SwayPointer::isAvailable() const {
    const std::optional<QJsonDocument> seats = m_ipc.request(SwayIpc::getSeats);
    if (!seats)
        return false;
    for (const auto& seat : seats->array())
        if (seat[QLatin1String("capabilities")].toInt() & kPointerCapability)
            return true;
    return false;
}

bool SwayPointer::pressKey(quint16 keyCode, quint64 modifierFlags) {
    return m_keys && m_keys->pressKey(keyCode, modifierFlags);
}

bool SwayPointer::typeText(const QString& text) {
    return m_keys && m_keys->typeText(text);
}

QStringList SwayPointer::clickCommands(Point at, Button button, int count) {
    QStringList commands{place(at)};
    const QString name = buttonName(button);
    for (int i = 0; i < std::max(count, 1); ++i)
        commands << QStringLiteral("seat - cursor press ") + name
                 << QStringLiteral("seat - cursor release ") + name;
    return commands;
}

QStringList SwayPointer::dragCommands(Point from, Point to) {
    QStringList commands{place(from), QStringLiteral("seat - cursor press button1")};
    const double distance = std::hypot(to.x - from.x, to.y - from.y);
    const int steps = std::clamp(int(distance / kDragStep), 1, kMaxDragSteps);
    for (int i = 1; i <= steps; ++i) {
        const double t = double(i) / steps;
        commands << place(Point{from.x + t * (to.x - from.x), from.y + t * (to.y - from.y)});
    }
    commands << QStringLiteral("seat - cursor release button1");
    return commands;
}

QStringList SwayPointer::scrollCommands(Point at, int dx, int dy) {
    // sway turns a press of buttons 4 to 7 into one wheel step: up, down, left, right.
    QStringList commands{place(at)};
    const QString vertical = dy > 0 ? QStringLiteral("button5") : QStringLiteral("button4");
    const QString horizontal = dx > 0 ? QStringLiteral("button7") : QStringLiteral("button6");
    for (int i = 0; i < std::abs(dy); ++i)
        commands << QStringLiteral("seat - cursor press ") + vertical;
    for (int i = 0; i < std::abs(dx); ++i)
        commands << QStringLiteral("seat - cursor press ") + horizontal;
    return commands;
}

bool SwayPointer::succeeded(const QJsonDocument& reply, qsizetype commands) {
    const QJsonArray results = reply.array();
    if (results.size() != commands)
        return false;
    return std::all_of(results.begin(), results.end(), [](const QJsonValue& result) {
        return result[QLatin1String("success")].toBool();
    });
}

bool SwayPointer::click(Point at, Button button, int count) {
    return run(clickCommands(at, button, count));
}

bool SwayPointer::drag(Point from, Point to) {
    return run(dragCommands(from, to));
}

bool SwayPointer::scroll(Point at, int dx, int dy) {
    if (dx == 0 && dy == 0)
        return false;
    return run(scrollCommands(at, dx, dy));
}

bool SwayPointer::run(const QStringList& commands) {
    const std::optional<QJsonDocument> reply =
        m_ipc.request(SwayIpc::runCommand, commands.join(QStringLiteral("; ")).toUtf8());
    return reply && succeeded(*reply, commands.size());
}

} // namespace tavrik::wayland
