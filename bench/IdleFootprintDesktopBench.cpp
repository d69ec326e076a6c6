// The application at rest as a user's machine sees it: the real `tavrik` started with no
// arguments on the X display, over a 1,000-skill library in a temporary XDG_DATA_HOME, left to
// settle, then watched for a minute. Reports the CPU it took as a share of one core, its resident
// memory (now and at its peak) and how often its threads woke. Targets: under 0.5% of one core,
// under 80 MB resident. Needs an X display with a session bus: run under scripts/virtual-desktop.
//
// TAVRIK_BENCH_SETTLE_S and TAVRIK_BENCH_IDLE_S shorten the settle time (5 s) and the watch (60 s)
// for a quick look; TAVRIK_EXECUTABLE names another build of the program.
#include "TavrikCore/Permissions/PermissionsManager.h"
#include "TavrikCore/Storage/SkillStore.h"
#include "TavrikPlatform/AccessibilityBackend.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <benchmark/benchmark.h>
#include <unistd.h>

using namespace tavrik;

namespace {

constexpr double kCpuTargetPercent = 0.5;
constexpr double kRssTargetMB = 80.0;

int secondsFrom(const char* variable, int fallback) {
    bool ok = false;
    const int value = qEnvironmentVariableIntValue(variable, &ok);
    return ok && value > 0 ? value : fallback;
}

QString tavrikExecutable() {
    const QString chosen = qEnvironmentVariable("TAVRIK_EXECUTABLE");
    if (!chosen.isEmpty())
        return chosen;
    return QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("../tavrik"));
}

void saveLibrary(int count) {
    const QStringList verbs{"Search",  "Open",   "File",     "Send",
                            "Archive", "Rename", "Download", "Export"};
    const QStringList objects{"expense report", "weekly notes", "invoice",
                              "flight",         "photos",       "receipt"};
    const QStringList apps{"Firefox", "Files", "Thunderbird", "Calc", "Writer"};
    SkillStore store;
    for (int i = 0; i < count; ++i) {
        Skill skill;
        skill.name = QStringLiteral("%1 the %2 %3")
                         .arg(verbs[i % verbs.size()], objects[(i / 8) % objects.size()])
                         .arg(i);
        skill.trigger = QStringLiteral("when the %1 is due").arg(objects[i % objects.size()]);
        skill.summary = QStringLiteral("Opens %1 and works through the %2.")
                            .arg(apps[i % apps.size()], objects[i % objects.size()]);
        skill.appScope = {apps[i % apps.size()]};
        skill.createdAt = QDateTime::currentDateTimeUtc().addSecs(-i * 60);
        Parameter parameter;
        parameter.name = QStringLiteral("recipient");
        parameter.exampleValue = QStringLiteral("accounting@example.com");
        skill.parameters = {parameter};
        for (int s = 0; s < 6; ++s) {
            PlanStep step;
            step.index = s;
            step.intent = QStringLiteral("Step %1 of the task for {{recipient}}").arg(s + 1);
            skill.plan << step;
        }
        if (Result<> saved = store.save(skill); !saved.ok())
            qFatal("cannot save the benchmark library: %s", qPrintable(saved.error()));
    }
}

// What /proc says about one process and its threads.
struct Sample {
    bool alive = false;
    qint64 cpuTicks = 0; // utime + stime of all threads
    qint64 switches = 0; // voluntary and involuntary context switches of all threads
    double rssMB = 0;
    double hwmMB = 0;
    int threads = 0;
};

qint64 statusField(const QByteArray& status, const QByteArray& key) {
    for (const QByteArray& line : status.split('\n'))
        if (line.startsWith(key + ':'))
            return line.mid(key.size() + 1).simplified().split(' ').value(0).toLongLong();
    return 0;
}

QByteArray readProc(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

Sample sample(qint64 pid) {
    Sample result;
    const QString base = QStringLiteral("/proc/%1/").arg(pid);
    const QByteArray stat = readProc(base + QStringLiteral("stat"));
    // The command name may hold spaces; the fields that matter come after its closing bracket.
    const int close = stat.lastIndexOf(')');
    if (close < 0)
        return result;
    const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
    // fields[0] is the state (field 3 of the file); utime and stime are fields 14 and 15.
    if (fields.size() < 13 || fields[0] == "Z" || fields[0] == "X")
        return result;
    result.alive = true;
    result.cpuTicks = fields[11].toLongLong() + fields[12].toLongLong();
    const QByteArray status = readProc(base + QStringLiteral("status"));
    result.rssMB = statusField(status, "VmRSS") / 1024.0;
    result.hwmMB = statusField(status, "VmHWM") / 1024.0;
    result.threads = int(statusField(status, "Threads"));
    for (const QString& task :
         QDir(base + QStringLiteral("task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QByteArray taskStatus =
            readProc(base + QStringLiteral("task/") + task + QStringLiteral("/status"));
        result.switches += statusField(taskStatus, "voluntary_ctxt_switches") +
                           statusField(taskStatus, "nonvoluntary_ctxt_switches");
    }
    return result;
}

// What the permission poll finds on this desktop, as the application will see it.
QString permissionSummary() {
    std::unique_ptr<PermissionsManager> permissions = DesktopBackend::createPermissionsManager();
    QStringList parts;
    for (Permission permission : Permissions::all())
        parts << Permissions::id(permission) + QLatin1Char('=') +
                     Permissions::statusID(permissions->status(permission));
    return parts.join(QLatin1Char(' '));
}

void stop(QProcess& process) {
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(5000)) {
        process.kill();
        process.waitForFinished(2000);
    }
}

void BM_IdleApplication(benchmark::State& state) {
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        state.SkipWithError("needs an X display: run under scripts/virtual-desktop");
        return;
    }
    const QString program = tavrikExecutable();
    if (!QFileInfo(program).isExecutable()) {
        state.SkipWithError(qPrintable(QStringLiteral("no program at ") + program));
        return;
    }
    const int settleSeconds = secondsFrom("TAVRIK_BENCH_SETTLE_S", 5);
    const int idleSeconds = secondsFrom("TAVRIK_BENCH_IDLE_S", 60);

    // A first real start: a library on disk, no settings yet, nothing reaching the network.
    QTemporaryDir home;
    const QString data = home.filePath(QStringLiteral("data"));
    const QString config = home.filePath(QStringLiteral("config"));
    QDir().mkpath(data);
    QDir().mkpath(config);
    qputenv("XDG_DATA_HOME", QFile::encodeName(data));
    saveLibrary(int(state.range(0)));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), data);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config);
    environment.insert(QStringLiteral("TAVRIK_WEB_HOST"), QStringLiteral("http://127.0.0.1:9"));
    environment.insert(QStringLiteral("TAVRIK_ANALYTICS_HOST"),
                       QStringLiteral("http://127.0.0.1:9"));
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    const QString permissions = permissionSummary();
    const double ticksPerSecond = double(sysconf(_SC_CLK_TCK));

    for (auto _ : state) {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.setStandardOutputFile(QProcess::nullDevice());
        process.start(program, {});
        if (!process.waitForStarted(5000)) {
            state.SkipWithError(qPrintable(QStringLiteral("cannot start ") + program +
                                           QStringLiteral(": ") + process.errorString()));
            return;
        }
        const qint64 pid = process.processId();
        QThread::sleep(settleSeconds);

        const Sample first = sample(pid);
        QElapsedTimer clock;
        clock.start();
        double peakRss = first.rssMB;
        Sample last = first;
        // Once a second, so that a crash shows and a brief rise in memory is seen.
        while (last.alive && clock.elapsed() < idleSeconds * 1000) {
            QThread::msleep(std::min<qint64>(1000, idleSeconds * 1000 - clock.elapsed()));
            last = sample(pid);
            peakRss = std::max(peakRss, last.rssMB);
        }
        const double seconds = clock.elapsed() / 1000.0;
        if (!first.alive || !last.alive) {
            process.waitForFinished(1000);
            state.SkipWithError(
                qPrintable(QStringLiteral("tavrik ended while idle (exit status %1)")
                               .arg(process.exitCode())));
            return;
        }
        stop(process);

        state.SetIterationTime(seconds);
        const double cpuPercent =
            100.0 * double(last.cpuTicks - first.cpuTicks) / ticksPerSecond / seconds;
        state.counters["cpu_pct_of_core"] = cpuPercent;
        state.counters["rss_MB"] = last.rssMB;
        state.counters["rss_peak_MB"] = peakRss;
        state.counters["hwm_MB"] = last.hwmMB;
        state.counters["wakeups_per_s"] = double(last.switches - first.switches) / seconds;
        state.counters["threads"] = last.threads;
        state.SetLabel(
            qPrintable(QStringLiteral("%1 skills, %2 s after %3 s to settle; CPU %4% of one core "
                                      "(target < %5%), RSS %6 MB "
                                      "(target < %7 MB) %8 %9; running: main window, pill with its "
                                      "pointer poll, hotkey engine, "
                                      "permission poll every 1.5 s finding %10")
                           .arg(state.range(0))
                           .arg(seconds, 0, 'f', 1)
                           .arg(settleSeconds)
                           .arg(cpuPercent, 0, 'f', 2)
                           .arg(kCpuTargetPercent)
                           .arg(last.rssMB, 0, 'f', 1)
                           .arg(kRssTargetMB)
                           .arg(cpuPercent < kCpuTargetPercent ? QStringLiteral("[cpu ok,")
                                                               : QStringLiteral("[cpu OVER,"))
                           .arg(last.rssMB < kRssTargetMB ? QStringLiteral("rss ok]")
                                                          : QStringLiteral("rss OVER]"))
                           .arg(permissions)));
    }
}
// One long run says more than repetitions of it, and a minute each would make `make bench` slow.
BENCHMARK(BM_IdleApplication)
    ->Arg(1000)
    ->Iterations(1)
    ->Repetitions(1)
    ->UseManualTime()
    ->Unit(benchmark::kSecond);

// One tick of the permission poll, which runs every 1.5 s for the life of the program: its share
// of the idle budget is this time divided by 1,500 ms.
void BM_PermissionPollTick(benchmark::State& state) {
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        state.SkipWithError("needs an X display: run under scripts/virtual-desktop");
        return;
    }
    std::unique_ptr<PermissionsManager> permissions = DesktopBackend::createPermissionsManager();
    for (auto _ : state)
        permissions->refresh();
}
BENCHMARK(BM_PermissionPollTick)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
