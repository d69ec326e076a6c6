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
    bool checkable = false;
    bool checked = false;
    bool selected = false;
    bool selectable = false;
    bool secure = false;
    // The accessibility actions offered, by name ("click", "activate", "Press", "Toggle"...).
    QStringList actions;
};

} // namespace tavrik
