#include "TavrikCore/Replay/RepairPrompt.h"

#include <QJsonObject>
#include <QStringList>

namespace tavrik::RepairPrompt {

const char* const system =
    "You repair one step of a task recorded on a Linux desktop. Replaying it failed because the "
    "element the step acted on could not be found again; the application has probably changed. "
    "Carry out that one step on the front window with the tools, nothing before it and nothing "
    "after it, then call finish with the index of the element that now stands for the step. When "
    "the step cannot be done with confidence, call finish with give_up and a short reason instead "
    "of guessing. Never delete, send or overwrite anything the step does not ask for. Indices "
    "refer to the latest listing of the window's elements.";

namespace {

QString quoted(const QString& text) {
    return QStringLiteral("“") + text + QStringLiteral("”");
}

QJsonObject tool(const char* name, const char* description, const QJsonObject& properties,
                 const QStringList& required) {
    return QJsonObject{
        {"name", name},
        {"description", description},
        {"input_schema", QJsonObject{{"type", "object"},
                                     {"properties", properties},
                                     {"required", QJsonArray::fromStringList(required)}}}};
}

QString actionWords(ActionType action) {
    switch (action) {
    case ActionType::click:
        return QStringLiteral("click on");
    case ActionType::rightClick:
        return QStringLiteral("right-click on");
    case ActionType::doubleClick:
        return QStringLiteral("double-click on");
    case ActionType::drag:
        return QStringLiteral("drag from");
    case ActionType::scroll:
        return QStringLiteral("scroll over");
    case ActionType::keystroke:
        return QStringLiteral("keys into");
    case ActionType::appSwitch:
    case ActionType::windowFocus:
        return QStringLiteral("switch to");
    case ActionType::wait:
        return QStringLiteral("wait for");
    }
    return QStringLiteral("act on");
}

QString describeTarget(const AXTarget& target) {
    QStringList parts;
    parts.append(target.axRole.value_or(QStringLiteral("element")));
    if (target.axTitle && !target.axTitle->isEmpty())
        parts.append(quoted(*target.axTitle));
    if (target.axDescription && !target.axDescription->isEmpty())
        parts.append(QStringLiteral("described as ") + quoted(*target.axDescription));
    if (target.windowTitle && !target.windowTitle->isEmpty())
        parts.append(QStringLiteral("in the window ") + quoted(*target.windowTitle));
    if (target.appName && !target.appName->isEmpty())
        parts.append(QStringLiteral("of ") + *target.appName);
    return parts.join(u' ');
}

QString stepLine(const PlanStep& step) {
    QString line = QStringLiteral("step %1: %2").arg(step.index + 1).arg(step.intent);
    if (step.target)
        line += QStringLiteral(" (") + actionWords(step.action) + u' ' +
                describeTarget(*step.target) + u')';
    return line;
}

} // namespace

QJsonArray tools() {
    const QJsonObject index{{"type", "integer"},
                            {"description", "The element's index in the latest listing"}};
    return QJsonArray{
        tool("act",
             "Carries out the element's own action: presses a button, opens a menu, toggles a "
             "check box, selects a row, or gives a text field the keyboard. Clicks its middle when "
             "it has no action.",
             {{"index", index}}, {"index"}),
        tool("set_text", "Replaces the whole text of an editable element.",
             {{"index", index}, {"text", QJsonObject{{"type", "string"}}}}, {"index", "text"}),
        tool("press_keys",
             "Presses a key with modifiers in the front window, such as \"Return\", \"Escape\", "
             "\"ctrl+s\", \"shift+Tab\", \"Down\".",
             {{"keys", QJsonObject{{"type", "string"}}}}, {"keys"}),
        tool("finish",
             "Ends the repair: the index of the element that now stands for the step once it is "
             "carried out, or give_up with the reason it cannot be done.",
             {{"index", index}, {"give_up", QJsonObject{{"type", "string"}}}}, {})};
}

QString listing(const QList<LiveElement>& elements) {
    QStringList lines;
    for (qsizetype i = 0; i < elements.size(); ++i) {
        const LiveElement& e = elements[i];
        QString line = QStringLiteral("[%1] %2").arg(i).arg(e.role);
        if (!e.name.isEmpty())
            line += u' ' + quoted(e.name.left(120));
        if (!e.description.isEmpty())
            line += QStringLiteral(" — ") + e.description.left(120);
        QStringList states;
        if (!e.enabled)
            states.append(QStringLiteral("disabled"));
        if (e.focused)
            states.append(QStringLiteral("focused"));
        if (e.editable)
            states.append(QStringLiteral("editable"));
        if (e.checkable)
            states.append(e.checked ? QStringLiteral("checked") : QStringLiteral("unchecked"));
        if (e.selected)
            states.append(QStringLiteral("selected"));
        if (e.secure)
            states.append(QStringLiteral("secret"));
        if (!states.isEmpty())
            line += QStringLiteral(" (") + states.join(QStringLiteral(", ")) + u')';
        lines.append(line);
    }
    return lines.join(u'\n');
}

QString brief(const StepRepairer::Request& request, const LiveWindow& window,
              const QList<LiveElement>& elements) {
    const Skill& skill = request.skill;
    const PlanStep& step = skill.plan[request.step];
    QString brief = QStringLiteral("Skill: %1").arg(quoted(skill.name));
    if (!skill.summary.isEmpty())
        brief += QStringLiteral(" — ") + skill.summary;
    brief += QStringLiteral("\nThe step to carry out, %1 of %2: %3\nRecorded action: %4 %5")
                 .arg(request.step + 1)
                 .arg(skill.plan.size())
                 .arg(step.intent, actionWords(step.action), describeTarget(request.expected));
    if (!request.text.isEmpty())
        brief += QStringLiteral("\nText it types: ") + quoted(request.text);
    if (request.step > 0)
        brief += QStringLiteral("\nPrevious ") + stepLine(skill.plan[request.step - 1]) +
                 QStringLiteral(" (done)");
    if (request.step + 1 < skill.plan.size())
        brief += QStringLiteral("\nNext ") + stepLine(skill.plan[request.step + 1]) +
                 QStringLiteral(" (not yet)");
    brief += QStringLiteral("\nWhy replay stopped: ") + request.problem;
    brief += QStringLiteral("\n\nFront window: %1 of %2\nIts elements:\n%3")
                 .arg(quoted(window.title),
                      window.appName.isEmpty() ? window.appID : window.appName, listing(elements));
    return brief;
}

} // namespace tavrik::RepairPrompt
