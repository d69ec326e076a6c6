#pragma once

#include <QJsonObject>
#include <QString>

// The fixed texts and answer schema sent to the hosted model when a recording becomes a skill.
// They carry the whole idea of a skill (an intent-level recipe for a browser agent, per-run
// values as {{snake_case}} slots, dangerous steps marked) and must not drift: the model's
// behaviour was tuned against these exact bytes.
namespace tavrik::SynthesisPrompts {

// System prompt of the streamed path: the answer is the SKILL.md document itself.
QString markdownSystemPrompt();
// System prompt of the structured path, answered as JSON conforming to schema().
QString systemPrompt();
// Put before the user's spoken narration; ends with a blank so the caller continues the sentence
// with "values are parameters vs. fixed:".
QString narrationFraming();
// The last element of every trace description; begins with a line break.
QString taskStatement();
// The structured path's answer schema, built afresh on each call: every object is closed
// (additionalProperties false) and requires all of its properties.
QJsonObject schema();

} // namespace tavrik::SynthesisPrompts
