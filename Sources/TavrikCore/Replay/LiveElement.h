#pragma once

#include "TavrikCore/Models/Rect.h"

#include <QString>
#include <QStringList>
#include <optional>

namespace tavrik {

// A window of an application on the live desktop, as the replay backend sees it. `handle` is the
// backend's own reference, valid for the rest of the run.
struct LiveWindow {
    quint64 handle = 0;
    // The same identity the recorder stores as a target's appBundleID.
    QString appID;
    QString appName;
    QString title;
    Rect frame; // global points
    bool active = false;
};

// An element of a live window: what replay compares with a recorded target, and acts on.
struct LiveElement {
    quint64 handle = 0;
    quint64 window = 0;
    QString role; // the same role names the recorder stores
    QString name;
    QString description;
    QString identifier;
    // Never read for secure fields.
    std::optional<QString> value;
    QString path; // see AXPath.h
    Rect frame;   // global points
    bool showing = false;
    bool enabled = false;
    bool focused = false;
    bool focusable = false;
    bool editable = false;
    bool singleLine = false; // a field of one line (a name), not a document
    bool checkable = false;
    bool checked = false;
    bool selected = false;
    bool selectable = false;
    bool secure = false;
    // The accessibility actions offered, by name ("click", "activate", "Press", "Toggle"...).
    QStringList actions;

    // The action that presses the element, as the toolkit spells it; none for an element only
    // synthetic input can press.
    std::optional<QString> pressAction() const {
        static const QStringList preferred{QStringLiteral("click"),   QStringLiteral("press"),
                                           QStringLiteral("toggle"),  QStringLiteral("activate"),
                                           QStringLiteral("trigger"), QStringLiteral("jump")};
        for (const QString& wanted : preferred)
            for (const QString& action : actions)
                if (action.compare(wanted, Qt::CaseInsensitive) == 0)
                    return action;
        return std::nullopt;
    }
};

} // namespace tavrik
