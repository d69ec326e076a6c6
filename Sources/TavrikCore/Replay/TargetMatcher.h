#pragma once

#include "TavrikCore/Models/AXTarget.h"
#include "TavrikCore/Replay/LiveElement.h"

#include <QList>

namespace tavrik {

// Finds the live element that a recorded target describes. The identity is what the recording
// kept: role, name, identifier, description, a stable value, the place under the window and
// the position within it; screen coordinates alone never decide. Headless: it compares values.
class TargetMatcher {
public:
    struct Candidate {
        LiveElement element;
        LiveWindow window;
    };

    struct Match {
        enum class Kind { found, ambiguous, missing };
        Kind kind = Kind::missing;
        // The best candidate (also for `ambiguous`, where `rival` scored as well).
        std::optional<Candidate> best;
        std::optional<Candidate> rival;
        double score = 0;
    };

    // Below this nothing is trusted to be the element; within `tie` of each other two candidates
    // are as good as one another.
    static constexpr double threshold = 2.5;
    static constexpr double tie = 0.35;

    // How well `live` (in `window`) fits `recorded`; minus infinity when it cannot be the element
    // (another role, a plain field for a secure one).
    static double score(const AXTarget& recorded, const LiveElement& live,
                        const LiveWindow& window);

    static Match best(const AXTarget& recorded, const QList<Candidate>& candidates);

    // Whether a live window belongs to the recorded application (and its title fits).
    static bool sameApplication(const AXTarget& recorded, const LiveWindow& window);

    // Names compared the way people read them: case, surrounding blanks and mnemonic marks aside.
    static QString normalizedName(const QString& name);

    // Roles whose elements take text: clicking them means focusing them.
    static bool isTextRole(const QString& role);
};

} // namespace tavrik
