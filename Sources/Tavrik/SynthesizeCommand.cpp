#include "Tavrik/SynthesizeCommand.h"

#include "Tavrik/CommandFailure.h"
#include "Tavrik/ModelSynthesis.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/RecordingStore.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikCore/Support/Json.h"

#include <QEventLoop>
#include <QFileInfo>

namespace tavrik {

int synthesizeRecording(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    std::optional<QString> ref;
    QString narration;
    bool save = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == QStringLiteral("--narration")) {
            if (i + 1 >= arguments.size())
                return failCommand(err, QStringLiteral("--narration needs the spoken text"), 2);
            narration = arguments[++i].trimmed();
        } else if (argument == QStringLiteral("--save")) {
            save = true;
        } else if (argument.startsWith(QStringLiteral("--"))) {
            return failCommand(
                err,
                QStringLiteral("unknown option for synthesize: %1 (see tavrik --help)")
                    .arg(argument),
                2);
        } else if (ref) {
            return failCommand(
                err,
                QStringLiteral("synthesize takes one recording, got %1 and %2").arg(*ref, argument),
                2);
        } else {
            ref = argument;
        }
    }
    if (!ref)
        return failCommand(
            err,
            QStringLiteral("synthesize needs a recording id (the folder name under %1)")
                .arg(Paths::recordings()),
            2);
    const QString name = QFileInfo(*ref).fileName().isEmpty() ? *ref : QFileInfo(*ref).fileName();
    const std::optional<QUuid> id = json::parseUuid(name);
    if (!id)
        return failCommand(err, QStringLiteral("%1 is not a recording id").arg(*ref), 2);
    const Result<Recording> recording = RecordingStore().load(*id);
    if (!recording.ok())
        return failCommand(err, recording.error(), 1);
    if (recording->events.isEmpty())
        return failCommand(
            err, QStringLiteral("that recording is empty: there is nothing to write a skill from"),
            1);

    ModelSynthesis synthesis;
    QEventLoop loop;
    std::optional<SkillSynthesis::Result> result;
    const std::unique_ptr<SkillSynthesis::Task> task = synthesis.streamSkill(
        *recording, narration,
        [&out](const QString& fragment) {
            out << fragment;
            out.flush();
        },
        [&](SkillSynthesis::Result r) {
            result = std::move(r);
            loop.quit();
        });
    if (!result)
        loop.exec();
    if (!result->draft)
        return failCommand(err, result->error, 1);
    if (!result->draft->markdown.endsWith(u'\n'))
        out << '\n';
    out.flush();
    if (!save)
        return 0;
    if (Result<> saved = SkillStore().save(result->draft->skill, result->draft->markdown);
        !saved.ok())
        return failCommand(err, saved.error(), 1);
    err << "Saved “" << result->draft->skill.name << "” as " << result->draft->skill.slashCommand()
        << '\n';
    err.flush();
    return 0;
}

} // namespace tavrik
