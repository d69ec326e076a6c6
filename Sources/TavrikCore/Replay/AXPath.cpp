#include "TavrikCore/Replay/AXPath.h"

#include <QStringList>
#include <algorithm>

namespace tavrik::AXPath {

QString segment(const QString& role, int index) {
    return role + u':' + QString::number(index);
}

QString join(const QList<Segment>& segments) {
    QStringList parts;
    parts.reserve(segments.size());
    for (const Segment& s : segments)
        parts.append(segment(s.role, s.index));
    return parts.join(u'/');
}

QList<Segment> split(const QString& path) {
    QList<Segment> segments;
    if (path.isEmpty())
        return segments;
    for (const QString& part : path.split(u'/')) {
        const qsizetype colon = part.lastIndexOf(u':');
        bool ok = false;
        const int index = colon < 0 ? -1 : part.mid(colon + 1).toInt(&ok);
        segments.append(Segment{colon < 0 ? part : part.left(colon), ok ? index : -1});
    }
    return segments;
}

double similarity(const QString& recorded, const QString& live) {
    const QList<Segment> a = split(recorded);
    const QList<Segment> b = split(live);
    if (a.isEmpty() || b.isEmpty())
        return a.isEmpty() && b.isEmpty() ? 1.0 : 0.0;
    // Compared from the element upwards: that end says most about what the element is.
    double score = 0;
    double total = 0;
    const qsizetype depth = std::max(a.size(), b.size());
    for (qsizetype i = 0; i < depth; ++i) {
        const double weight = 1.0 / double(i + 1);
        total += weight;
        if (i >= a.size() || i >= b.size())
            continue;
        const Segment& x = a[a.size() - 1 - i];
        const Segment& y = b[b.size() - 1 - i];
        if (x.role != y.role)
            continue;
        score += weight * (x.index == y.index ? 1.0 : 0.6);
    }
    return total > 0 ? score / total : 0;
}

} // namespace tavrik::AXPath
