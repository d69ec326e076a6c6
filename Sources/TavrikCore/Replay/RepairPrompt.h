#pragma once

#include "TavrikCore/Replay/LiveElement.h"
#include "TavrikCore/Replay/StepRepairer.h"

#include <QJsonArray>

// What the model is told when it repairs a step: how to go about it, its tools, and the step and
// the front window as text.
namespace tavrik::RepairPrompt {

extern const char* const system;

// act, set_text, press_keys and finish, with their input schemas.
QJsonArray tools();

// "[index] role “name” — description (states)" per element, one a line. Never a value.
QString listing(const QList<LiveElement>& elements);

// The skill, the step to carry out with its recorded action and target, the steps around it, why
// replay stopped, and the window's elements.
QString brief(const StepRepairer::Request& request, const LiveWindow& window,
              const QList<LiveElement>& elements);

} // namespace tavrik::RepairPrompt
