#include "TavrikCore/Replay/CastRoute.h"

#include <algorithm>

namespace tavrik::CastRoute {

namespace {

bool namesAnElement(const std::optional<AXTarget>& target) {
    return target && target->axRole && !target->axRole->isEmpty();
}

// A window-only target still places a pointer step inside its window.
bool placesInWindow(const PlanStep& step) {
    return step.target && step.target->windowFrame && step.location;
}

} // namespace

bool isReplayable(const PlanStep& step) {
    switch (step.action) {
    case ActionType::click:
    case ActionType::rightClick:
    case ActionType::doubleClick:
    case ActionType::scroll:
        return namesAnElement(step.target) || placesInWindow(step);
    case ActionType::drag:
        return step.endLocation && (namesAnElement(step.target) || placesInWindow(step));
    case ActionType::keystroke:
        return step.text || step.keyCode || (step.target && step.target->isSecure);
    case ActionType::appSwitch:
    case ActionType::windowFocus:
        return step.target && (step.target->appBundleID || step.target->appName);
    case ActionType::wait:
        return true;
    }
    return false;
}

CastMethod method(const Skill& skill) {
    if (skill.castWith)
        return *skill.castWith;
    if (skill.runtime)
        return CastMethod::runtime;
    if (!skill.plan.isEmpty() && std::all_of(skill.plan.cbegin(), skill.plan.cend(), isReplayable))
        return CastMethod::replay;
    return CastMethod::agent;
}

QList<qsizetype> secretSteps(const Skill& skill) {
    QList<qsizetype> steps;
    for (qsizetype i = 0; i < skill.plan.size(); ++i) {
        const PlanStep& step = skill.plan[i];
        if (step.action == ActionType::keystroke && step.target && step.target->isSecure &&
            !step.text && !step.keyCode)
            steps.append(i);
    }
    return steps;
}

QString secretFieldLabel(const PlanStep& step) {
    QString field = step.target && step.target->axTitle && !step.target->axTitle->isEmpty()
                        ? *step.target->axTitle
                        : QStringLiteral("Password");
    if (step.target && step.target->appName)
        field += QStringLiteral(" in ") + *step.target->appName;
    return field;
}

} // namespace tavrik::CastRoute
