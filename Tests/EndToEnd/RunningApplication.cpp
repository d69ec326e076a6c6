#include "RunningApplication.h"

#include "DesktopDriver.h"

#include <csignal>

namespace tavrik::test {

RunningApplication::RunningApplication(QProcessEnvironment environment) {
    // Qt exports its tree only when accessibility was on before it started.
    environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedChannels);
    m_process.start(QStringLiteral(TAVRIK_EXECUTABLE), QStringList{});
    m_process.waitForStarted(5000);
}

RunningApplication::~RunningApplication() {
    if (!isRunning())
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(3000)) {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
}

std::optional<AccessibleNode>
RunningApplication::waitFor(const std::function<bool(const AccessibleNode&)>& matches,
                            int timeoutMs) {
    std::optional<AccessibleNode> found;
    waitUntil(
        [&] {
            if (std::optional<AccessibleNode> app = applicationOf(pid()))
                found = findNode(*app, matches);
            return found.has_value() || !isRunning();
        },
        timeoutMs);
    return found;
}

std::optional<AccessibleNode> RunningApplication::waitFor(const QString& role, const QString& name,
                                                          int timeoutMs) {
    return waitFor(
        [&](const AccessibleNode& node) { return node.role() == role && node.name() == name; },
        timeoutMs);
}

std::optional<AccessibleNode> RunningApplication::pill() {
    const std::optional<AccessibleNode> app = applicationOf(pid());
    if (!app)
        return std::nullopt;
    // The only top-level window that describes itself: the description is the status.
    for (const AccessibleNode& window : app->children()) {
        if (!window.description().isEmpty())
            return window;
    }
    return std::nullopt;
}

std::optional<AccessibleNode> RunningApplication::window(const QString& title) {
    const std::optional<AccessibleNode> app = applicationOf(pid());
    if (!app)
        return std::nullopt;
    for (const AccessibleNode& window : app->children()) {
        if (window.name() == title && window.isShowing())
            return window;
    }
    return std::nullopt;
}

QString RunningApplication::pillStatus() {
    const std::optional<AccessibleNode> window = pill();
    return window ? window->description() : QString();
}

bool RunningApplication::waitForPillStatus(const QString& status, int timeoutMs) {
    return waitUntil([&] { return pillStatus() == status || !isRunning(); }, timeoutMs) &&
           pillStatus() == status;
}

} // namespace tavrik::test
