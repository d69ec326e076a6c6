#include "Tavrik/SkillReference.h"

#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Support/Json.h"

#include <QDir>
#include <QFileInfo>

namespace tavrik {

namespace {
std::optional<ResolvedSkill> loadFolder(const QString& folder, QString* error) {
    std::optional<Skill> skill = SkillStore().load(folder, error);
    if (!skill)
        return std::nullopt;
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

std::optional<ResolvedSkill> resolveSkillReference(const QString& ref, QString* error) {
    const QFileInfo asPath(ref);
    // "/search-google" is a slash command unless such a folder really holds a skill.
    const bool looksLikeSlashCommand = ref.startsWith(u'/') && ref.count(u'/') == 1;
    // Cleaned, so a trailing "/" from shell completion leaves the folder's name, its id, last.
    if (asPath.isDir() &&
        (!looksLikeSlashCommand || QFileInfo::exists(ref + QStringLiteral("/SKILL.md"))))
        return loadFolder(QDir::cleanPath(asPath.absoluteFilePath()), error);
    if (std::optional<QUuid> id = json::parseUuid(ref)) {
        if (std::optional<QString> folder = libraryFolder(*id))
            return loadFolder(*folder, error);
        *error =
            QStringLiteral("no skill with id %1 in %2").arg(json::uuidText(*id), Paths::skills());
        return std::nullopt;
    }
    const QString command = ref.startsWith(u'/') ? ref : u'/' + ref;
    for (const Skill& skill : SkillStore().loadAll())
        if (skill.slashCommand() == command)
            return ResolvedSkill{skill, libraryFolder(skill.id).value_or(Paths::skill(skill.id))};
    *error = QStringLiteral("no skill matches %1 (try tavrik skills)").arg(ref);
    return std::nullopt;
}

} // namespace tavrik
