#include "Tavrik/SkillReference.h"

#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Support/Json.h"

#include <QFileInfo>

namespace tavrik {

namespace {
std::optional<ResolvedSkill> loadFolder(const QString& folder, QString* error) {
    std::optional<Skill> skill = SkillStore().load(folder, error);
    if (!skill)
        return std::nullopt;
    return ResolvedSkill{std::move(*skill), folder};
}
} // namespace

std::optional<ResolvedSkill> resolveSkillReference(const QString& ref, QString* error) {
    const QFileInfo asPath(ref);
    // "/search-google" is a slash command unless such a folder really holds a skill.
    const bool looksLikeSlashCommand = ref.startsWith(u'/') && ref.count(u'/') == 1;
    if (asPath.isDir() && (!looksLikeSlashCommand || QFileInfo::exists(ref + QStringLiteral("/SKILL.md"))))
        return loadFolder(asPath.absoluteFilePath(), error);
    if (std::optional<QUuid> id = json::parseUuid(ref)) {
        if (QFileInfo(Paths::skill(*id)).isDir())
            return loadFolder(Paths::skill(*id), error);
        *error = QStringLiteral("no skill with id %1 in %2").arg(json::uuidText(*id), Paths::skills());
        return std::nullopt;
    }
    const QString command = ref.startsWith(u'/') ? ref : u'/' + ref;
    for (const Skill& skill : SkillStore().loadAll())
        if (skill.slashCommand() == command)
            return ResolvedSkill{skill, Paths::skill(skill.id)};
    *error = QStringLiteral("no skill matches %1 (try tavrik skills)").arg(ref);
    return std::nullopt;
}

} // namespace tavrik
