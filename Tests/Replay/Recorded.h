#pragma once

#include "TavrikCore/Models/PlanStep.h"
#include "TavrikCore/Replay/LiveElement.h"

namespace tavrik::test {

// The target the recorder would have stored for `element` in `window`.
inline AXTarget recordedTarget(const LiveElement& element, const LiveWindow& window) {
    AXTarget target;
    target.appBundleID = window.appID;
    target.appName = window.appName;
    target.windowTitle = window.title;
    target.axRole = element.role;
    if (!element.name.isEmpty())
        target.axTitle = element.name;
    target.axPath = element.path;
    target.isSecure = element.secure;
    target.windowFrame = window.frame;
    target.frameInWindow = Rect(element.frame.origin.x - window.frame.origin.x,
                                element.frame.origin.y - window.frame.origin.y,
                                element.frame.size.width, element.frame.size.height);
    return target;
}

inline PlanStep recordedStep(qsizetype index, ActionType action, const LiveElement& element,
                             const LiveWindow& window) {
    PlanStep step;
    step.index = index;
    step.action = action;
    step.intent = QStringLiteral("Step on ") + element.name;
    step.target = recordedTarget(element, window);
    step.location = Point{element.frame.origin.x + element.frame.size.width / 2,
                          element.frame.origin.y + element.frame.size.height / 2};
    return step;
}

} // namespace tavrik::test
