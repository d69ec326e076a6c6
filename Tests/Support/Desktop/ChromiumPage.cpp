#include "Support/Desktop/ChromiumPage.h"

#include "DesktopDriver.h"
#include "Support/LocalHttpServer.h"

#include <QFile>
#include <QFileInfo>

namespace tavrik::test {

namespace {

const char* const kChromium = "/usr/bin/chromium";

} // namespace

void ChromiumPage::serve(LocalHttpServer& server) {
    QFile page(QStringLiteral(TAVRIK_SOURCE_DIR "/Tests/ReplayDesktop/fruit_page.html"));
    page.open(QIODevice::ReadOnly);
    server.route("GET", QStringLiteral("/"),
                 CannedResponse::text(200, page.readAll(), "text/html; charset=utf-8"));
    server.route("POST", QStringLiteral("/event"), CannedResponse::text(204, {}));
}

bool ChromiumPage::isInstalled() {
    return QFileInfo(QString::fromLatin1(kChromium)).isExecutable();
}

ChromiumPage::ChromiumPage(LocalHttpServer& server, const QString& query,
                           const QStringList& arguments, const QString& profile, Frame frame)
    : m_server(server) {
    // Events of an earlier window are not this one's.
    m_server.clearRequests();
    const QString address =
        m_server.baseUrl() + QStringLiteral("/") + (query.isEmpty() ? QString() : u'?' + query);
    QStringList all{QStringLiteral("--force-renderer-accessibility"),
                    QStringLiteral("--no-sandbox"),
                    QStringLiteral("--disable-gpu"),
                    QStringLiteral("--no-first-run"),
                    QStringLiteral("--no-default-browser-check"),
                    QStringLiteral("--password-store=basic"),
                    QStringLiteral("--disable-background-networking"),
                    QStringLiteral("--disable-component-update"),
                    QStringLiteral("--disable-sync"),
                    QStringLiteral("--user-data-dir=") +
                        (profile.isEmpty() ? m_ownProfile.path() : profile),
                    QStringLiteral("--window-position=100,100"),
                    QStringLiteral("--window-size=520,640")};
    // Later switches win: the caller's window position and size replace the defaults.
    all += arguments;
    all += frame == Frame::app ? QStringLiteral("--app=") + address : address;
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_process.start(QString::fromLatin1(kChromium), all);
    m_started =
        m_process.waitForStarted(5000) && waitForEvent(QStringLiteral("shown"), 30000).has_value();
}

ChromiumPage::~ChromiumPage() {
    // Chromium closes its windows and helpers on SIGTERM; a profile in use would make the next
    // start hand its address to this one.
    m_process.terminate();
    if (!m_process.waitForFinished(10000)) {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
}

std::optional<QJsonObject> ChromiumPage::waitForEvent(const QString& name, int timeoutMs) {
    std::optional<QJsonObject> found;
    waitUntil(
        [&] {
            for (const RecordedRequest& request : m_server.requests()) {
                const QJsonObject event = request.json().object();
                if (request.path == "/event" &&
                    event.value(QStringLiteral("event")).toString() == name)
                    found = event;
            }
            return found.has_value();
        },
        timeoutMs);
    return found;
}

} // namespace tavrik::test
