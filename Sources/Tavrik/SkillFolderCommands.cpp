#include "Tavrik/SkillFolderCommands.h"

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

int fail(QTextStream& err, const QString& message, int status) {
    err << "tavrik: " << message << '\n';
    err.flush();
    return status;
}

std::optional<QString> onlyFolder(const QString& command, const QStringList& arguments,
                                  QTextStream& err) {
    if (arguments.size() != 1 || arguments.first().startsWith(QStringLiteral("-"))) {
        fail(err, QStringLiteral("%1 needs one folder (see tavrik --help)").arg(command), 2);
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
    if (auto failure = Files::makeFolder(*target))
        return fail(err, *failure, 1);
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
        const QString markdown = store.markdown(skill).value_or(SkillMarkdown::render(skill));
        if (auto failure = AgentSkillFolder::write(skill, markdown, *target + u'/' + name)) {
            err << "tavrik: " << skill.name << ": " << *failure << '\n';
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
        return fail(err, QStringLiteral("%1 is not a folder").arg(*folder), 1);
    QString error;
    const std::optional<AgentSkillFolder::Imported> imported =
        AgentSkillFolder::read(*folder, &error);
    if (!imported)
        return fail(err, error, 1);
    if (auto failure = SkillStore().save(imported->skill, imported->markdown))
        return fail(err, *failure, 1);
    out << "Added “" << imported->skill.name << "” (" << imported->skill.slashCommand()
        << ") to the library.\n";
    out.flush();
    return 0;
}

} // namespace tavrik
