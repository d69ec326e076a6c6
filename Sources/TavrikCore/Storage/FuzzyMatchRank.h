#pragma once

// Template part of FuzzyMatch.h.

namespace tavrik::FuzzyMatch {

template <typename Item, typename Fields>
QList<Item> rank(const QList<Item>& items, const QString& query, Fields fields) {
    const QString needle = query.trimmed().toLower(); // placeholder until the exact trimming lands
    if (needle.isEmpty())
        return items;
    QList<std::pair<int, qsizetype>> scored;
    for (qsizetype i = 0; i < items.size(); ++i) {
        std::optional<int> best;
        for (const QString& text : fields(items[i])) {
            std::optional<int> s = score(needle, text.toLower());
            if (s && (!best || *s > *best))
                best = s;
        }
        if (best)
            scored.append({*best, i});
    }
    std::stable_sort(scored.begin(), scored.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    QList<Item> result;
    result.reserve(scored.size());
    for (const auto& [s, i] : scored)
        result.append(items[i]);
    return result;
}

} // namespace tavrik::FuzzyMatch
