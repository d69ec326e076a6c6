#include "Tavrik/Runtime/AgentRunner.h"

#include "Tavrik/Analytics.h"
#include "Tavrik/Runtime/DirectBrowser.h"
#include "Tavrik/Runtime/ProcessGroup.h"
#include "Tavrik/Runtime/RuntimeLocator.h"
#include "TavrikCore/Replay/CastRoute.h"
#include "TavrikCore/Replay/ReplaySecrets.h"
#include "TavrikCore/Storage/Paths.h"

#include <QSettings>
#include <QStringDecoder>

namespace tavrik {

namespace {
const QString kArrow = QStringLiteral("→ ");
const QString kDot = QStringLiteral("· ");

bool isSummaryLine(const QString& line) {
    return line.startsWith(u'✓') || line.startsWith(u'✗');
}

QString firstWord(const QString& text) {
    const QStringList words = text.split(u' ', Qt::SkipEmptyParts);
    return words.isEmpty() ? QString() : words.first();
}

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
} // namespace

AgentRunner::AgentRunner(QObject* parent) : QObject(parent) {}

AgentRunner::~AgentRunner() {
    if (isRunning())
        cancel();
}

bool AgentRunner::isRunning() const {
    return m_process && m_process->state() != QProcess::NotRunning;
}

void AgentRunner::run(const Skill& skill, const QMap<QString, QString>& parameters,
                      const QString& givenFolder, const Options& options) {
    const QString skillFolder = givenFolder.isEmpty() ? Paths::skill(skill.id) : givenFolder;
    const bool replays = options.checkOnly || CastRoute::method(skill) == CastMethod::replay;
    QString program;
    QStringList arguments;
    QString workingDirectory;
    if (replays) {
        std::optional<QString> tavrik = RuntimeLocator::replayProgram();
        if (!tavrik) {
            emit finished(false,
                          QStringLiteral("Couldn't find the tavrik program to replay the skill."));
            return;
        }
        program = *tavrik;
        arguments = {QStringLiteral("replay"), skillFolder};
        if (options.checkOnly)
            arguments.append(QStringLiteral("--check"));
        if (!options.secrets.isEmpty())
            arguments.append(QStringLiteral("--secrets-on-stdin"));
    } else if (std::optional<QString> installed = RuntimeLocator::installedRuntime()) {
        workingDirectory = *installed;
        program = *installed + QStringLiteral("/node");
        arguments = {*installed + QStringLiteral("/dist/cli.js"), QStringLiteral("agent"),
                     skillFolder};
    } else if (std::optional<QString> development = RuntimeLocator::developmentRuntime()) {
        workingDirectory = *development;
        program = QStringLiteral("/usr/bin/env");
        arguments = {QStringLiteral("npx"), QStringLiteral("tsx"),
                     *development + QStringLiteral("/src/cli.ts"), QStringLiteral("agent"),
                     skillFolder};
    } else {
        emit finished(false, QStringLiteral("Couldn't find the Tavrik runtime."));
        return;
    }
    for (auto it = parameters.cbegin(); it != parameters.cend(); ++it)
        arguments.append(it.key() + u'=' + it.value());

    auto* process = new QProcess(this);
    process->setWorkingDirectory(workingDirectory);
    process->setProcessEnvironment(runtimeEnvironment());
    process->setProcessChannelMode(QProcess::MergedChannels);
    ProcessGroup::startInOwnGroup(*process);
    connect(process, &QProcess::readyRead, this, &AgentRunner::readOutput);
    connect(process, &QProcess::finished, this, &AgentRunner::processEnded);
    m_process = process;
    process->start(program, arguments);
    if (!process->waitForStarted(10000)) {
        const QString reason = process->errorString();
        m_process = nullptr;
        process->deleteLater();
        emit finished(false, QStringLiteral("Couldn't launch the runtime: ") + reason);
        return;
    }
    if (!options.secrets.isEmpty())
        process->write(ReplaySecrets::encode(options.secrets));
    process->closeWriteChannel();
}

void AgentRunner::cancel(int graceMs) {
    if (!m_process)
        return;
    QProcess* process = m_process;
    m_process = nullptr;
    process->disconnect(this);
    ProcessGroup::terminate(*process, graceMs);
}

// Each read is split on its own, as the runtime writes whole lines.
void AgentRunner::readOutput() {
    if (!m_process)
        return;
    const QByteArray data = m_process->readAll();
    if (data.isEmpty())
        return;
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(data);
    if (decoder.hasError())
        return;
    for (const QString& line : text.split(u'\n', Qt::SkipEmptyParts))
        handle(line);
}

void AgentRunner::handle(const QString& rawLine) {
    const QString line = rawLine.trimmed();
    if (line.isEmpty())
        return;
    if (isSummaryLine(line))
        m_lastSummary = line.mid(1).trimmed();
    if (line.startsWith(kArrow)) {
        const QString tool = firstWord(line.mid(kArrow.size()));
        if (!tool.isEmpty())
            m_steps.append(tool);
    }
    if (std::optional<QString> phrase = humanize(line))
        emit progress(*phrase);
}

std::optional<QString> AgentRunner::humanize(const QString& line) {
    if (isSummaryLine(line))
        return line.mid(1).trimmed();
    if (line.startsWith(kDot))
        return line.mid(kDot.size());
    // A lone arrow arrives trimmed, without its blank.
    if (!line.startsWith(kArrow) && line != QStringLiteral("→"))
        return std::nullopt;
    static const QMap<QString, QString> phrases{
        {QStringLiteral("open"), QStringLiteral("Opening the page…")},
        {QStringLiteral("read"), QStringLiteral("Reading the page…")},
        {QStringLiteral("extract"), QStringLiteral("Reading the list…")},
        {QStringLiteral("sheets_set_cell"), QStringLiteral("Writing to the sheet…")},
        {QStringLiteral("sheets_append"), QStringLiteral("Adding rows to the sheet…")},
        {QStringLiteral("notify_sms"), QStringLiteral("Sending a text…")},
        {QStringLiteral("finish"), QStringLiteral("Finishing up…")},
    };
    return phrases.value(firstWord(line.mid(kArrow.size())), QStringLiteral("Working…"));
}

void AgentRunner::processEnded(int exitCode, QProcess::ExitStatus status) {
    if (!m_process)
        return;
    readOutput();
    m_process->deleteLater();
    m_process = nullptr;
    emit finished(status == QProcess::NormalExit && exitCode == 0, m_lastSummary);
}

} // namespace tavrik
