#include "Tavrik/SkillFolderCommands.h"

#include "Tavrik/CommandFailure.h"
#include "TavrikCore/Storage/AgentSkillFolder.h"
#include "TavrikCore/Storage/SkillMarkdown.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Support/Files.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <algorithm>

namespace tavrik {

namespace {

std::optional<QString> onlyFolder(const QString& command, const QStringList& arguments,
                                  QTextStream& err) {
    if (arguments.size() != 1 || arguments.first().startsWith(QStringLiteral("-"))) {
        failCommand(err, QStringLiteral("%1 needs one folder (see tavrik --help)").arg(command), 2);
        return std::nullopt;
    }
    return QDir::cleanPath(arguments.first());
}

} // namespace

int exportSkills(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    const std::optional<QString> target =
        onlyFolder(QStringLiteral("export-skills"), arguments, err);
    if (!target)
        return 2;
    if (Result<> made = Files::makeFolder(*target); !made.ok())
        return failCommand(err, made.error(), 1);
    const SkillStore store;
    QSet<QString> taken;
    int failures = 0;
    // Oldest first, so a skill keeps its folder name when newer ones of the same name arrive.
    QList<Skill> skills = store.loadAll();
    std::reverse(skills.begin(), skills.end());
    for (const Skill& skill : skills) {
        const QString base = AgentSkillFolder::folderName(skill.name);
        QString name = base;
        for (int n = 2; taken.contains(name); ++n) {
            const QString suffix = QStringLiteral("-%1").arg(n);
            name = base.first(qMin(base.size(), 64 - suffix.size())) + suffix;
        }
        taken.insert(name);
        const QString markdown = store.markdown(skill).valueOr(SkillMarkdown::render(skill));
        if (Result<> written = AgentSkillFolder::write(skill, markdown, *target + u'/' + name);
            !written.ok()) {
            err << "tavrik: " << skill.name << ": " << written.error() << '\n';
            ++failures;
            continue;
        }
        out << name << "  " << skill.name << '\n';
    }
    out.flush();
    err.flush();
    return failures ? 1 : 0;
}

int importSkill(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    const std::optional<QString> folder =
        onlyFolder(QStringLiteral("import-skill"), arguments, err);
    if (!folder)
        return 2;
    if (!QFileInfo(*folder).isDir())
        return failCommand(err, QStringLiteral("%1 is not a folder").arg(*folder), 1);
    const Result<AgentSkillFolder::Imported> imported = AgentSkillFolder::read(*folder);
    if (!imported.ok())
        return failCommand(err, imported.error(), 1);
    if (Result<> saved = SkillStore().save(imported->skill, imported->markdown); !saved.ok())
        return failCommand(err, saved.error(), 1);
    out << "Added “" << imported->skill.name << "” (" << imported->skill.slashCommand()
        << ") to the library.\n";
    out.flush();
    return 0;
}

} // namespace tavrik
