#include "Support/ScriptedRuntime.h"

#include <QMap>
#include <QTimer>
#include <deque>
#include <utility>

namespace tavrik::test {

namespace {

class ScriptedProcess final : public RuntimeProcess {
public:
    ScriptedProcess(QStringList lines, std::optional<int> exitStatus, std::shared_ptr<int> stops)
        : m_lines(lines.cbegin(), lines.cend()), m_exitStatus(exitStatus),
          m_stops(std::move(stops)) {
        m_clock.setInterval(0);
        connect(&m_clock, &QTimer::timeout, this, &ScriptedProcess::next);
        m_clock.start();
    }

    void stop(int graceMs) override {
        Q_UNUSED(graceMs);
        ++*m_stops;
        m_lines = {QStringLiteral("✗ Terminated")};
        m_exitStatus = 143;
        m_clock.start();
    }

private:
    void next() {
        if (!m_lines.empty()) {
            emit output(m_lines.front().toUtf8() + '\n');
            m_lines.pop_front();
            return;
        }
        m_clock.stop();
        if (!m_exitStatus)
            return; // hangs
        emit ended(*m_exitStatus == 0);
        deleteLater();
    }

    std::deque<QString> m_lines;
    std::optional<int> m_exitStatus;
    std::shared_ptr<int> m_stops;
    QTimer m_clock;
};

} // namespace

Result<std::unique_ptr<RuntimeProcess>> ScriptedRuntime::start(const Launch& launch) {
    launches.append(launch);
    if (failure)
        return Failure{*std::exchange(failure, std::nullopt)};
    QMap<QString, QString> values;
    for (const QString& argument : launch.arguments)
        if (const qsizetype equals = argument.indexOf(u'='); equals > 0)
            values.insert(argument.left(equals), argument.mid(equals + 1));
    QStringList lines = values.value(QStringLiteral("lines")).split(u'|', Qt::SkipEmptyParts);
    std::optional<int> exitStatus = values.value(QStringLiteral("exit")).toInt();
    if (values.contains(QStringLiteral("hang"))) {
        lines.append(QStringLiteral("· waiting"));
        exitStatus.reset();
    }
    return std::unique_ptr<RuntimeProcess>(
        std::make_unique<ScriptedProcess>(lines, exitStatus, stops));
}

} // namespace tavrik::test
