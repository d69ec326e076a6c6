#include "TavrikCore/Replay/TargetMatcher.h"

#include "TavrikCore/Replay/AXPath.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tavrik {

namespace {

constexpr double kImpossible = -std::numeric_limits<double>::infinity();

Point center(const Rect& r) {
    return Point{r.origin.x + r.size.width / 2, r.origin.y + r.size.height / 2};
}

// How close the element sits to where it was, from 0 to 1. Two readings, the better one counts:
// the offset from the window's top-left (a window made wider keeps its left column in place) and
// the position relative to the window's size (one made bigger stretches its layout).
double positionFit(const AXTarget& recorded, const LiveElement& live, const LiveWindow& window) {
    if (!recorded.frameInWindow)
        return 0;
    const Point was = center(*recorded.frameInWindow);
    const Point now{center(live.frame).x - window.frame.origin.x,
                    center(live.frame).y - window.frame.origin.y};
    const double offsetDistance = std::hypot(was.x - now.x, was.y - now.y);
    double fit = std::max(0.0, 1.0 - offsetDistance / 200.0);
    if (recorded.windowFrame && recorded.windowFrame->size.width > 0 &&
        recorded.windowFrame->size.height > 0 && window.frame.size.width > 0 &&
        window.frame.size.height > 0) {
        const double dx =
            was.x / recorded.windowFrame->size.width - now.x / window.frame.size.width;
        const double dy =
            was.y / recorded.windowFrame->size.height - now.y / window.frame.size.height;
        fit = std::max(fit, std::max(0.0, 1.0 - std::hypot(dx, dy) * 5.0));
    }
    return fit;
}

double sizeFit(const AXTarget& recorded, const LiveElement& live) {
    if (!recorded.frameInWindow || recorded.frameInWindow->size.width <= 0 ||
        recorded.frameInWindow->size.height <= 0 || live.frame.size.width <= 0 ||
        live.frame.size.height <= 0)
        return 0;
    const double w = live.frame.size.width / recorded.frameInWindow->size.width;
    const double h = live.frame.size.height / recorded.frameInWindow->size.height;
    const double worst = std::max({w, 1 / w, h, 1 / h});
    return std::max(0.0, 1.0 - (worst - 1.0) / 2.0);
}

} // namespace

QString TargetMatcher::normalizedName(const QString& name) {
    QString text = name.simplified().toCaseFolded();
    // GTK and Qt mark mnemonics in some names ("_Save", "&Save").
    if (text.startsWith(u'_') || text.startsWith(u'&'))
        text.remove(0, 1);
    return text;
}

bool TargetMatcher::isTextRole(const QString& role) {
    static const QStringList roles{QStringLiteral("text"),          QStringLiteral("entry"),
                                   QStringLiteral("password text"), QStringLiteral("terminal"),
                                   QStringLiteral("document text"), QStringLiteral("spin button"),
                                   QStringLiteral("editbar")};
    return roles.contains(role);
}

bool TargetMatcher::sameApplication(const AXTarget& recorded, const LiveWindow& window) {
    if (recorded.appBundleID && !recorded.appBundleID->isEmpty())
        return recorded.appBundleID->compare(window.appID, Qt::CaseInsensitive) == 0;
    if (recorded.appName && !recorded.appName->isEmpty())
        return recorded.appName->compare(window.appName, Qt::CaseInsensitive) == 0;
    return true;
}

double TargetMatcher::score(const AXTarget& recorded, const LiveElement& live,
                            const LiveWindow& window) {
    if (recorded.axRole && !recorded.axRole->isEmpty() && *recorded.axRole != live.role)
        return kImpossible;
    if (recorded.isSecure && !live.secure)
        return kImpossible;
    double score = 0;

    const QString wantedName = recorded.axTitle ? normalizedName(*recorded.axTitle) : QString();
    const QString liveName = normalizedName(live.name);
    // A combo box is named after what it shows, which is what the user changes.
    // A field may be named after its label or left unnamed, depending on the toolkit.
    if (live.role == QStringLiteral("combo box")) {
        if (!wantedName.isEmpty() && liveName == wantedName)
            score += 1.0;
    } else if (isTextRole(live.role) && !wantedName.isEmpty()) {
        score += liveName == wantedName ? 3.0 : liveName.isEmpty() ? 0.0 : -2.0;
    } else if (!wantedName.isEmpty()) {
        // A named element under another name is another element, wherever it sits.
        if (liveName == wantedName)
            score += 3.0;
        else if (!liveName.isEmpty() &&
                 (liveName.contains(wantedName) || wantedName.contains(liveName)))
            score += 1.0;
        else
            score -= 5.0;
    } else
        score += liveName.isEmpty() ? 0.5 : 0.0;

    if (recorded.axIdentifier && !recorded.axIdentifier->isEmpty() && !live.identifier.isEmpty())
        score += *recorded.axIdentifier == live.identifier ? 3.0 : -3.0;
    if (recorded.axDescription && !recorded.axDescription->isEmpty())
        score += *recorded.axDescription == live.description ? 1.0 : -0.5;

    // Text in a field is what the user changes; elsewhere (labels, rows, cells) it names the
    // element.
    if (recorded.axValue && !recorded.axValue->isEmpty() && !live.editable &&
        !isTextRole(live.role) && live.value)
        score += *recorded.axValue == *live.value ? 1.5 : -0.5;

    if (recorded.axPath)
        score += 3.0 * AXPath::similarity(*recorded.axPath, live.path);
    score += 1.5 * positionFit(recorded, live, window);
    score += 0.5 * sizeFit(recorded, live);
    if (recorded.windowTitle && *recorded.windowTitle == window.title)
        score += 0.5;
    return score;
}

TargetMatcher::Match TargetMatcher::best(const AXTarget& recorded,
                                         const QList<Candidate>& candidates) {
    Match match;
    double bestScore = kImpossible;
    double rivalScore = kImpossible;
    for (const Candidate& candidate : candidates) {
        const double s = score(recorded, candidate.element, candidate.window);
        if (s > bestScore) {
            if (match.best) {
                match.rival = match.best;
                rivalScore = bestScore;
            }
            match.best = candidate;
            bestScore = s;
        } else if (s > rivalScore) {
            match.rival = candidate;
            rivalScore = s;
        }
    }
    match.score = bestScore;
    if (!match.best || bestScore < threshold) {
        match.kind = Match::Kind::missing;
    } else if (match.rival && rivalScore >= threshold && bestScore - rivalScore < tie) {
        match.kind = Match::Kind::ambiguous;
    } else {
        match.kind = Match::Kind::found;
        match.rival.reset();
    }
    return match;
}

} // namespace tavrik
