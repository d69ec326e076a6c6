#include "TavrikCore/Casting/AgentRunner.h"

#include "TavrikCore/Replay/CastRoute.h"
#include "TavrikCore/Replay/ReplaySecrets.h"
#include "TavrikCore/Storage/Paths.h"

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
} // namespace

AgentRunner::AgentRunner(ProcessStarter& starter, QObject* parent)
    : QObject(parent), m_starter(starter) {}

AgentRunner::~AgentRunner() {
    if (isRunning())
        cancel();
}

void AgentRunner::run(const Skill& skill, const QMap<QString, QString>& parameters,
                      const QString& givenFolder, const Options& options) {
    m_context = std::make_shared<RunContext>(skill, parameters);
    ProcessStarter::Launch launch;
    launch.replays = options.checkOnly || CastRoute::method(skill) == CastMethod::replay;
    launch.skillFolder = givenFolder.isEmpty() ? Paths::skill(skill.id) : givenFolder;
    if (launch.replays && options.checkOnly)
        launch.arguments.append(QStringLiteral("--check"));
    if (launch.replays && !options.secrets.isEmpty()) {
        launch.arguments.append(QStringLiteral("--secrets-on-stdin"));
        launch.input = ReplaySecrets::encode(options.secrets);
    }
    for (auto it = parameters.cbegin(); it != parameters.cend(); ++it)
        launch.arguments.append(it.key() + u'=' + it.value());
    m_agentic = !launch.replays;

    Result<std::unique_ptr<RuntimeProcess>> started = m_starter.start(launch);
    if (!started.ok()) {
        emit finished(false, started.error());
        return;
    }
    RuntimeProcess* process = started->release();
    process->setParent(this);
    m_process = process;
    connect(process, &RuntimeProcess::output, this, &AgentRunner::readOutput);
    connect(process, &RuntimeProcess::ended, this, &AgentRunner::processEnded);
}

void AgentRunner::cancel(int graceMs) {
    if (m_context)
        m_context->abort();
    if (!m_process)
        return;
    RuntimeProcess* process = m_process;
    m_process = nullptr;
    process->disconnect(this);
    process->stop(graceMs);
}

QList<QString> AgentRunner::steps() const {
    QList<QString> tools;
    if (m_context)
        for (const AuditEntry& entry : m_context->auditLog())
            tools.append(entry.intent);
    return tools;
}

// Each read is split on its own, as the runtime writes whole lines.
void AgentRunner::readOutput(const QByteArray& data) {
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
        const QString call = line.mid(kArrow.size());
        const QString tool = firstWord(call);
        if (!tool.isEmpty()) {
            // The lines name tools, not recorded actions; a tool named like one keeps that type.
            AuditEntry entry;
            entry.timestamp = QDateTime::currentDateTimeUtc();
            entry.intent = tool;
            entry.action = actionTypeFromString(tool).value_or(entry.action);
            entry.detail = call.mid(tool.size()).trimmed();
            entry.agentic = m_agentic;
            m_context->record(entry);
        }
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

void AgentRunner::processEnded(bool success) {
    if (!m_process)
        return;
    m_process->deleteLater();
    m_process = nullptr;
    emit finished(success, m_lastSummary);
}

} // namespace tavrik
