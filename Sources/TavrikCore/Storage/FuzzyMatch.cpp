#include "TavrikCore/Storage/FuzzyMatch.h"

#include <QTextBoundaryFinder>
#include <climits>

namespace tavrik::FuzzyMatch {

namespace detail {

namespace {

bool isBlank(QChar c) {
    return c == u' ' || c == u'\t';
}

// Lower-cased and composed, so a decomposed accent equals the precomposed letter.
QString folded(const QString& text) {
    return text.toLower().normalized(QString::NormalizationForm_C);
}

char16_t foldAscii(char16_t unit) {
    return unsigned(unit - u'A') < 26u ? char16_t(unit + 32) : unit;
}

// The running score of one text: adjacent matches build a run worth more each time.
struct Walk {
    qint64 total = 0;
    qint64 run = 0;
    qsizetype matched = 0; // query characters matched so far
    bool previous = false;
    bool prefix = true; // no text character was passed over yet

    void hit() {
        if (previous) {
            ++run;
            total += run + 1;
        } else {
            run = 1;
            total += 1;
        }
        previous = true;
        ++matched;
    }
    void miss() {
        previous = false;
        prefix = false;
    }
    // Every query character matched without skipping any text character means the text
    // begins with the query.
    std::optional<int> result(qsizetype queryLength) const {
        if (matched < queryLength)
            return std::nullopt;
        return int(std::min<qint64>(total + (prefix ? 20 : 0), INT_MAX));
    }
};

} // namespace

Needle Needle::fromQuery(const QString& query) {
    qsizetype begin = 0;
    qsizetype end = query.size();
    while (begin < end && isBlank(query[begin]))
        ++begin;
    while (end > begin && isBlank(query[end - 1]))
        --end;
    return Needle(folded(query.sliced(begin, end - begin)));
}

Needle Needle::fromFolded(const QString& folded) {
    return Needle(folded);
}

Needle::Needle(QString text) : m_text(std::move(text)) {
    const QStringView view(m_text);
    m_simple = std::all_of(view.begin(), view.end(),
                           [](QChar c) { return c.unicode() < 0x80 && c != u'\r'; });
    m_starts.reserve(size_t(view.size()) + 1);
    m_starts.push_back(0);
    if (m_simple) {
        for (qsizetype i = 1; i <= view.size(); ++i)
            m_starts.push_back(i);
        return;
    }
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, view);
    for (qsizetype end = finder.toNextBoundary(); end > 0; end = finder.toNextBoundary())
        m_starts.push_back(end);
}

std::optional<int> Needle::score(const QString& text, bool fold) const {
    bool ascii = true;
    std::optional<int> result = scoreAscii(text, fold, &ascii);
    if (ascii)
        return result;
    return fold ? scoreClusters(folded(text)) : scoreClusters(text);
}

// Most texts are ASCII: there every code unit is a character except "\r\n", which is one, and
// folding is a subtraction. A non-ASCII unit may join the character before it (a combining
// accent), so on meeting one the walk gives up and the caller takes the general path.
std::optional<int> Needle::scoreAscii(QStringView text, bool fold, bool* ascii) const {
    const char16_t* t = text.utf16();
    const char16_t* q = reinterpret_cast<const char16_t*>(m_text.constData());
    const qsizetype length = text.size();
    const qsizetype needed = clusterCount();
    Walk walk;
    qsizetype i = 0;
    while (i < length && walk.matched < needed) {
        char16_t unit = t[i];
        if (unit >= 0x80) {
            *ascii = false;
            return std::nullopt;
        }
        const bool crlf = unit == u'\r' && i + 1 < length && t[i + 1] == u'\n';
        if (m_simple) {
            if (fold)
                unit = foldAscii(unit);
            if (!crlf && unit == q[walk.matched])
                walk.hit();
            else
                walk.miss();
        } else {
            const QStringView want = cluster(walk.matched);
            const qsizetype size = crlf ? 2 : 1;
            bool same = want.size() == size;
            for (qsizetype j = 0; same && j < size; ++j)
                same = (fold ? foldAscii(t[i + j]) : t[i + j]) == want[j].unicode();
            if (same)
                walk.hit();
            else
                walk.miss();
        }
        i += crlf ? 2 : 1;
    }
    if (i < length && t[i] >= 0x80) {
        *ascii = false; // it might extend the last matched character
        return std::nullopt;
    }
    return walk.result(needed);
}

std::optional<int> Needle::scoreClusters(QStringView text) const {
    // Room for the finder's per-unit attributes, so short texts need no allocation.
    alignas(16) unsigned char buffer[2048];
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text, buffer, sizeof buffer);
    const qsizetype needed = clusterCount();
    Walk walk;
    qsizetype start = 0;
    while (walk.matched < needed) {
        const qsizetype end = finder.toNextBoundary();
        if (end <= start)
            break;
        if (text.sliced(start, end - start) == cluster(walk.matched))
            walk.hit();
        else
            walk.miss();
        start = end;
    }
    return walk.result(needed);
}

} // namespace detail

std::optional<int> score(const QString& query, const QString& text) {
    return detail::Needle::fromFolded(query).score(text, false);
}

QList<QString> skillFields(const Skill& skill) {
    return {skill.slashCommand(), skill.name, skill.trigger};
}

} // namespace tavrik::FuzzyMatch
