#pragma once

#include <QList>
#include <QString>

// An element's place under its window: one "role:index" segment per level from the window's
// first child down to the element, joined by "/", where index is the element's position among
// its parent's children ("filler:0/panel:2/push button:1"). Recorded with each target and
// compared by replay, where an element whose name moved or is empty is still found by its place.
namespace tavrik::AXPath {

struct Segment {
    QString role;
    int index = 0;
    bool operator==(const Segment&) const = default;
};

QString segment(const QString& role, int index);
QString join(const QList<Segment>& segments);
// Segments of a path; malformed segments come back with index -1.
QList<Segment> split(const QString& path);

// How alike two places are, from 0 (nothing shared) to 1 (the same place): roles count along the
// whole chain, indexes less, and what is near the element counts more than what is near the
// window, so an item inserted high up in a list costs little.
double similarity(const QString& recorded, const QString& live);

} // namespace tavrik::AXPath
