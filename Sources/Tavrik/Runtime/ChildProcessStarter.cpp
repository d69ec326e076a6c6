#include "Tavrik/Runtime/ChildProcessStarter.h"

#include "Tavrik/Analytics.h"
#include "Tavrik/Runtime/DirectBrowser.h"
#include "Tavrik/Runtime/ProcessGroup.h"
#include "Tavrik/Runtime/RuntimeLocator.h"

#include <QPointer>
#include <QProcess>

namespace tavrik {

namespace {

QProcessEnvironment runtimeEnvironment() {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // Desktop sessions often start programs with a short PATH that misses where node lives.
    environment.insert(QStringLiteral("PATH"), QStringLiteral("/usr/local/bin:/usr/bin:/bin:") +
                                                   environment.value(QStringLiteral("PATH")));
    environment.insert(QStringLiteral("POSTHOG_DISTINCT_ID"), Analytics::distinctID());
    environment.insert(QStringLiteral("POSTHOG_OPT_OUT"),
                       Analytics::isOptedOut() ? QStringLiteral("1") : QStringLiteral("0"));
    if (!environment.contains(QStringLiteral("TAVRIK_DIRECT_BROWSER")))
        environment.insert(QStringLiteral("TAVRIK_DIRECT_BROWSER"),
                           DirectBrowser::environmentValue(DirectBrowser::current()));
    return environment;
}

class ChildProcess final : public RuntimeProcess {
public:
    ChildProcess() : m_process(new QProcess(this)) {
        connect(m_process, &QProcess::readyRead, this,
                [this] { emit output(m_process->readAll()); });
        connect(m_process, &QProcess::finished, this,
                [this](int exitCode, QProcess::ExitStatus status) {
                    emit output(m_process->readAll());
                    emit ended(status == QProcess::NormalExit && exitCode == 0);
                });
    }

    QProcess& process() { return *m_process; }

    void stop(int graceMs) override {
        disconnect(m_process, nullptr, this, nullptr);
        // The group may outlive this object; the process object goes once its child has ended.
        ProcessGroup::terminate(*m_process, graceMs);
        deleteLater();
    }

private:
    QProcess* m_process;
};

struct Command {
    QString program;
    QStringList arguments;
    QString workingDirectory;
};

Result<Command> commandFor(const ProcessStarter::Launch& launch) {
    if (launch.replays) {
        std::optional<QString> tavrik = RuntimeLocator::replayProgram();
        if (!tavrik)
            return Failure{QStringLiteral("Couldn't find the tavrik program to replay the skill.")};
        return Command{*tavrik,
                       QStringList{QStringLiteral("replay"), launch.skillFolder} + launch.arguments,
                       {}};
    }
    if (std::optional<QString> installed = RuntimeLocator::installedRuntime())
        return Command{*installed + QStringLiteral("/node"),
                       QStringList{*installed + QStringLiteral("/dist/cli.js"),
                                   QStringLiteral("agent"), launch.skillFolder} +
                           launch.arguments,
                       *installed};
    if (std::optional<QString> development = RuntimeLocator::developmentRuntime())
        return Command{QStringLiteral("/usr/bin/env"),
                       QStringList{QStringLiteral("npx"), QStringLiteral("tsx"),
                                   *development + QStringLiteral("/src/cli.ts"),
                                   QStringLiteral("agent"), launch.skillFolder} +
                           launch.arguments,
                       *development};
    return Failure{QStringLiteral("Couldn't find the Tavrik runtime.")};
}

} // namespace

Result<std::unique_ptr<RuntimeProcess>> ChildProcessStarter::start(const Launch& launch) {
    Result<Command> command = commandFor(launch);
    if (!command.ok())
        return Failure{command.error()};
    auto child = std::make_unique<ChildProcess>();
    QProcess& process = child->process();
    process.setWorkingDirectory(command->workingDirectory);
    process.setProcessEnvironment(runtimeEnvironment());
    process.setProcessChannelMode(QProcess::MergedChannels);
    ProcessGroup::startInOwnGroup(process);
    process.start(command->program, command->arguments);
    if (!process.waitForStarted(10000))
        return Failure{QStringLiteral("Couldn't launch the runtime: ") + process.errorString()};
    if (!launch.input.isEmpty())
        process.write(launch.input);
    process.closeWriteChannel();
    return std::unique_ptr<RuntimeProcess>(std::move(child));
}

} // namespace tavrik
