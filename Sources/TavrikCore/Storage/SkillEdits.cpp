#include "TavrikCore/Storage/SkillEdits.h"

#include "TavrikCore/Storage/SkillMarkdown.h"

#include <QStringList>
#include <algorithm>

namespace tavrik::SkillEdits {

namespace {

// What SKILL.md says of a parameter; the id and the steps using it are not written.
bool sameAsWritten(const QList<Parameter>& a, const QList<Parameter>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const Parameter& x, const Parameter& y) {
                          return x.name == y.name && x.type == y.type && x.prompt == y.prompt &&
                                 x.exampleValue == y.exampleValue;
                      });
}

QStringView blankTrimmed(QStringView text) {
    while (!text.isEmpty() && (text.front() == u' ' || text.front() == u'\t'))
        text = text.sliced(1);
    while (!text.isEmpty() && (text.back() == u' ' || text.back() == u'\t'))
        text.chop(1);
    return text;
}

// A top-level front-matter line the parser takes as the name (it reads the last of several).
bool isNameLine(QStringView line) {
    if (line.startsWith(u' '))
        return false;
    const qsizetype colon = line.indexOf(u':');
    return colon >= 0 && blankTrimmed(line.first(colon)) == u"name";
}

} // namespace

Skill merged(const Skill& skill, const QString& markdown) {
    std::optional<Skill> parsed = SkillMarkdown::parse(markdown);
    if (!parsed)
        return skill;
    Skill result = std::move(*parsed);
    result.id = skill.id;
    result.createdAt = skill.createdAt;
    result.sourceRecordingID = skill.sourceRecordingID;
    result.plan = skill.plan;

    // The runtime and the parameters are kept whole in the plan document beside the text, which
    // wins when the skill is loaded; the text writes less of them (a step's app, a parameter's
    // id). So where the user left them as rendered, the skill's own stay.
    if (const std::optional<Skill> asRendered =
            SkillMarkdown::parse(SkillMarkdown::render(skill))) {
        if (result.runtime == asRendered->runtime)
            result.runtime = skill.runtime;
        if (sameAsWritten(result.parameters, asRendered->parameters))
            result.parameters = skill.parameters;
    }
    // An edited list still keeps each parameter's identity where its name survived.
    for (Parameter& parameter : result.parameters) {
        for (const Parameter& before : skill.parameters) {
            if (before.name == parameter.name) {
                parameter.id = before.id;
                parameter.usedInSteps = before.usedInSteps;
                break;
            }
        }
    }
    return result;
}

QString renamed(const QString& markdown, const QString& name) {
    const QString nameLine =
        QStringLiteral("name: ") + SkillMarkdown::frontMatterValue(name.simplified());
    // A byte-order mark stays in front, where the parser skips it.
    const qsizetype start = markdown.startsWith(QChar(0xFEFF)) ? 1 : 0;
    if (!QStringView(markdown).sliced(start).startsWith(u"---")) {
        QString text = markdown;
        return text.insert(start, QStringLiteral("---\n") + nameLine + QStringLiteral("\n---\n"));
    }
    QStringList lines = markdown.split(u'\n');
    bool named = false;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        QStringView line(lines[i]);
        const bool carriageReturn = line.endsWith(u'\r');
        if (carriageReturn)
            line.chop(1);
        if (blankTrimmed(line) == u"---")
            break;
        if (isNameLine(line)) {
            lines[i] = carriageReturn ? nameLine + u'\r' : nameLine;
            named = true;
        }
    }
    if (!named)
        lines.insert(1, lines[0].endsWith(u'\r') ? nameLine + u'\r' : nameLine);
    return lines.join(u'\n');
}

} // namespace tavrik::SkillEdits
