#include "TavrikPlatform/Wayland/SwayPointer.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QRectF>
#include <algorithm>
#include <cmath>

namespace tavrik::wayland {

namespace {

// wl_seat's capability bit for a pointer.
constexpr int kPointerCapability = 1;

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

std::optional<Rect> SwayPointer::layoutBox(const QJsonArray& outputs) {
    std::optional<QRectF> box;
    for (const auto& output : outputs) {
        if (!output[QLatin1String("active")].toBool(true))
            continue;
        const QJsonValue rect = output[QLatin1String("rect")];
        const QRectF frame(rect[QLatin1String("x")].toDouble(), rect[QLatin1String("y")].toDouble(),
                           rect[QLatin1String("width")].toDouble(),
                           rect[QLatin1String("height")].toDouble());
        if (frame.isEmpty())
            continue;
        box = box ? box->united(frame) : frame;
    }
    if (!box)
        return std::nullopt;
    return Rect(box->x(), box->y(), box->width(), box->height());
}

bool SwayPointer::drag(Point from, Point to) {
#ifdef TAVRIK_HAVE_WLR_VIRTUAL_POINTER
    const std::optional<QJsonDocument> outputs = m_ipc.request(SwayIpc::getOutputs);
    const std::optional<Rect> layout = outputs ? layoutBox(outputs->array()) : std::nullopt;
    if (!layout)
        return false;
    if (!m_device)
        m_device = std::make_unique<WlrVirtualPointer>();
    m_device->setLayout(*layout);
    return m_device->drag(from, to);
#else
    Q_UNUSED(from)
    Q_UNUSED(to)
    return false;
#endif
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
