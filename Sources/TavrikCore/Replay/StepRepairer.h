#pragma once

#include "TavrikCore/Models/Skill.h"

#include <QString>
#include <functional>
#include <optional>

namespace tavrik {

// Carries out one step whose element replay could not find, by other means than the recorded
// identity (a model looking at the screen). Runs on the replay thread and blocks until done.
class StepRepairer {
public:
    struct Request {
        const Skill& skill;
        qsizetype step = 0;
        // The target as this run looked for it, and why it was not found.
        AXTarget expected;
        QString problem;
        // What the step types, when it types; never a secret.
        QString text;
    };
    struct Result {
        bool repaired = false;
        // The element that now stands for the step, as the recorder would have stored it.
        std::optional<AXTarget> target;
        // Why it could not be done.
        QString reason;
    };

    virtual ~StepRepairer() = default;
    // `emitLine` takes the same progress lines replay writes ("→ ..." for each action).
    virtual Result repair(const Request& request,
                          const std::function<void(const QString&)>& emitLine) = 0;
};

} // namespace tavrik
