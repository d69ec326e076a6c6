#pragma once

// Template part of FuzzyMatch.h.

#include <QString>
#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace tavrik::FuzzyMatch {

namespace detail {

// Whether a code point outside ASCII is always a whole character on its own, beside any other
// such code point or ASCII, and lower-cases to one code point (of the same size) that
// composition leaves alone: most Latin, Greek, Cyrillic, punctuation, kana, CJK, Hangul and
// emoji. Texts with anything else take the general path.
bool standsAlone(char32_t codePoint);

// A query prepared once per ranking: folded and cut into characters, so scoring each text is a
// single pass that allocates nothing unless the text holds combining marks or the like.
class Needle {
public:
    // What the user typed: trimmed of blanks and tabs (not line breaks) and folded.
    static Needle fromQuery(const QString& query);
    // A query that is already folded, taken as it is.
    static Needle fromFolded(const QString& folded);

    bool isEmpty() const { return m_text.isEmpty(); }

    // `fold` lower-cases the text first (and composes it, so "e" + U+0301 equals "é").
    std::optional<int> score(const QString& text, bool fold) const;

private:
    explicit Needle(QString text);
    template <bool Simple, bool Fold>
    std::optional<int> scoreUnits(QStringView text, bool* done) const;
    std::optional<int> scoreClusters(QStringView text) const;
    QStringView cluster(qsizetype k) const {
        return QStringView(m_text).sliced(m_starts[k], m_starts[k + 1] - m_starts[k]);
    }
    qsizetype clusterCount() const { return qsizetype(m_starts.size()) - 1; }

    QString m_text;
    std::vector<qsizetype> m_starts; // start of each character, then the end
    bool m_simple = false;           // every character is one code unit, none of them "\r"
};

} // namespace detail

template <typename Item, typename Fields>
QList<Item> rank(const QList<Item>& items, const QString& query, Fields fields) {
    const detail::Needle needle = detail::Needle::fromQuery(query);
    if (needle.isEmpty())
        return items;
    std::vector<std::pair<int, qsizetype>> scored;
    scored.reserve(size_t(items.size()));
    for (qsizetype i = 0; i < items.size(); ++i) {
        std::optional<int> best;
        const auto& texts = fields(items[i]);
        for (const QString& text : texts) {
            const std::optional<int> s = needle.score(text, true);
            if (s && (!best || *s > *best))
                best = s;
        }
        if (best)
            scored.emplace_back(*best, i);
    }
    std::stable_sort(scored.begin(), scored.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    QList<Item> result;
    result.reserve(qsizetype(scored.size()));
    for (const auto& entry : scored)
        result.append(items[entry.second]);
    return result;
}

} // namespace tavrik::FuzzyMatch
