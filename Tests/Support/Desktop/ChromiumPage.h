#pragma once

#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <optional>

namespace tavrik::test {

class LocalHttpServer;

// fruit_page.html served by a local server and shown by Debian's Chromium in an app window, with
// its accessibility tree switched on. The page posts what happens to the server; this reads it
// back as the JSON events TaskApp gives.
class ChromiumPage {
public:
    // Adds the page's routes to `server` (once per server).
    static void serve(LocalHttpServer& server);
    static bool isInstalled();

    enum class Frame { app, browser }; // an app window, or a browser window with its address bar

    // `query` goes on the page's address (font=PT, extra=NAME); `arguments` to Chromium (window
    // position and size). An empty `profile` means a fresh one for this window.
    ChromiumPage(LocalHttpServer& server, const QString& query = {},
                 const QStringList& arguments = {}, const QString& profile = {},
                 Frame frame = Frame::app);
    ~ChromiumPage();
    ChromiumPage(const ChromiumPage&) = delete;
    ChromiumPage& operator=(const ChromiumPage&) = delete;

    // Whether the page loaded and ran its script.
    bool started() const { return m_started; }
    std::optional<QJsonObject> waitForEvent(const QString& name, int timeoutMs);

private:
    LocalHttpServer& m_server;
    QTemporaryDir m_ownProfile;
    QProcess m_process;
    bool m_started = false;
};

} // namespace tavrik::test
