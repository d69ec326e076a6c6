#include "Tavrik/ReplayCommand.h"

#include "Tavrik/CommandFailure.h"
#include "Tavrik/SkillArguments.h"
#include "Tavrik/SkillReference.h"
#include "TavrikCore/Casting/CastRules.h"
#include "TavrikCore/Recorder/FrameCapturer.h"
#include "TavrikCore/Replay/ModelStepRepairer.h"
#include "TavrikCore/Replay/ReplayEngine.h"
#include "TavrikCore/Replay/ReplaySecrets.h"
#include "TavrikCore/Replay/ReplayTimings.h"
#include "TavrikCore/Replay/TimedDesktopActor.h"
#include "TavrikCore/Replay/TimedReplayClock.h"
#include "TavrikCore/Replay/TimedSyntheticInput.h"
#include "TavrikCore/Storage/RepairProposal.h"
#include "TavrikCore/Synthesis/Secrets.h"
#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopBackend.h"
#include "TavrikPlatform/DesktopSession.h"

#include <QFile>

namespace tavrik {

int replaySkill(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    QString misuse;
    const std::optional<SkillArguments> parsed =
        parseSkillArguments(QStringLiteral("replay"), arguments,
                            {QStringLiteral("--check"), QStringLiteral("--secrets-on-stdin"),
                             QStringLiteral("--timings")},
                            &misuse);
    if (!parsed)
        return failCommand(err, misuse, 2);
    const std::optional<QString>& ref = parsed->ref;
    const QMap<QString, QString>& given = parsed->values;
    const bool checkOnly = parsed->options.contains(QStringLiteral("--check"));
    const bool secretsOnStdin = parsed->options.contains(QStringLiteral("--secrets-on-stdin"));
    const bool reportTimings = parsed->options.contains(QStringLiteral("--timings"));
    if (!ref)
        return failCommand(
            err, QStringLiteral("replay needs a skill: an id, a slash command or a folder"), 2);
    Result<ResolvedSkill> resolved = resolveSkillReference(*ref);
    if (!resolved.ok())
        return failCommand(err, resolved.error(), 1);

    QMap<qsizetype, QString> secrets;
    if (secretsOnStdin) {
        QFile input;
        if (!input.open(stdin, QIODevice::ReadOnly))
            return failCommand(err,
                               QStringLiteral("could not read the secrets from standard input"), 1);
        std::optional<QMap<qsizetype, QString>> decoded =
            ReplaySecrets::decode(input.readLine(1 << 20));
        if (!decoded)
            return failCommand(
                err, QStringLiteral("the secrets on standard input are not a JSON object of texts"),
                2);
        secrets = *decoded;
    }

    std::unique_ptr<DesktopActor> desktop = DesktopBackend::createDesktopActor();
    std::unique_ptr<SyntheticInput> synthetic = DesktopBackend::createSyntheticInput();
    // Always measured (a clock read around each call), reported on request.
    SystemReplayClock systemClock;
    ReplayTimings timings(systemClock);
    TimedDesktopActor actor(*desktop, timings);
    TimedSyntheticInput input(*synthetic, timings);
    TimedReplayClock clock(systemClock, timings);
    const auto emitLine = [&out, &timings](const QString& line) {
        if (line.startsWith(QStringLiteral("→ ")))
            timings.beginStep();
        out << line << '\n';
        out.flush();
    };
    // A Wayland compositor may offer no synthetic input at all: steps acting through
    // accessibility still replay there, and a step that needs a key says so when it comes.
    const bool inputOptional = DesktopBackend::isWayland();
    if (!actor.isAvailable() || (!checkOnly && !inputOptional && !input.isAvailable())) {
        emitLine(QStringLiteral(
            "✗ Replay needs a desktop session with its accessibility bus; none was found"));
        return 1;
    }
    if (!checkOnly && !input.isAvailable())
        err << "tavrik: " << DesktopSession::limitations(DesktopSession::current()) << '\n';
    ReplayEngine engine(actor, input, clock);
    const QMap<QString, QString> values = CastRules::completeParameters(resolved->skill, given);
    // Only with the user's own key: without one a missing step stops the run as it always did.
    std::unique_ptr<FrameCapturer> frames;
    std::unique_ptr<ModelStepRepairer> repairer;
    if (!checkOnly && Secrets::hasAnthropicKey()) {
        frames = DesktopBackend::createFrameCapturer();
        repairer = ModelStepRepairer::withUsersKey(actor, input, frames.get());
        engine.setRepairer(repairer.get());
    }
    const bool succeeded = checkOnly ? engine.check(resolved->skill, values, emitLine)
                                     : engine.run(resolved->skill, values, secrets, emitLine);
    timings.finish();
    if (reportTimings)
        for (qsizetype i = 0; i < timings.steps().size(); ++i)
            err << ReplayTimings::line(i, timings.steps()[i]) << '\n';
    if (!engine.repairs().isEmpty()) {
        // Offered, never saved: the skill changes only when the user accepts.
        RepairProposal proposal{resolved->skill.id, resolved->skill.name, {}};
        for (const ReplayEngine::Repair& repair : engine.repairs())
            proposal.changes.append({repair.step, resolved->skill.plan[repair.step].id,
                                     resolved->skill.plan[repair.step].intent, repair.before,
                                     repair.after});
        if (const Result<> saved = proposal.save(); !saved.ok())
            err << "tavrik: the repaired steps could not be offered: " << saved.error() << '\n';
    }
    return succeeded ? 0 : 1;
}

} // namespace tavrik
