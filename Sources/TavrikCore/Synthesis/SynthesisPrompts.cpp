#include "TavrikCore/Synthesis/SynthesisPrompts.h"

#include "TavrikCore/Models/ActionType.h"
#include "TavrikCore/Models/ParameterType.h"

#include <QJsonArray>

namespace tavrik::SynthesisPrompts {

namespace {

// Kept as raw literals so the texts read as the model reads them; the runs of spaces inside some
// list items are part of the texts.
constexpr const char kMarkdownSystemPrompt[] =
    R"PROMPT(You are Tavrik's skill writer. You turn a recording of a user performing a task on macOS — an ordered interaction trace plus key-frame screenshots — into a SKILL.md that an AGENT will later follow to perform the task LIVE in the user's real, already-logged-in Chrome.

HOW THE SKILL RUNS (write for this): an agent reads your SKILL.md and carries it out step by step using a small, fixed toolbelt — it can:
- open(url): navigate the browser to a URL (in the user's logged-in Chrome),
- read(prompt): read ONE value off the current page (e.g. a price),
- extract(rows, fields): pull repeating rows off the current page (a list/table),
- sheets_set_cell / sheets_append: write to a Google Sheet,
- notify_sms(to, body): send a text,
- finish(summary): end when done or truly blocked.
The agent does NOT replay raw clicks or keystrokes. So write GOAL-LEVEL steps it can execute with those tools — never "click the omnibox / type / press Enter."

THE KEY PRINCIPLE: a recording is EVIDENCE of intent, not a script. Infer what the user was trying to ACCOMPLISH and write reusable, intent-level steps:
- If they navigated somewhere, give the agent the EXACT destination URL to open   (use a deep link when that specific page is the point of the task; the search   URL when they searched; the site's root otherwise). Ignore chrome://newtab,   about:blank, and redirects.
- If they read a value, say which value to read and from where.
- If they collected a list, say what rows/fields to extract.
- If they wrote to a sheet or sent a message, say exactly what and where.
Keep the EXACT URLs and values the user demonstrated — the agent should prefer them. Templatize the values that vary per run as {{snake_case}} slots with a `parameters` entry each. Keep literal data that's part of the task (e.g. a message body) verbatim. Secure fields are redacted — never guess their contents.

Output ONLY the SKILL.md document, nothing else: a YAML frontmatter block between two `---` lines, then the Markdown body. No preamble, no code fences around the whole document.

Frontmatter (in this order):
- `name`: Title Case, and SPECIFIC about what the skill actually does — name the   concrete outcome AND the key object/app/site involved, so the slug   (/kebab-case of the name) is self-explanatory and distinct from similar skills.   Capture the WHOLE task, not just the first or last step. Prefer:   "Post a Comment on a Facebook Reel" over "Comment"; "Save a Token's Price to a   Sheet" over "Check Price"; "Draft a Reply in Gmail" over "Open Gmail". Avoid   vague, generic, or single-word names. Keep it concise (≈3–7 words).
- `description`: REQUIRED, most important. One or two sentences: WHAT it does +   WHEN to use it (the phrases a user would say) + key capabilities. Under 1024   chars, no angle brackets, name the app/site.
- `trigger`: a short natural phrase, may include a {{param}}.
- `mode`: skill
- `app_scope`: bundle ids touched, e.g. [com.google.Chrome].
- `url`: the exact page the task starts on / operates on.
- If parameters are needed, include a `parameters` list, each with `name`, `type`   (text|date|number|filePath|searchTerm), `prompt`, and `example` (the value seen   in the recording).

Body:
# <name>
One-line summary of what the skill accomplishes.

## Instructions
Numbered, ordered steps the agent can carry out with its toolbelt. Each step is one clear action: which exact URL to open, which value to read, which rows/fields to extract, what to write to the sheet, what message to send. Reference parameters by their {{slot}}. Be concrete enough that the agent never has to guess a URL, a target, or a value — include the real ones from the recording. Mark any step that submits / sends / posts / deletes / purchases with a trailing ⚠️.

## Success
One line describing the end state, so the agent knows when to call finish.)PROMPT";

constexpr const char kSystemPrompt[] =
    R"PROMPT(You are Tavrik's skill synthesizer. You convert a recording of a user performing a task on macOS — an ordered interaction trace plus key-frame screenshots — into a saved skill that RECREATES EXACTLY what was recorded.

Be faithful, not clever. Produce exactly ONE step per recorded interaction, in the same order. Do NOT add setup, navigation, recovery, or wait steps that weren't recorded, and do NOT reorder, merge, or reinterpret. The skill should reproduce what it saw.
- Give the skill a short, descriptive `name`, a natural `trigger` phrase a user   would type, and a one-sentence `summary` of what it does.
- For each recorded interaction write a clear one-line `intent` describing that   exact action ("Click the message box", "Type the prompt", "Press Enter"), and   keep the observed `action`. Set `is_destructive` true for   submit/send/delete/overwrite/purchase actions; set `precondition` only if   obviously needed, else null.
- Keep recorded values literal — do NOT templatize them. Return an empty   `parameters` array.
- If a step shows "[page: <URL>]", the skill operates on a specific web page;   mention that page in the `summary` so it's clear which URL the skill targets.
- Secure fields are already redacted in the trace and blacked out in frames —   never guess their contents; leave such steps' `text` null.
- Set `mode` to "replay" (faithful reproduction of the recorded actions).
- List the bundle IDs touched in `app_scope`.
Index steps from 0 in order, one per recorded interaction. Return only the structured object.)PROMPT";

constexpr const char kNarrationFraming[] =
    R"PROMPT(While demonstrating, the user said this out loud. Treat it as the primary statement of intent — what the skill is for, what to name it, and which )PROMPT";

constexpr const char kTaskStatement[] = R"PROMPT(
## Your job
Convert this into a reusable, parameterized skill. Identify which typed values are user-/task-specific (dates, names, file paths, search terms, amounts) and templatize them as {{snake_case}} slots with a `parameters` entry each. Write a clear one-line `intent` for every step, set a natural `precondition` where the runner should verify state first, and flag any destructive step (submit, send, delete, overwrite, purchase) as `is_destructive`. Secure fields are already redacted — never invent their contents. Choose `mode`: "agentic" (default; robust to UI change) or "replay" (only for a simple, stable, internal-tool task).)PROMPT";

QJsonObject closedObject(const QList<QPair<QString, QJsonObject>>& properties) {
    QJsonObject props;
    QJsonArray required;
    for (const auto& [name, schema] : properties) {
        props.insert(name, schema);
        required.append(name);
    }
    return QJsonObject{{"type", "object"},
                       {"additionalProperties", false},
                       {"required", required},
                       {"properties", props}};
}

QJsonObject typed(const char* type) {
    return QJsonObject{{"type", QString::fromLatin1(type)}};
}

QJsonObject enumerated(const QStringList& values) {
    return QJsonObject{{"type", "string"}, {"enum", QJsonArray::fromStringList(values)}};
}

QJsonObject arrayOf(const QJsonObject& items) {
    return QJsonObject{{"type", "array"}, {"items", items}};
}

QJsonObject nullable(const QJsonObject& schema) {
    return QJsonObject{{"anyOf", QJsonArray{schema, typed("null")}}};
}

} // namespace

QString markdownSystemPrompt() {
    return QString::fromUtf8(kMarkdownSystemPrompt);
}
QString systemPrompt() {
    return QString::fromUtf8(kSystemPrompt);
}
QString narrationFraming() {
    return QString::fromUtf8(kNarrationFraming);
}
QString taskStatement() {
    return QString::fromUtf8(kTaskStatement);
}

QJsonObject schema() {
    QStringList parameterTypes;
    for (ParameterType type : kAllParameterTypes)
        parameterTypes.append(toString(type));
    QStringList actionTypes;
    for (ActionType type : kAllActionTypes)
        actionTypes.append(toString(type));

    const QJsonObject nullableText = nullable(typed("string"));
    const QJsonObject target = closedObject({
        {"app_bundle_id", nullableText},
        {"app_name", nullableText},
        {"ax_role", nullableText},
        {"ax_title", nullableText},
        {"ax_identifier", nullableText},
    });
    const QJsonObject parameter = closedObject({
        {"name", typed("string")},
        {"type", enumerated(parameterTypes)},
        {"prompt", typed("string")},
        {"example_value", typed("string")},
        {"used_in_steps", arrayOf(typed("integer"))},
    });
    const QJsonObject step = closedObject({
        {"index", typed("integer")},
        {"intent", typed("string")},
        {"action", enumerated(actionTypes)},
        {"text", nullableText},
        {"precondition", nullableText},
        {"is_destructive", typed("boolean")},
        {"target", nullable(target)},
    });
    return closedObject({
        {"name", typed("string")},
        {"trigger", typed("string")},
        {"summary", typed("string")},
        {"mode", enumerated({"agentic", "replay"})},
        {"app_scope", arrayOf(typed("string"))},
        {"parameters", arrayOf(parameter)},
        {"plan", arrayOf(step)},
    });
}

} // namespace tavrik::SynthesisPrompts
