#include "Tavrik/CommandLine.h"

#include "Tavrik/CastCommand.h"
#include "Tavrik/CommandFailure.h"
#include "Tavrik/RemoteCommand.h"
#include "Tavrik/ReplayCommand.h"
#include "Tavrik/SelfTest.h"
#include "Tavrik/SkillFolderCommands.h"
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
  cast REF [NAME=VALUE ...] [--yes] [--dry-run] [--update-skill | --keep-skill]
                              run a skill without the interface; parameters
                              left out take their example values; --yes skips
                              the question before destructive steps; Ctrl-C stops;
                              --dry-run finds every recorded step's element on
                              the desktop now and says found, ambiguous or
                              missing, acting on nothing; --update-skill or
                              --keep-skill takes or drops the change a run
                              proposed after the model repaired a step
  replay REF [NAME=VALUE ...] [--check] [--secrets-on-stdin] [--timings]
                              carry out a skill's recorded plan on this desktop,
                              printing progress lines; casts run this for skills
                              recorded in desktop applications; --timings says on
                              standard error where each step's time went
  trace RECORDING [--narration TEXT]
                              show what would be sent to the model to write a
                              skill from a recording: the text exactly, and the
                              frames with their sizes after downscaling
  synthesize RECORDING [--narration TEXT] [--save]
                              write a skill from a recording, as after a
                              demonstration: the SKILL.md streams to standard
                              output; --save adds it to the library
  export-skills DIR           write every skill as an Agent Skills folder under
                              DIR (SKILL.md for other agent tools, Tavrik's own
                              files in its "tavrik" subfolder)
  import-skill DIR            add a skill folder (exported, or any SKILL.md folder)
                              to the library
  record                      start or stop a recording in the running application
  palette                     open the palette of the running application
  cast REF [NAME=VALUE ...] --in-app
                              cast in the running application, as the palette
                              does (for the desktop's own keyboard shortcuts)
  --selftest                  run the built-in checks and exit
  --help, -h                  show this help
  --version                   print the version

Files live in $XDG_DATA_HOME/Tavrik (default ~/.local/share/Tavrik).
)";

struct Streams {
    QTextStream& out;
    QTextStream& err;

    int fail(const QString& message, int status = kFailure) {
        return failCommand(err, message, status);
    }
};

// A table cell on one line of at most kCellWidth characters: one absurdly long or multi-line
// name must not push every row off the screen. The full text is in `skills --json` and `show`.
constexpr qsizetype kCellWidth = 40;

QString cell(const QString& text) {
    QString line = text.simplified();
    if (line.size() <= kCellWidth)
        return line;
    QString cut = line.left(kCellWidth - 1);
    if (cut.back().isHighSurrogate())
        cut.chop(1);
    return cut + QChar(0x2026);
}

int listSkills(const QStringList& options, Streams io) {
    bool asJson = false;
    for (const QString& option : options) {
        if (option == QStringLiteral("--json"))
            asJson = true;
        else
            return io.fail(
                QStringLiteral("unknown option for skills: %1 (see tavrik --help)").arg(option),
                kUsage);
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
    QList<QStringList> rows;
    QList<qsizetype> widths(3, 0);
    for (const Skill& skill : skills) {
        rows.append({cell(skill.slashCommand()), cell(skill.name), cell(skill.trigger),
                     json::uuidText(skill.id)});
        for (qsizetype column = 0; column < widths.size(); ++column)
            widths[column] = std::max(widths[column], rows.last()[column].size());
    }
    for (const QStringList& row : std::as_const(rows)) {
        for (qsizetype column = 0; column < widths.size(); ++column)
            io.out << row[column].leftJustified(widths[column]) << "  ";
        io.out << row.last() << '\n';
    }
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
            return io.fail(
                QStringLiteral("unknown option for show: %1 (see tavrik --help)").arg(argument),
                kUsage);
        else if (ref)
            return io.fail(
                QStringLiteral("show takes one skill, got %1 and %2").arg(*ref, argument), kUsage);
        else
            ref = argument;
    }
    if (!ref)
        return io.fail(QStringLiteral("show needs a skill: an id, a slash command or a folder"),
                       kUsage);
    Result<ResolvedSkill> resolved = resolveSkillReference(*ref);
    if (!resolved.ok())
        return io.fail(resolved.error());
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
    const QString& command = arguments.first();
    const QStringList rest = arguments.mid(1);
    if (command == QStringLiteral("--help") || command == QStringLiteral("-h") ||
        command == QStringLiteral("help")) {
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
    if (command == QStringLiteral("record") || command == QStringLiteral("palette") ||
        (command == QStringLiteral("cast") && rest.contains(QStringLiteral("--in-app"))))
        return runRemoteCommand(command, rest, out, err);
    if (command == QStringLiteral("cast"))
        return castSkill(rest, out, err);
    if (command == QStringLiteral("replay"))
        return replaySkill(rest, out, err);
    if (command == QStringLiteral("export-skills"))
        return exportSkills(rest, out, err);
    if (command == QStringLiteral("import-skill"))
        return importSkill(rest, out, err);
    return io.fail(QStringLiteral("unknown command %1 (see tavrik --help)").arg(command), kUsage);
}

namespace {
// What QApplication reads and removes from the arguments itself (QGuiApplication, QApplication
// and the xcb platform), each also spelled with two dashes.
bool isToolkitFlag(QStringView option) {
    for (const char16_t* flag :
         {u"-reverse", u"-testability", u"-widgetcount", u"-nograb", u"-dograb"})
        if (option == QStringView(flag))
            return true;
    return false;
}

bool isToolkitOptionWithValue(QStringView option) {
    for (const char16_t* name :
         {u"-platform", u"-platformpluginpath", u"-platformtheme", u"-plugin", u"-qwindowgeometry",
          u"-qwindowtitle", u"-qwindowicon", u"-geometry", u"-title", u"-icon", u"-session",
          u"-style", u"-stylesheet", u"-display", u"-name", u"-visual", u"-qmljsdebugger"})
        if (option == QStringView(name))
            return true;
    return false;
}
} // namespace

QStringList toolkitArguments(const QStringList& arguments) {
    QStringList result;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        const QStringView option = QStringView(argument).sliced(argument.startsWith(u"--") ? 1 : 0);
        const qsizetype equals = option.indexOf(u'=');
        if (equals > 0 && isToolkitOptionWithValue(option.first(equals))) {
            result << option.first(equals).toString() << option.sliced(equals + 1).toString();
            continue;
        }
        result << argument;
        if (isToolkitOptionWithValue(option) && i + 1 < arguments.size())
            result << arguments[++i]; // Qt takes the next argument whatever it is
    }
    return result;
}

std::optional<QString> toolkitOptionValue(const QStringList& arguments, QStringView option) {
    const QStringList split = toolkitArguments(arguments);
    std::optional<QString> value;
    for (qsizetype i = 0; i < split.size(); ++i) {
        QStringView argument(split[i]);
        if (argument.startsWith(u"--"))
            argument = argument.sliced(1);
        if (!isToolkitOptionWithValue(argument))
            continue;
        if (argument == option && i + 1 < split.size())
            value = split[i + 1];
        ++i;
    }
    return value;
}

bool startsDesktopApplication(const QStringList& arguments) {
    if (arguments.contains(QStringLiteral("--selftest")))
        return false;
    const QStringList split = toolkitArguments(arguments);
    for (qsizetype i = 0; i < split.size(); ++i) {
        QStringView option(split[i]);
        if (option.startsWith(u"--"))
            option = option.sliced(1);
        if (isToolkitOptionWithValue(option))
            ++i; // Qt takes the next argument whatever it is; a missing one it just ignores
        else if (!isToolkitFlag(option))
            return false;
    }
    return true;
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
