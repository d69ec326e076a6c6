#include "TavrikCore/Storage/AgentSkillFolder.h"

#include "TavrikCore/Storage/SkillMarkdown.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Support/Files.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

namespace tavrik::AgentSkillFolder {

namespace {

constexpr qsizetype kNameLimit = 64;
constexpr qsizetype kDescriptionLimit = 1024;
constexpr qint64 kMarkdownLimit = 1 * Files::MiB;
const QString kMarkdownFile = QStringLiteral("SKILL.md");

// A double-quoted scalar, which YAML reads as the JSON string it is. Readers that find the end
// of the front matter by the first "---" anywhere are common, so hyphens never stand in pairs.
QString quoted(const QString& value) {
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.sliced(1, array.size() - 2))
        .replace(QStringLiteral("--"), QStringLiteral("-\\x2D"));
}

QString description(const Skill& skill) {
    QString text = skill.summary.simplified();
    if (text.isEmpty())
        text = QStringLiteral("A task recorded with Tavrik: %1.").arg(skill.name.simplified());
    if (text.size() > kDescriptionLimit)
        text = text.first(kDescriptionLimit - 1) + u'…';
    return text;
}

// Skills saved without a time load with the epoch.
bool known(const QDateTime& time) {
    return time.isValid() && time.toSecsSinceEpoch() > 0;
}

Result<QString> readText(const QString& path) {
    const Result<QByteArray> bytes = Files::read(path, kMarkdownLimit);
    if (!bytes.ok())
        return Failure{bytes.error()};
    std::optional<QString> text = Files::decodeUtf8(*bytes);
    if (!text)
        return Failure{QStringLiteral("%1 is not UTF-8 text").arg(path)};
    return std::move(*text);
}

} // namespace

QString folderName(const QString& skillName) {
    QString name;
    const QString decomposed = QString(skillName)
                                   .replace(u'&', QStringLiteral(" and "))
                                   .normalized(QString::NormalizationForm_KD);
    for (const QChar c : decomposed) {
        const QChar lower = c.toLower();
        if ((lower >= u'a' && lower <= u'z') || (lower >= u'0' && lower <= u'9'))
            name.append(lower);
        else if (c.isMark())
            continue; // an accent of the letter before
        else if (!name.isEmpty() && !name.endsWith(u'-'))
            name.append(u'-');
    }
    name.truncate(kNameLimit);
    while (name.endsWith(u'-'))
        name.chop(1);
    return name.isEmpty() ? QStringLiteral("skill") : name;
}

QString markdown(const Skill& skill, const QString& name, const QString& tavrikMarkdown) {
    QStringList parameters;
    for (const Parameter& p : skill.parameters)
        parameters.append(p.name);
    QString text = QStringLiteral("---\nname: %1\ndescription: %2\nmetadata:\n")
                       .arg(name, quoted(description(skill)));
    const QList<std::pair<const char*, QString>> values = {
        {"tavrik-name", skill.name},
        {"tavrik-id", skill.id.toString(QUuid::WithoutBraces)},
        {"tavrik-trigger", skill.trigger},
        {"tavrik-slash-command", skill.slashCommand()},
        {"tavrik-created",
         known(skill.createdAt) ? skill.createdAt.toUTC().toString(Qt::ISODate) : QString()},
        {"tavrik-app-scope", skill.appScope.join(QStringLiteral(", "))},
        {"tavrik-parameters", parameters.join(QStringLiteral(", "))},
        {"tavrik-folder", QString::fromLatin1(tavrikSubfolder)},
    };
    for (const auto& [key, value] : values)
        text += QStringLiteral("  %1: %2\n").arg(QString::fromLatin1(key), quoted(value));
    QString body = SkillMarkdown::body(tavrikMarkdown);
    while (body.startsWith(u'\n'))
        body.remove(0, 1);
    return text + QStringLiteral("---\n\n") + body;
}

Result<> write(const Skill& skill, const QString& tavrikMarkdown, const QString& folder) {
    if (QFileInfo(folder).exists() || QFileInfo(folder).isSymLink())
        return Failure{QStringLiteral("%1 already exists; nothing was overwritten").arg(folder)};
    if (Result<> made = Files::makeFolder(folder); !made.ok())
        return made;
    const QString name = QFileInfo(folder).fileName();
    if (Result<> written = Files::write(folder + u'/' + kMarkdownFile,
                                        markdown(skill, name, tavrikMarkdown).toUtf8());
        !written.ok())
        return written;
    return SkillStore().saveInto(folder + u'/' + QString::fromLatin1(tavrikSubfolder), skill,
                                 tavrikMarkdown);
}

Result<Imported> read(const QString& folder) {
    const QString tavrikFolder = folder + u'/' + QString::fromLatin1(tavrikSubfolder);
    std::optional<Imported> imported;
    if (QFileInfo(tavrikFolder + u'/' + kMarkdownFile).isFile()) {
        Result<Skill> skill = SkillStore().load(tavrikFolder);
        if (!skill.ok())
            return Failure{skill.error()};
        Result<QString> text = readText(tavrikFolder + u'/' + kMarkdownFile);
        if (!text.ok())
            return Failure{text.error()};
        imported = Imported{*skill, *text};
    } else {
        Result<QString> text = readText(folder + u'/' + kMarkdownFile);
        if (!text.ok())
            return Failure{text.error()};
        std::optional<Skill> skill = SkillMarkdown::parse(*text);
        const bool complete = skill && !skill->name.trimmed().isEmpty() &&
                              !skill->summary.trimmed().isEmpty() &&
                              text->startsWith(QStringLiteral("---"));
        if (!complete)
            return Failure{
                QStringLiteral("%1/SKILL.md has no front matter with a name and a description")
                    .arg(folder)};
        imported = Imported{*skill, *text};
    }
    // A new skill in this library: its own identity, and the time it arrived when it had none.
    imported->skill.id = QUuid::createUuid();
    imported->skill.sourceRecordingID.reset();
    if (!known(imported->skill.createdAt))
        imported->skill.createdAt = QDateTime::currentDateTimeUtc();
    return std::move(*imported);
}

} // namespace tavrik::AgentSkillFolder
