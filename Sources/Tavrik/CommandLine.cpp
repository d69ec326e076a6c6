#include "Tavrik/CommandLine.h"

#include "Tavrik/CastCommand.h"
#include "Tavrik/ReplayCommand.h"
#include "Tavrik/SelfTest.h"
#include "Tavrik/SkillReference.h"
#include "Tavrik/SynthesizeCommand.h"
#include "Tavrik/TraceCommand.h"
#include "TavrikCore/Storage/SkillMarkdown.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Support/Json.h"
#include "TavrikCore/Version.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

namespace tavrik {

namespace {

enum ExitStatus { kSuccess = 0, kFailure = 1, kUsage = 2 };

const char* const kHelp = R"(Usage: tavrik [COMMAND]

Tavrik learns a desktop task by watching you do it once and repeats it on request.

Commands:
  (none)                      start the desktop application
  skills [--json]             list the skill library, newest first
  show REF [--json | --markdown]
                              print one skill; REF is a skill id, its slash
                              command (/search-google) or a skill folder
  cast REF [NAME=VALUE ...] [--yes] [--dry-run]
                              run a skill without the interface; parameters
                              left out take their example values; --yes skips
                              the question before destructive steps; Ctrl-C stops;
                              --dry-run finds every recorded step's element on
                              the desktop now and says found, ambiguous or
                              missing, acting on nothing
  replay REF [NAME=VALUE ...] [--check] [--secrets-on-stdin]
                              carry out a skill's recorded plan on this desktop,
                              printing progress lines; casts run this for skills
                              recorded in desktop applications
  trace RECORDING [--narration TEXT]
                              show what would be sent to the model to write a
                              skill from a recording: the text exactly, and the
                              frames with their sizes after downscaling
  synthesize RECORDING [--narration TEXT] [--save]
                              write a skill from a recording, as after a
                              demonstration: the SKILL.md streams to standard
                              output; --save adds it to the library
  --selftest                  run the built-in checks and exit
  --help, -h                  show this help
  --version                   print the version

Files live in $XDG_DATA_HOME/Tavrik (default ~/.local/share/Tavrik).
)";

struct Streams {
    QTextStream& out;
    QTextStream& err;

    int fail(const QString& message, int status = kFailure) {
        err << "tavrik: " << message << '\n';
        err.flush();
        return status;
    }
};

int listSkills(const QStringList& options, Streams io) {
    bool asJson = false;
    for (const QString& option : options) {
        if (option == QStringLiteral("--json"))
            asJson = true;
        else
            return io.fail(QStringLiteral("unknown option for skills: %1 (see tavrik --help)").arg(option), kUsage);
    }
    const QList<Skill> skills = SkillStore().loadAll();
    if (asJson) {
        QJsonArray rows;
        for (const Skill& skill : skills)
            rows.append(QJsonObject{{"slashCommand", skill.slashCommand()},
                                    {"name", skill.name},
                                    {"trigger", skill.trigger},
                                    {"id", json::uuidText(skill.id)}});
        io.out << QJsonDocument(rows).toJson(QJsonDocument::Indented);
        return kSuccess;
    }
    if (skills.isEmpty()) {
        io.out << "No skills yet. Double-tap Control to record one.\n";
        return kSuccess;
    }
    qsizetype commandWidth = 0, nameWidth = 0, triggerWidth = 0;
    for (const Skill& skill : skills) {
        commandWidth = std::max(commandWidth, skill.slashCommand().size());
        nameWidth = std::max(nameWidth, skill.name.size());
        triggerWidth = std::max(triggerWidth, skill.trigger.size());
    }
    for (const Skill& skill : skills)
        io.out << skill.slashCommand().leftJustified(commandWidth) << "  " << skill.name.leftJustified(nameWidth) << "  "
               << skill.trigger.leftJustified(triggerWidth) << "  " << json::uuidText(skill.id) << '\n';
    return kSuccess;
}

int showSkill(const QStringList& arguments, Streams io) {
    std::optional<QString> ref;
    bool asJson = false;
    for (const QString& argument : arguments) {
        if (argument == QStringLiteral("--json"))
            asJson = true;
        else if (argument == QStringLiteral("--markdown"))
            asJson = false;
        else if (argument.startsWith(QStringLiteral("--")))
            return io.fail(QStringLiteral("unknown option for show: %1 (see tavrik --help)").arg(argument), kUsage);
        else if (ref)
            return io.fail(QStringLiteral("show takes one skill, got %1 and %2").arg(*ref, argument), kUsage);
        else
            ref = argument;
    }
    if (!ref)
        return io.fail(QStringLiteral("show needs a skill: an id, a slash command or a folder"), kUsage);
    QString error;
    std::optional<ResolvedSkill> resolved = resolveSkillReference(*ref, &error);
    if (!resolved)
        return io.fail(error);
    if (asJson)
        io.out << QJsonDocument(resolved->skill.toJson()).toJson(QJsonDocument::Indented);
    else
        io.out << SkillMarkdown::render(resolved->skill);
    return kSuccess;
}

} // namespace

int runCommand(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    Streams io{out, err};
    if (arguments.contains(QStringLiteral("--selftest")))
        return SelfTest::run(out);
    if (arguments.isEmpty()) {
        // The program's entry starts the desktop application itself; here only the help remains.
        out << kHelp;
        return kSuccess;
    }
    const QString command = arguments.first();
    const QStringList rest = arguments.mid(1);
    if (command == QStringLiteral("--help") || command == QStringLiteral("-h") || command == QStringLiteral("help")) {
        out << kHelp;
        return kSuccess;
    }
    if (command == QStringLiteral("--version")) {
        out << "tavrik " << kVersion << '\n';
        return kSuccess;
    }
    if (command == QStringLiteral("skills"))
        return listSkills(rest, io);
    if (command == QStringLiteral("show"))
        return showSkill(rest, io);
    if (command == QStringLiteral("trace"))
        return traceRecording(rest, out, err);
    if (command == QStringLiteral("synthesize"))
        return synthesizeRecording(rest, out, err);
    if (command == QStringLiteral("cast"))
        return castSkill(rest, out, err);
    if (command == QStringLiteral("replay"))
        return replaySkill(rest, out, err);
    return io.fail(QStringLiteral("unknown command %1 (see tavrik --help)").arg(command), kUsage);
}

int runCommandLine(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Tavrik"));
    QCoreApplication::setApplicationName(QStringLiteral("Tavrik"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(kVersion));
    QTextStream out(stdout), err(stderr);
    const int status = runCommand(QCoreApplication::arguments().mid(1), out, err);
    out.flush();
    err.flush();
    return status;
}

} // namespace tavrik
