#include "Tavrik/SkillReference.h"

#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Support/Json.h"

#include <QDir>
#include <QFileInfo>

namespace tavrik {

namespace {
Result<ResolvedSkill> loadFolder(const QString& folder) {
    Result<Skill> skill = SkillStore().load(folder);
    if (!skill.ok())
        return Failure{skill.error()};
    return ResolvedSkill{std::move(*skill), folder};
}

// The library folder named by `id` in either case: the program writes upper case, but a folder
// made by hand (uuidgen) is lower case and still listed under its id.
std::optional<QString> libraryFolder(const QUuid& id) {
    if (QFileInfo(Paths::skill(id)).isDir())
        return Paths::skill(id);
    const QFileInfoList entries =
        QDir(Paths::skills())
            .entryInfoList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo& entry : entries)
        if (json::parseUuid(entry.fileName()) == id)
            return entry.filePath();
    return std::nullopt;
}
} // namespace

Result<ResolvedSkill> resolveSkillReference(const QString& ref) {
    const QFileInfo asPath(ref);
    // "/search-google" is a slash command unless such a folder really holds a skill.
    const bool looksLikeSlashCommand = ref.startsWith(u'/') && ref.count(u'/') == 1;
    // Cleaned, so a trailing "/" from shell completion leaves the folder's name, its id, last.
    if (asPath.isDir() &&
        (!looksLikeSlashCommand || QFileInfo::exists(ref + QStringLiteral("/SKILL.md"))))
        return loadFolder(QDir::cleanPath(asPath.absoluteFilePath()));
    if (std::optional<QUuid> id = json::parseUuid(ref)) {
        if (std::optional<QString> folder = libraryFolder(*id))
            return loadFolder(*folder);
        return Failure{
            QStringLiteral("no skill with id %1 in %2").arg(json::uuidText(*id), Paths::skills())};
    }
    const QString command = ref.startsWith(u'/') ? ref : u'/' + ref;
    for (const Skill& skill : SkillStore().loadAll())
        if (skill.slashCommand() == command)
            return ResolvedSkill{skill, libraryFolder(skill.id).value_or(Paths::skill(skill.id))};
    return Failure{QStringLiteral("no skill matches %1 (try tavrik skills)").arg(ref)};
}

} // namespace tavrik
