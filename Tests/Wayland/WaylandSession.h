#pragma once

#include "NativeForm.h"
#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikCore/Replay/ReplaySecrets.h"
#include "TavrikPlatform/AccessibilityBackend.h"
#include "TavrikPlatform/DesktopBackend.h"
#include "TavrikPlatform/Wayland/SwayIpc.h"

#include <QMap>
#include <QProcess>
#include <gtest/gtest.h>
#include <memory>

// The tests that run inside scripts/wayland-session (ctest registers them under weston and under
// sway); elsewhere they are skipped.
namespace tavrik::test {

inline bool underSway() {
    return !wayland::SwayIpc::socketFromEnvironment().isEmpty();
}

class WaylandSession : public testing::Test {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
            GTEST_SKIP() << "needs a Wayland session (scripts/wayland-session)";
    }

    std::optional<LiveWindow> windowOf(const QString& appID) {
        std::optional<LiveWindow> found;
        waitFor(
            [&] {
                for (const LiveWindow& w : actor->windows())
                    if (w.appID == appID)
                        found = w;
                return found.has_value();
            },
            15000);
        return found;
    }

    std::optional<LiveElement> element(const LiveWindow& window, const QString& role,
                                       const QString& name = {}) {
        for (const LiveElement& e : actor->elements(window, role, 200))
            if (name.isEmpty() || e.name == name)
                return e;
        return std::nullopt;
    }

    std::unique_ptr<DesktopActor> actor = DesktopBackend::createDesktopActor();
};

struct ReplayResult {
    int exitCode = -1;
    QString output;
};

inline ReplayResult replay(const QString& folder, const QStringList& values,
                           const QMap<qsizetype, QString>& secrets) {
    QProcess process;
    // A sanitized tavrik unwinds its allocations fully, so the leak a desktop call that timed out
    // leaves with libdbus is traced there (scripts/lsan-suppressions.txt). Only the replay: the
    // full unwinder would slow the tests' own key listener, which Qt waits for only briefly.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString asan = environment.value(QStringLiteral("ASAN_OPTIONS"));
    environment.insert(QStringLiteral("ASAN_OPTIONS"),
                       (asan.isEmpty() ? QString() : asan + u':') +
                           QStringLiteral("fast_unwind_on_malloc=0"));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(TAVRIK_EXECUTABLE_PATH),
                  QStringList{QStringLiteral("replay"), folder} + values +
                      QStringList{QStringLiteral("--secrets-on-stdin")});
    process.write(ReplaySecrets::encode(secrets));
    process.closeWriteChannel();
    ReplayResult result;
    if (!process.waitForFinished(120000))
        return result;
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.output =
        QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
    return result;
}

} // namespace tavrik::test
