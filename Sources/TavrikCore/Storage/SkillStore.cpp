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

Result<QString> readMarkdown(const QString& path) {
    Result<QByteArray> bytes = Files::read(path, kMarkdownLimit);
    if (!bytes.ok())
        return Failure{bytes.error()};
    std::optional<QString> text = Files::decodeUtf8(*bytes);
    if (!text)
        return Failure{QStringLiteral("cannot read %1: it is not UTF-8 text").arg(path)};
    return std::move(*text);
}

std::optional<ExecutionPlanDocument> readPlan(const QString& folder) {
    Result<QByteArray> bytes = Files::read(folder + u'/' + kPlanFile, kPlanLimit);
    if (!bytes.ok())
        return std::nullopt;
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(*bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return std::nullopt;
    Result<ExecutionPlanDocument> plan = ExecutionPlanDocument::fromJson(document.object());
    if (!plan.ok())
        return std::nullopt;
    return std::move(*plan);
}

std::optional<QUuid> readRecordingRef(const QString& folder) {
    Result<QByteArray> bytes = Files::read(folder + u'/' + kRecordingRefFile, kRecordingRefLimit);
    if (!bytes.ok())
        return std::nullopt;
    return json::parseUuid(QString::fromUtf8(*bytes).trimmed());
}
} // namespace

Result<> SkillStore::save(const Skill& skill,
                          const std::optional<QString>& markdownOverride) const {
    if (Result<> made = Paths::ensureDirectories(); !made.ok())
        return made;
    return saveInto(Paths::skill(skill.id), skill, markdownOverride);
}

Result<> SkillStore::saveInto(const QString& folder, const Skill& skill,
                              const std::optional<QString>& markdownOverride) const {
    if (Result<> made = Files::makeFolder(folder); !made.ok())
        return made;
    const QString text = markdownOverride ? *markdownOverride : SkillMarkdown::render(skill);
    if (Result<> written = Files::write(folder + u'/' + kMarkdownFile, text.toUtf8());
        !written.ok())
        return written;
    const ExecutionPlanDocument plan{skill.parameters, skill.plan, skill.runtime, skill.createdAt};
    if (Result<> written = Files::write(folder + u'/' + kPlanFile, json::pretty(plan.toJson()));
        !written.ok())
        return written;
    // An older recording.ref stays when the skill no longer names one: the link is only added.
    if (skill.sourceRecordingID)
        return Files::write(folder + u'/' + kRecordingRefFile,
                            json::uuidText(*skill.sourceRecordingID).toUtf8());
    return {};
}

Result<Skill> SkillStore::load(const QString& folder) const {
    const QString markdownFile = folder + u'/' + kMarkdownFile;
    Result<QString> text = readMarkdown(markdownFile);
    if (!text.ok())
        return Failure{text.error()};
    std::optional<Skill> skill = SkillMarkdown::parse(*text);
    if (!skill)
        return Failure{QStringLiteral("cannot parse %1").arg(markdownFile)};
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
    return std::move(*skill);
}

QList<Skill> SkillStore::loadAll() const {
    QList<Skill> skills;
    const QDir library(Paths::skills());
    const QFileInfoList entries = library.entryInfoList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo& entry : entries) {
        if (!entry.isDir())
            continue;
        if (Result<Skill> skill = load(entry.filePath()); skill.ok())
            skills.append(std::move(*skill));
    }
    std::stable_sort(skills.begin(), skills.end(),
                     [](const Skill& a, const Skill& b) { return a.createdAt > b.createdAt; });
    return skills;
}

Result<> SkillStore::remove(const Skill& skill) const {
    return Files::removeFolder(Paths::skill(skill.id));
}

Result<QString> SkillStore::markdown(const Skill& skill) const {
    return readMarkdown(markdownPath(skill));
}

QString SkillStore::markdownPath(const Skill& skill) const {
    return Paths::skill(skill.id) + u'/' + kMarkdownFile;
}

} // namespace tavrik
