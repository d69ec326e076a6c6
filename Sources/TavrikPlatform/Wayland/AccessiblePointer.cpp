#include "TavrikPlatform/Wayland/AccessiblePointer.h"

namespace tavrik::wayland {

namespace {

constexpr int kMaxElements = 4000;

bool contains(const Rect& r, Point p) {
    return r.size.width > 0 && r.size.height > 0 && p.x >= r.origin.x && p.y >= r.origin.y &&
           p.x < r.origin.x + r.size.width && p.y < r.origin.y + r.size.height;
}

std::optional<QString> pressAction(const LiveElement& element) {
    static const QStringList preferred{QStringLiteral("click"), QStringLiteral("press"),
                                       QStringLiteral("toggle"), QStringLiteral("activate")};
    for (const QString& wanted : preferred)
        for (const QString& action : element.actions)
            if (action.compare(wanted, Qt::CaseInsensitive) == 0)
                return action;
    return std::nullopt;
}

bool isRow(const LiveElement& element) {
    static const QStringList roles{QStringLiteral("list item"), QStringLiteral("table cell"),
                                   QStringLiteral("tree item"), QStringLiteral("page tab")};
    return roles.contains(element.role);
}

bool takesClick(const LiveElement& element) {
    return pressAction(element) || isRow(element) || element.editable;
}

} // namespace

AccessiblePointer::AccessiblePointer(std::unique_ptr<DesktopActor> actor,
                                     std::unique_ptr<SyntheticInput> keys)
    : m_actor(std::move(actor)), m_keys(std::move(keys)) {}

bool AccessiblePointer::isAvailable() const {
    return m_actor->isAvailable();
}

bool AccessiblePointer::pressKey(quint16 keyCode, quint64 modifierFlags) {
    return m_keys && m_keys->pressKey(keyCode, modifierFlags);
}

bool AccessiblePointer::typeText(const QString& text) {
    return m_keys && m_keys->typeText(text);
}

std::optional<LiveElement> AccessiblePointer::clickTarget(const QList<LiveElement>& elements,
                                                          Point at) {
    // Depth first: the last element containing the point is the innermost one.
    const LiveElement* hit = nullptr;
    for (const LiveElement& element : elements)
        if (contains(element.frame, at))
            hit = &element;
    if (!hit)
        return std::nullopt;
    if (takesClick(*hit))
        return *hit;
    // Ancestors are the elements whose paths lead to it, the nearest one last.
    std::optional<LiveElement> ancestor;
    for (const LiveElement& element : elements)
        if (!element.path.isEmpty() && hit->path.startsWith(element.path + u'/') &&
            takesClick(element))
            ancestor = element;
    return ancestor;
}

bool AccessiblePointer::click(Point at, Button button, int count) {
    if (button != Button::left || count != 1)
        return false;
    for (const LiveWindow& window : m_actor->windows()) {
        if (!contains(window.frame, at))
            continue;
        const std::optional<LiveElement> target =
            clickTarget(m_actor->elements(window, QString(), kMaxElements), at);
        if (!target)
            return false;
        if (const std::optional<QString> action = pressAction(*target))
            return m_actor->performAction(*target, *action);
        if (isRow(*target))
            return m_actor->select(*target);
        return m_actor->focus(*target);
    }
    return false;
}

} // namespace tavrik::wayland
