#pragma once

#include "TavrikCore/Models/Skill.h"

#include <QList>

// Which way a skill is cast. The author's `cast_with` decides when set. Otherwise a runtime block
// is opened directly; a plan recorded in desktop applications (and pages, where every step names
// its element) is replayed without a model; anything else goes to the agent.
namespace tavrik::CastRoute {

CastMethod method(const Skill& skill);

// Whether replay can carry the step out from what was recorded.
bool isReplayable(const PlanStep& step);

// Steps typed into secure fields: recorded without their text, so the run asks for it.
QList<qsizetype> secretSteps(const Skill& skill);

// How a secret step's field is named to the user ("Password in Login").
QString secretFieldLabel(const PlanStep& step);

} // namespace tavrik::CastRoute
