#include "Replay/FakeDesktop.h"

namespace tavrik::test {

LiveWindow& FakeDesktop::addWindow(const QString& appID, const QString& title, Rect frame) {
    LiveWindow window;
    window.handle = m_nextHandle++;
    window.appID = appID;
    window.appName = appID;
    window.title = title;
    window.frame = frame;
    window.active = windowList.isEmpty();
    windowList.append(window);
    return windowList.last();
}

LiveElement& FakeDesktop::addElement(const LiveWindow& window, const QString& role,
                                     const QString& name, const QString& path, Rect frameInWindow) {
    LiveElement element;
    element.handle = m_nextHandle++;
    element.window = window.handle;
    element.role = role;
    element.name = name;
    element.path = path;
    element.frame = Rect(window.frame.origin.x + frameInWindow.origin.x,
                         window.frame.origin.y + frameInWindow.origin.y, frameInWindow.size.width,
                         frameInWindow.size.height);
    element.showing = true;
    element.enabled = true;
    element.focusable = true;
    if (role == QStringLiteral("text") || role == QStringLiteral("password text")) {
        element.editable = true;
        element.singleLine = true;
        element.value = QString();
        element.secure = role == QStringLiteral("password text");
    } else if (role == QStringLiteral("check box") || role == QStringLiteral("toggle button")) {
        element.checkable = true;
        element.actions = {QStringLiteral("click")};
    } else if (role == QStringLiteral("push button") || role == QStringLiteral("menu item")) {
        element.actions = {QStringLiteral("click")};
    } else if (role == QStringLiteral("list item")) {
        element.selectable = true;
    } else if (role == QStringLiteral("menu")) {
        element.actions = {QStringLiteral("click")};
        element.selectable = true;
    }
    elementList.append(element);
    return elementList.last();
}

LiveElement* FakeDesktop::find(const QString& name) {
    for (LiveElement& e : elementList)
        if (e.name == name)
            return &e;
    return nullptr;
}

LiveElement* FakeDesktop::byHandle(quint64 handle) {
    for (LiveElement& e : elementList)
        if (e.handle == handle)
            return &e;
    return nullptr;
}

QList<LiveElement> FakeDesktop::elements(const LiveWindow& window, const QString& role, int limit) {
    now += callCostMs;
    QList<LiveElement> found;
    for (const LiveElement& e : elementList)
        if (e.window == window.handle && e.showing && (role.isEmpty() || e.role == role) &&
            found.size() < limit)
            found.append(e);
    return found;
}

std::optional<LiveElement> FakeDesktop::refresh(const LiveElement& element) {
    now += callCostMs;
    if (LiveElement* e = byHandle(element.handle))
        return *e;
    return std::nullopt;
}

std::optional<LiveElement> FakeDesktop::parent(const LiveElement& element) {
    now += callCostMs;
    const qsizetype cut = element.path.lastIndexOf(u'/');
    if (cut < 0)
        return std::nullopt;
    const QString up = element.path.left(cut);
    for (const LiveElement& e : elementList)
        if (e.window == element.window && e.path == up)
            return e;
    return std::nullopt;
}

bool FakeDesktop::reaches(const LiveElement& element, Point at) {
    now += callCostMs;
    const Rect& f = element.frame;
    return !covered.contains(element.name) && at.x >= f.origin.x && at.y >= f.origin.y &&
           at.x < f.origin.x + f.size.width && at.y < f.origin.y + f.size.height;
}

bool FakeDesktop::performAction(const LiveElement& element, const QString& action) {
    now += callCostMs;
    LiveElement* e = byHandle(element.handle);
    if (!e || refusedActions.contains(action))
        return false;
    log.append(QStringLiteral("action %1 %2").arg(action, e->name));
    if (onPress)
        onPress(e->name);
    if (e->checkable)
        e->checked = !e->checked;
    if (e->role == QStringLiteral("menu") && menusOpenThroughActions)
        e->selected = true;
    return !lateActions.contains(action);
}

bool FakeDesktop::focus(const LiveElement& element) {
    now += callCostMs;
    LiveElement* e = byHandle(element.handle);
    if (!e)
        return false;
    for (LiveElement& other : elementList)
        other.focused = false;
    e->focused = true;
    log.append(QStringLiteral("focus %1").arg(e->name));
    return true;
}

bool FakeDesktop::select(const LiveElement& element) {
    now += callCostMs;
    LiveElement* e = byHandle(element.handle);
    if (!e)
        return false;
    e->selected = true;
    log.append(QStringLiteral("select %1").arg(e->name));
    return true;
}

bool FakeDesktop::insertText(const LiveElement& element, const QString& text) {
    now += callCostMs;
    LiveElement* e = byHandle(element.handle);
    if (!e || !insertTextWorks)
        return false;
    e->value = e->value.value_or(QString()) + text;
    log.append(QStringLiteral("insert %1 into %2")
                   .arg(e->secure ? QStringLiteral("(secret)") : text, e->name));
    return true;
}

bool FakeDesktop::replaceText(const LiveElement& element, const QString& text) {
    now += callCostMs;
    LiveElement* e = byHandle(element.handle);
    if (!e)
        return false;
    e->value = text;
    log.append(QStringLiteral("replace the text of %1 with %2")
                   .arg(e->name, e->secure ? QStringLiteral("(secret)") : text));
    return true;
}

std::optional<QString> FakeDesktop::text(const LiveElement& element) {
    now += callCostMs;
    LiveElement* e = byHandle(element.handle);
    if (!e || e->secure)
        return std::nullopt;
    return e->value;
}

bool FakeDesktop::activateWindow(const LiveWindow& window) {
    now += callCostMs;
    for (LiveWindow& w : windowList)
        w.active = activationWorks ? w.handle == window.handle : w.active;
    log.append(QStringLiteral("activate %1").arg(window.title));
    return activationWorks;
}

bool FakeDesktop::pressKey(quint16 keyCode, quint64 modifierFlags) {
    now += inputCostMs;
    log.append(QStringLiteral("key %1 %2").arg(keyCode).arg(modifierFlags, 0, 16));
    return true;
}

bool FakeDesktop::typeText(const QString& text) {
    now += inputCostMs;
    for (LiveElement& e : elementList)
        if (e.focused && e.editable)
            e.value = e.value.value_or(QString()) + text;
    log.append(QStringLiteral("type %1").arg(text));
    return true;
}

bool FakeDesktop::click(Point at, Button button, int count) {
    now += inputCostMs;
    QStringList landed;
    if (clicksLand && button == Button::left && count == 1)
        for (LiveElement& e : elementList) {
            const Rect& f = e.frame;
            if (at.x >= f.origin.x && at.y >= f.origin.y && at.x < f.origin.x + f.size.width &&
                at.y < f.origin.y + f.size.height && !covered.contains(e.name)) {
                e.selected = e.selected || e.selectable;
                if (e.checkable)
                    e.checked = !e.checked;
                landed.append(e.name);
            }
        }
    // After the loop: a press may close the window the element was in.
    if (onPress)
        for (const QString& name : std::as_const(landed))
            onPress(name);
    log.append(QStringLiteral("click %1,%2 %3 x%4")
                   .arg(qRound(at.x))
                   .arg(qRound(at.y))
                   .arg(button == Button::right ? "right" : "left")
                   .arg(count));
    return true;
}

void FakeDesktop::closeWindow(quint64 handle) {
    windowList.removeIf([&](const LiveWindow& w) { return w.handle == handle; });
    elementList.removeIf([&](const LiveElement& e) { return e.window == handle; });
    if (!windowList.isEmpty())
        windowList.first().active = true;
}

bool FakeDesktop::drag(Point from, Point to) {
    now += inputCostMs;
    log.append(QStringLiteral("drag %1,%2 to %3,%4")
                   .arg(qRound(from.x))
                   .arg(qRound(from.y))
                   .arg(qRound(to.x))
                   .arg(qRound(to.y)));
    return true;
}

bool FakeDesktop::scroll(Point at, int dx, int dy) {
    now += inputCostMs;
    log.append(QStringLiteral("scroll %1,%2 by %3,%4")
                   .arg(qRound(at.x))
                   .arg(qRound(at.y))
                   .arg(dx)
                   .arg(dy));
    return true;
}

void FakeDesktop::sleepMs(int ms) {
    now += ms;
    if (onSleep)
        onSleep();
}

} // namespace tavrik::test
