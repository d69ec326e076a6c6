#pragma once

#include "TavrikCore/Replay/LiveElement.h"

#include <QList>

namespace tavrik {

// What replay needs from the accessibility layer of the desktop: the live windows and their
// elements, and acting on an element directly (its action, its text, the keyboard focus).
// Every call answers within a bounded time, even when an application hangs; a failed call says
// false or nothing rather than guessing. Use from one thread.
class DesktopActor {
public:
    virtual ~DesktopActor() = default;

    // False when there is no accessibility bus or display to act on.
    virtual bool isAvailable() const = 0;

    // Showing top-level windows of the applications that expose accessibility, the active first.
    virtual QList<LiveWindow> windows() = 0;

    // Showing elements of a window, depth first, at most `limit` of them. With `role` set only
    // elements of that role come back (backends may search faster then).
    virtual QList<LiveElement> elements(const LiveWindow& window, const QString& role,
                                        int limit) = 0;

    // What a window shows, read lightly to tell whether it changed: one line per showing element
    // (its role, name, the text of an editable one, and whether it is selected or checked), depth
    // first, at most `limit`. Backends read less per element here than `elements` does.
    virtual QStringList outline(const LiveWindow& window, int limit) {
        QStringList lines;
        for (const LiveElement& e : elements(window, QString(), limit))
            lines.append(e.role + u'|' + e.name + u'|' +
                         (e.editable ? e.value.value_or(QString()) : QString()) +
                         (e.selected ? QStringLiteral("|selected") : QString()) +
                         (e.checked ? QStringLiteral("|checked") : QString()));
        return lines;
    }

    // The element as it is now; nothing when it has gone.
    virtual std::optional<LiveElement> refresh(const LiveElement& element) = 0;
    // The element that holds it; nothing for a window's own children or when it has gone.
    virtual std::optional<LiveElement> parent(const LiveElement& element) = 0;
    // Whether the pointer at `at` would land on the element (or inside it): its window is the
    // topmost there and the application's own hit test reaches it.
    virtual bool reaches(const LiveElement& element, Point at) = 0;

    virtual bool performAction(const LiveElement& element, const QString& action) = 0;
    virtual bool focus(const LiveElement& element) = 0;
    // Selects the element within its parent (list rows, table cells, tabs).
    virtual bool select(const LiveElement& element) = 0;
    // Inserts at the caret (at the end when the caret is unknown), in place of a selection as
    // typing does.
    virtual bool insertText(const LiveElement& element, const QString& text) = 0;
    virtual bool replaceText(const LiveElement& element, const QString& text) = 0;
    // The element's whole text; nothing for secure fields or elements without text.
    virtual std::optional<QString> text(const LiveElement& element) = 0;
    // Brings the window to the front with the keyboard focus.
    virtual bool activateWindow(const LiveWindow& window) = 0;
};

} // namespace tavrik
