#include "TavrikCore/Storage/SkillStore.h"

#include "TavrikCore/Models/ExecutionPlanDocument.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillMarkdown.h"
#include "TavrikCore/Support/Files.h"
#include "TavrikCore/Support/Json.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <algorithm>

namespace tavrik {

namespace {
const QString kMarkdownFile = QStringLiteral("SKILL.md");
const QString kPlanFile = QStringLiteral("execution_plan.json");
const QString kRecordingRefFile = QStringLiteral("recording.ref");

// Far above anything a person or the model writes; a bigger file is not a skill.
constexpr qint64 kMarkdownLimit = 1 * Files::MiB;
constexpr qint64 kPlanLimit = 8 * Files::MiB;
constexpr qint64 kRecordingRefLimit = 4 * Files::KiB;

std::optional<QString> readMarkdown(const QString& path, QString* error) {
    std::optional<QByteArray> bytes = Files::read(path, kMarkdownLimit, error);
    if (!bytes)
        return std::nullopt;
    std::optional<QString> text = Files::decodeUtf8(*bytes);
    if (!text && error)
        *error = QStringLiteral("cannot read %1: it is not UTF-8 text").arg(path);
    return text;
}

std::optional<ExecutionPlanDocument> readPlan(const QString& folder) {
    std::optional<QByteArray> bytes = Files::read(folder + u'/' + kPlanFile, kPlanLimit);
    if (!bytes)
        return std::nullopt;
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(*bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return std::nullopt;
    return ExecutionPlanDocument::fromJson(document.object());
}

std::optional<QUuid> readRecordingRef(const QString& folder) {
    std::optional<QByteArray> bytes =
        Files::read(folder + u'/' + kRecordingRefFile, kRecordingRefLimit);
    if (!bytes)
        return std::nullopt;
    return json::parseUuid(QString::fromUtf8(*bytes).trimmed());
}
} // namespace

std::optional<QString> SkillStore::save(const Skill& skill,
                                        const std::optional<QString>& markdownOverride) const {
    if (auto failure = Paths::ensureDirectories())
        return failure;
    return saveInto(Paths::skill(skill.id), skill, markdownOverride);
}

std::optional<QString> SkillStore::saveInto(const QString& folder, const Skill& skill,
                                            const std::optional<QString>& markdownOverride) const {
    if (auto failure = Files::makeFolder(folder))
        return failure;
    const QString text = markdownOverride ? *markdownOverride : SkillMarkdown::render(skill);
    if (auto failure = Files::write(folder + u'/' + kMarkdownFile, text.toUtf8()))
        return failure;
    const ExecutionPlanDocument plan{skill.parameters, skill.plan, skill.runtime, skill.createdAt};
    if (auto failure = Files::write(folder + u'/' + kPlanFile, json::pretty(plan.toJson())))
        return failure;
    // An older recording.ref stays when the skill no longer names one: the link is only added.
    if (skill.sourceRecordingID)
        return Files::write(folder + u'/' + kRecordingRefFile,
                            json::uuidText(*skill.sourceRecordingID).toUtf8());
    return std::nullopt;
}

std::optional<Skill> SkillStore::load(const QString& folder, QString* error) const {
    const QString markdownFile = folder + u'/' + kMarkdownFile;
    std::optional<QString> text = readMarkdown(markdownFile, error);
    if (!text)
        return std::nullopt;
    std::optional<Skill> skill = SkillMarkdown::parse(*text);
    if (!skill) {
        if (error)
            *error = QStringLiteral("cannot parse %1").arg(markdownFile);
        return std::nullopt;
    }
    if (std::optional<QUuid> id = json::parseUuid(QFileInfo(folder).fileName()))
        skill->id = *id;
    if (std::optional<ExecutionPlanDocument> plan = readPlan(folder)) {
        skill->parameters = plan->parameters;
        skill->plan = plan->plan;
        if (plan->runtime)
            skill->runtime = plan->runtime;
        // SKILL.md's own "created:" wins; without one the saved time keeps the library's order.
        if (plan->createdAt && skill->createdAt.toSecsSinceEpoch() == 0)
            skill->createdAt = *plan->createdAt;
    }
    if (std::optional<QUuid> recording = readRecordingRef(folder))
        skill->sourceRecordingID = recording;
    return skill;
}

QList<Skill> SkillStore::loadAll() const {
    QList<Skill> skills;
    const QDir library(Paths::skills());
    const QFileInfoList entries = library.entryInfoList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo& entry : entries) {
        if (!entry.isDir())
            continue;
        if (std::optional<Skill> skill = load(entry.filePath()))
            skills.append(std::move(*skill));
    }
    std::stable_sort(skills.begin(), skills.end(),
                     [](const Skill& a, const Skill& b) { return a.createdAt > b.createdAt; });
    return skills;
}

std::optional<QString> SkillStore::remove(const Skill& skill) const {
    return Files::removeFolder(Paths::skill(skill.id));
}

std::optional<QString> SkillStore::markdown(const Skill& skill, QString* error) const {
    return readMarkdown(markdownPath(skill), error);
}

QString SkillStore::markdownPath(const Skill& skill) const {
    return Paths::skill(skill.id) + u'/' + kMarkdownFile;
}

} // namespace tavrik
