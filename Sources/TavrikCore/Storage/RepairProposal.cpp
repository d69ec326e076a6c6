#include "TavrikCore/Storage/RepairProposal.h"

#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Support/Files.h"
#include "TavrikCore/Support/Json.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

namespace tavrik {

namespace {

constexpr qint64 kProposalLimit = 1 * Files::MiB;

QString quoted(const QString& text) {
    return QStringLiteral("“") + text + QStringLiteral("”");
}

QString elementText(const AXTarget& target) {
    QString text;
    if (target.axTitle && !target.axTitle->isEmpty())
        text = quoted(*target.axTitle);
    else if (target.axDescription && !target.axDescription->isEmpty())
        text = quoted(*target.axDescription);
    else
        text = QStringLiteral("an unnamed element");
    if (target.axRole && !target.axRole->isEmpty())
        text += QStringLiteral(" (") + *target.axRole + u')';
    return text;
}

} // namespace

QString RepairProposal::path(const QUuid& skillID) {
    return Paths::support() + QStringLiteral("/repairs/") + json::uuidText(skillID) +
           QStringLiteral(".json");
}

Result<> RepairProposal::save() const {
    QJsonArray changeList;
    for (const Change& c : changes)
        changeList.append(QJsonObject{{"step", c.step},
                                      {"stepID", json::uuidText(c.stepID)},
                                      {"intent", c.intent},
                                      {"before", c.before.toJson()},
                                      {"after", c.after.toJson()}});
    const QJsonObject document{
        {"skillID", json::uuidText(skillID)}, {"skillName", skillName}, {"changes", changeList}};
    if (Result<> made = Files::makeFolder(QFileInfo(path(skillID)).path()); !made.ok())
        return made;
    return Files::write(path(skillID), json::pretty(document));
}

std::optional<RepairProposal> RepairProposal::load(const QUuid& skillID) {
    if (!QFileInfo::exists(path(skillID)))
        return std::nullopt;
    const Result<QByteArray> bytes = Files::read(path(skillID), kProposalLimit);
    if (!bytes.ok())
        return std::nullopt;
    const QJsonObject document = QJsonDocument::fromJson(*bytes).object();
    RepairProposal proposal;
    proposal.skillID = skillID;
    proposal.skillName = document.value(QLatin1String("skillName")).toString();
    for (const auto& value : document.value(QLatin1String("changes")).toArray()) {
        const QJsonObject object = value.toObject();
        const std::optional<QUuid> stepID =
            json::parseUuid(object.value(QLatin1String("stepID")).toString());
        Result<AXTarget> before = AXTarget::fromJson(object.value(QLatin1String("before")));
        Result<AXTarget> after = AXTarget::fromJson(object.value(QLatin1String("after")));
        const QJsonValue step = object.value(QLatin1String("step"));
        if (!stepID || !before.ok() || !after.ok() || !step.isDouble() || step.toDouble() < 0)
            return std::nullopt;
        proposal.changes.append({qsizetype(step.toDouble()), *stepID,
                                 object.value(QLatin1String("intent")).toString(),
                                 std::move(*before), std::move(*after)});
    }
    if (proposal.changes.isEmpty())
        return std::nullopt;
    return proposal;
}

QStringList RepairProposal::describe() const {
    QStringList lines;
    for (const Change& c : changes) {
        QString line = QStringLiteral("Step %1").arg(c.step + 1);
        if (!c.intent.isEmpty())
            line += QStringLiteral(" (") + c.intent + u')';
        line += QStringLiteral(": ") + elementText(c.before) + QStringLiteral(" → ") +
                elementText(c.after);
        lines.append(line);
    }
    return lines;
}

Result<> RepairProposal::accept() const {
    const SkillStore store;
    Result<Skill> skill = store.load(Paths::skill(skillID));
    if (!skill.ok())
        return Failure{QStringLiteral("the skill is not in the library: ") + skill.error()};
    for (const Change& c : changes) {
        if (c.step >= skill->plan.size() || skill->plan[c.step].id != c.stepID ||
            skill->plan[c.step].target != c.before)
            return Failure{
                QStringLiteral(
                    "step %1 of “%2” changed since the repair; the skill was left as it is")
                    .arg(c.step + 1)
                    .arg(skill->name)};
    }
    for (const Change& c : changes)
        skill->plan[c.step].target = c.after;
    // The user's own SKILL.md text stays as it is; only the plan document changes.
    const Result<QString> markdown = store.markdown(*skill);
    if (!markdown.ok())
        return Failure{markdown.error()};
    if (Result<> saved = store.save(*skill, *markdown); !saved.ok())
        return saved;
    return reject(skillID);
}

Result<> RepairProposal::reject(const QUuid& skillID) {
    QFile file(path(skillID));
    if (file.exists() && !file.remove())
        return Failure{
            QStringLiteral("could not remove %1: %2").arg(file.fileName(), file.errorString())};
    return {};
}

} // namespace tavrik
