#include "Tavrik/CastCommand.h"

#include "Tavrik/CommandFailure.h"
#include "Tavrik/Runtime/ChildProcessStarter.h"
#include "Tavrik/SkillArguments.h"
#include "Tavrik/SkillReference.h"
#include "TavrikCore/Casting/AgentRunner.h"
#include "TavrikCore/Casting/CastRules.h"
#include "TavrikCore/Replay/CastRoute.h"
#include "TavrikCore/Storage/AuditLog.h"
#include "TavrikCore/Storage/RepairProposal.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>
#include <csignal>
#include <cstdio>
#include <string>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

namespace tavrik {

namespace {

constexpr int kInterruptedStatus = 130;

// Ctrl-C and SIGTERM become a notifier event on the main thread (a signal handler may only
// write to a socket).
class InterruptWatcher {
public:
    InterruptWatcher() {
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, s_pair) != 0)
            return;
        m_notifier = std::make_unique<QSocketNotifier>(s_pair[1], QSocketNotifier::Read);
        struct sigaction action {};
        action.sa_handler = [](int) {
            const char byte = 1;
            [[maybe_unused]] auto written = ::write(s_pair[0], &byte, 1);
        };
        ::sigemptyset(&action.sa_mask);
        ::sigaction(SIGINT, &action, &m_previousInt);
        ::sigaction(SIGTERM, &action, &m_previousTerm);
    }
    ~InterruptWatcher() {
        ::sigaction(SIGINT, &m_previousInt, nullptr);
        ::sigaction(SIGTERM, &m_previousTerm, nullptr);
        m_notifier.reset();
        ::close(s_pair[0]);
        ::close(s_pair[1]);
    }
    QSocketNotifier* notifier() const { return m_notifier.get(); }
    // Empties the socket so the notifier does not fire again for the same signal.
    static void drain() {
        char bytes[16];
        [[maybe_unused]] auto got = ::read(s_pair[1], bytes, sizeof bytes);
    }

private:
    static inline int s_pair[2] = {-1, -1};
    std::unique_ptr<QSocketNotifier> m_notifier;
    struct sigaction m_previousInt {};
    struct sigaction m_previousTerm {};
};

// A secure step's value, typed at the terminal without echo (read as a plain line when standard
// input is not a terminal, for scripts).
std::optional<QString> askSecret(const QString& label, QTextStream& err) {
    err << "Value for " << label << " (not shown): ";
    err.flush();
    termios saved{};
    const bool terminal = ::isatty(STDIN_FILENO) && ::tcgetattr(STDIN_FILENO, &saved) == 0;
    if (terminal) {
        termios quiet = saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    std::string line;
    int c = 0;
    while ((c = std::fgetc(stdin)) != EOF && c != '\n')
        line.push_back(char(c));
    if (terminal) {
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
        err << '\n';
        err.flush();
    }
    if (c == EOF && line.empty())
        return std::nullopt;
    QString value = QString::fromLocal8Bit(line.data(), qsizetype(line.size()));
    // Wipe our copy; the QString is handed on.
    std::fill(line.begin(), line.end(), '\0');
    return value;
}

bool askToProceed(const CastRules::DestructiveWarning& warning, QTextStream& out) {
    out << warning.message << "\n\n" << warning.details << "\n\nRun it? [y/N] ";
    out.flush();
    char answer[64] = {};
    if (!std::fgets(answer, sizeof answer, stdin))
        return false;
    const QString reply = QString::fromLocal8Bit(answer).trimmed().toLower();
    return reply == QStringLiteral("y") || reply == QStringLiteral("yes");
}

// Steps the model repaired in this run wait for the user's word.
void offerRepair(const Skill& skill, const QString& ref, QTextStream& out) {
    const std::optional<RepairProposal> proposal = RepairProposal::load(skill.id);
    if (!proposal)
        return;
    out << "\nThe model repaired " << (proposal->changes.size() == 1 ? "a step" : "steps") << " of "
        << skill.name << ". Proposed change to the skill:\n";
    for (const QString& line : proposal->describe())
        out << "  " << line << '\n';
    out << "To update the skill: tavrik cast " << ref << " --update-skill\n"
        << "To keep it as it is: tavrik cast " << ref << " --keep-skill\n";
}

int reviewRepair(const Skill& skill, const QString& ref, bool accept, QTextStream& out,
                 QTextStream& err) {
    const std::optional<RepairProposal> proposal = RepairProposal::load(skill.id);
    if (!proposal) {
        err << "tavrik: " << ref << " has no proposed change to review\n";
        return 1;
    }
    const Result<> done = accept ? proposal->accept() : RepairProposal::reject(skill.id);
    if (!done.ok()) {
        err << "tavrik: " << done.error() << '\n';
        return 1;
    }
    out << (accept ? "Updated " : "Kept ") << skill.name << (accept ? ".\n" : " as it is.\n");
    return 0;
}

} // namespace

int castSkill(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    QString misuse;
    const std::optional<SkillArguments> parsed = parseSkillArguments(
        QStringLiteral("cast"), arguments,
        {QStringLiteral("--yes"), QStringLiteral("-y"), QStringLiteral("--dry-run"),
         QStringLiteral("--update-skill"), QStringLiteral("--keep-skill")},
        &misuse);
    if (!parsed)
        return failCommand(err, misuse, 2);
    const std::optional<QString>& ref = parsed->ref;
    const QMap<QString, QString>& given = parsed->values;
    const bool assumeYes = parsed->options.contains(QStringLiteral("--yes")) ||
                           parsed->options.contains(QStringLiteral("-y"));
    const bool dryRun = parsed->options.contains(QStringLiteral("--dry-run"));
    if (!ref)
        return failCommand(
            err, QStringLiteral("cast needs a skill: an id, a slash command or a folder"), 2);
    Result<ResolvedSkill> resolved = resolveSkillReference(*ref);
    if (!resolved.ok())
        return failCommand(err, resolved.error(), 1);
    const Skill& skill = resolved->skill;
    if (parsed->options.contains(QStringLiteral("--update-skill")) ||
        parsed->options.contains(QStringLiteral("--keep-skill")))
        return reviewRepair(skill, *ref, parsed->options.contains(QStringLiteral("--update-skill")),
                            out, err);
    if (const std::optional<QString> unknown = unknownParameter(skill, given))
        return failCommand(err, *unknown, 2);
    AgentRunner::Options options;
    options.checkOnly = dryRun;
    if (dryRun && skill.plan.isEmpty())
        return failCommand(
            err, QStringLiteral("“%1” has no recorded steps to check").arg(skill.name), 1);
    if (!dryRun) {
        if (std::optional<CastRules::DestructiveWarning> warning =
                CastRules::destructiveWarning(skill)) {
            if (!assumeYes && !askToProceed(*warning, out))
                return failCommand(err, QStringLiteral("not run"), 1);
        }
        if (CastRoute::method(skill) == CastMethod::replay) {
            for (qsizetype step : CastRoute::secretSteps(skill)) {
                const QString label = CastRoute::secretFieldLabel(skill.plan[step]) +
                                      QStringLiteral(" (step %1)").arg(step + 1);
                std::optional<QString> value = askSecret(label, err);
                if (!value)
                    return failCommand(err, QStringLiteral("not run: no value for %1").arg(label),
                                       1);
                options.secrets.insert(step, *value);
            }
        }
    }

    const QDateTime startedAt = QDateTime::currentDateTimeUtc();
    ChildProcessStarter processes;
    AgentRunner runner(processes);
    QEventLoop loop;
    int status = 1;
    QObject::connect(&runner, &AgentRunner::progress, [&out](const QString& phrase) {
        out << phrase << '\n';
        out.flush();
    });
    QObject::connect(&runner, &AgentRunner::finished, [&](bool success, const QString& summary) {
        const QString outcome = CastRules::outcomeText(success, summary);
        (success ? out : err) << (success ? "✓ " : "✗ ") << outcome << '\n';
        // A check acts on nothing, so it is no run to audit.
        if (!dryRun)
            AuditLog::append(CastRules::runRecord(startedAt, skill, runner.steps(), success));
        status = success ? 0 : 1;
        loop.quit();
    });
    InterruptWatcher interrupts;
    if (interrupts.notifier())
        QObject::connect(interrupts.notifier(), &QSocketNotifier::activated, [&] {
            InterruptWatcher::drain();
            if (!runner.isRunning())
                return;
            runner.cancel();
            err << "Stopped.\n";
            if (!dryRun)
                AuditLog::append(CastRules::runRecord(startedAt, skill, runner.steps(), false));
            status = kInterruptedStatus;
            loop.quit();
        });
    out << (dryRun ? "Checking " : "Running ") << skill.name << "…\n";
    out.flush();
    runner.run(skill, CastRules::completeParameters(skill, given), resolved->folder, options);
    if (runner.isRunning())
        loop.exec();
    if (!dryRun && status != kInterruptedStatus)
        offerRepair(skill, *ref, out);
    out.flush();
    err.flush();
    if (status == kInterruptedStatus) {
        // Give the runtime its grace to end before the process (and its timers) goes away.
        QEventLoop settle;
        QTimer::singleShot(2000, &settle, &QEventLoop::quit);
        settle.exec();
    }
    return status;
}

} // namespace tavrik
