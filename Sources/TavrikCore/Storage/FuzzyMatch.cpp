#include "TavrikCore/Storage/FuzzyMatch.h"

#include <QTextBoundaryFinder>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
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

bool standsAlone(char32_t u) {
    if (u < 0x0300)
        return u != 0x0130; // "İ" lowers to "i" and a combining dot
    if (u < 0x0370)
        return false; // combining diacritics
    if (u < 0x0400)
        return u != 0x0374 && u != 0x037E && u != 0x0387; // composition replaces these
    if (u < 0x0530)
        return u < 0x0483 || u > 0x0489; // Cyrillic without its combining marks
    if (u >= 0x2010 && u < 0x205F)
        return u < 0x2028 || u >= 0x2030;    // punctuation without separators and bidi controls
    return (u >= 0x20A0 && u < 0x20C0)       // currency signs
           || (u >= 0x2190 && u < 0x2300)    // arrows, mathematical operators
           || (u >= 0x3000 && u < 0x302A)    // CJK punctuation
           || (u >= 0x3041 && u < 0x3097)    // hiragana
           || (u >= 0x30A0 && u < 0x3100)    // katakana
           || (u >= 0x4E00 && u < 0xA000)    // CJK ideographs
           || (u >= 0xAC00 && u < 0xD7A4)    // Hangul syllables (conjoining jamo are not here)
           || (u >= 0xFF01 && u < 0xFF9E)    // full-width forms without the sound marks
           || (u >= 0x1D400 && u < 0x1D800)  // mathematical letters and digits
           || (u >= 0x1F300 && u < 0x1F3FB)  // pictographs, up to the skin-tone modifiers
           || (u >= 0x1F400 && u < 0x1F650)  // pictographs, emoticons
           || (u >= 0x1F680 && u < 0x1F700)  // transport and map symbols
           || (u >= 0x1F900 && u < 0x1FA00)  // supplemental pictographs
           || (u >= 0x20000 && u < 0x2A6E0); // CJK extension B
}

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
    m_starts.reserve(size_t(view.size()) + 1);
    m_starts.push_back(0);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, view);
    for (qsizetype end = finder.toNextBoundary(); end > 0; end = finder.toNextBoundary())
        m_starts.push_back(end);
    m_simple = m_starts.size() == size_t(view.size()) + 1 && !view.contains(u'\r');
}

std::optional<int> Needle::score(const QString& text, bool fold) const {
    bool done = true;
    std::optional<int> result =
        m_simple
            ? (fold ? scoreUnits<true, true>(text, &done) : scoreUnits<true, false>(text, &done))
            : (fold ? scoreUnits<false, true>(text, &done) : scoreUnits<false, false>(text, &done));
    if (done)
        return result;
    return fold ? scoreClusters(folded(text)) : scoreClusters(text);
}

// How many code units the whole character at `i` takes when it is a simple one: one for ASCII
// and units that stand alone, two for "\r\n" and a standalone code point beyond the BMP; zero
// when the character needs the general path.
namespace {
qsizetype simpleCharacter(const char16_t* t, qsizetype i, qsizetype length) {
    const char16_t unit = t[i];
    if (unit < 0x80)
        return unit == u'\r' && i + 1 < length && t[i + 1] == u'\n' ? 2 : 1;
    if (QChar::isHighSurrogate(unit))
        return i + 1 < length && QChar::isLowSurrogate(t[i + 1]) &&
                       standsAlone(QChar::surrogateToUcs4(unit, t[i + 1]))
                   ? 2
                   : 0;
    return standsAlone(unit) ? 1 : 0;
}
// The first unit from `i` on that is `want`, `other`, a carriage return or not ASCII; eight
// units at a time where the processor allows.
qsizetype skipPlain(const char16_t* t, qsizetype i, qsizetype length, char16_t want,
                    char16_t other) {
#if defined(__SSE2__)
    const __m128i wantV = _mm_set1_epi16(short(want));
    const __m128i otherV = _mm_set1_epi16(short(other));
    const __m128i crV = _mm_set1_epi16(u'\r');
    const __m128i highV = _mm_set1_epi16(short(0xFF80));
    const __m128i zero = _mm_setzero_si128();
    for (; i + 8 <= length; i += 8) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t + i));
        const __m128i stop =
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v, wantV), _mm_cmpeq_epi16(v, otherV)),
                         _mm_cmpeq_epi16(v, crV));
        const __m128i ascii = _mm_cmpeq_epi16(_mm_and_si128(v, highV), zero);
        const int mask = _mm_movemask_epi8(stop) | (~_mm_movemask_epi8(ascii) & 0xFFFF);
        if (mask != 0)
            return i + (__builtin_ctz(unsigned(mask)) >> 1);
    }
#endif
    for (; i < length; ++i) {
        const char16_t u = t[i];
        if (u == want || u == other || u >= 0x80 || u == u'\r')
            break;
    }
    return i;
}

} // namespace

// Most texts are made of characters that are one code unit each (two for "\r\n" and some
// emoji), where folding is a table look-up per unit or a subtraction for ASCII. Anything else
// may join the character before it (a combining accent), so on meeting it the walk gives up
// and the caller takes the general path.
template <bool Simple, bool Fold>
std::optional<int> Needle::scoreUnits(QStringView text, bool* done) const {
    const char16_t* t = text.utf16();
    const char16_t* q = reinterpret_cast<const char16_t*>(m_text.constData());
    const qsizetype length = text.size();
    const qsizetype needed = clusterCount();
    Walk walk;
    qsizetype i = 0;
    while (i < length && walk.matched < needed) {
        if (Simple) {
            // Pass quickly over plain ASCII that cannot be the character wanted next.
            const char16_t want = q[walk.matched];
            const char16_t other = Fold && want >= u'a' && want <= u'z' ? want - 32 : want;
            const qsizetype from = i;
            i = skipPlain(t, i, length, want, other);
            if (i > from)
                walk.miss();
            if (i == length)
                break;
        }
        char16_t unit = t[i];
        qsizetype size = 1;
        if (unit < 0x80) {
            if (unit == u'\r' && i + 1 < length && t[i + 1] == u'\n')
                size = 2;
            else if (Fold)
                unit = foldAscii(unit);
        } else {
            size = simpleCharacter(t, i, length);
            if (size == 0) {
                *done = false;
                return std::nullopt;
            }
            if (Fold && size == 1) // beyond the BMP the set has no case
                unit = char16_t(QChar::toLower(char32_t(unit)));
        }
        bool same;
        if (Simple) {
            same = size == 1 && unit == q[walk.matched];
        } else {
            const QStringView want = cluster(walk.matched);
            same = want.size() == size &&
                   (size == 1 ? want.front() == unit : want == text.sliced(i, size));
        }
        if (same)
            walk.hit();
        else
            walk.miss();
        i += size;
    }
    if (i < length && t[i] >= 0x80 && simpleCharacter(t, i, length) == 0) {
        *done = false; // it might extend the last matched character
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

std::array<QString, 3> skillFields(const Skill& skill) {
    return {skill.slashCommand(), skill.name, skill.trigger};
}

} // namespace tavrik::FuzzyMatch
