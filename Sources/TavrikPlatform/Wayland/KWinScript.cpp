#include "TavrikPlatform/Wayland/KWinScript.h"

#include "TavrikPlatform/Wayland/KWinScriptService.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QFile>
#include <QThread>

namespace tavrik::wayland {

namespace {

const QString kwinService = QStringLiteral("org.kde.KWin");
const QString scriptingInterface = QStringLiteral("org.kde.kwin.Scripting");
constexpr int callTimeoutMs = 2000;

QDBusMessage kwinCall(const QString& path, const QString& interface, const QString& method,
                      const QList<QVariant>& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(kwinService, path, interface, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message, QDBus::Block, callTimeoutMs);
}

std::mutex sharedMutex;
std::weak_ptr<KWinScript> sharedScript;
bool sharedRefused = false; // KWin said no: asking again costs a wait

} // namespace

bool KWinScript::isOffered() {
    QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    return bus && bus->isServiceRegistered(kwinService).value();
}

std::shared_ptr<KWinScript> KWinScript::shared() {
    const std::lock_guard lock(sharedMutex);
    if (std::shared_ptr<KWinScript> script = sharedScript.lock())
        return script;
    if (sharedRefused || !isOffered())
        return nullptr;
    std::shared_ptr<KWinScript> script(new KWinScript);
    if (!script->load()) {
        qWarning("%s", qPrintable(script->errorString()));
        sharedRefused = true;
        return nullptr;
    }
    sharedScript = script;
    // A script left behind would keep asking a process that is gone.
    if (QCoreApplication* app = QCoreApplication::instance()) {
        QObject::connect(app, &QCoreApplication::aboutToQuit, app,
                         [weak = std::weak_ptr<KWinScript>(script)] {
                             if (const std::shared_ptr<KWinScript> s = weak.lock())
                                 s->unload();
                         });
    }
    return script;
}

KWinScript::~KWinScript() {
    unload();
}

bool KWinScript::load() {
    // A connection of its own, served on a thread of its own: the script's answers must arrive
    // while the caller blocks waiting for them.
    m_connectionName = QStringLiteral("tavrik-kwin-%1").arg(quintptr(this), 0, 16);
    QDBusConnection connection =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_connectionName);
    if (!connection.isConnected()) {
        m_error = QStringLiteral("cannot connect to the session bus");
        return false;
    }
    m_thread = new QThread;
    m_thread->setObjectName(QStringLiteral("KWin script"));
    m_service = new KWinScriptService(connection);
    m_service->moveToThread(m_thread);
    QObject::connect(m_thread, &QThread::finished, m_service, &QObject::deleteLater);
    m_thread->start();
    connection.registerObject(KWinScriptService::objectPath, m_service,
                              QDBusConnection::ExportScriptableSlots);

    QFile source(QStringLiteral(":/kwin/tavrik-windows.js"));
    if (!source.open(QIODevice::ReadOnly) || !m_file.open()) {
        m_error = QStringLiteral("cannot write the KWin script");
        return false;
    }
    m_file.write(source.readAll().replace("@SERVICE@", connection.baseService().toUtf8()));
    m_file.flush();

    m_pluginName = QStringLiteral("tavrik-%1").arg(QCoreApplication::applicationPid());
    // One left by an earlier instance of this process id would make KWin refuse the name.
    kwinCall(QStringLiteral("/Scripting"), scriptingInterface, QStringLiteral("unloadScript"),
             {m_pluginName});
    const QDBusMessage loaded =
        kwinCall(QStringLiteral("/Scripting"), scriptingInterface, QStringLiteral("loadScript"),
                 {m_file.fileName(), m_pluginName});
    const int id = loaded.arguments().value(0, -1).toInt();
    if (loaded.type() != QDBusMessage::ReplyMessage || id < 0) {
        m_error = QStringLiteral("KWin did not load Tavrik's script: %1")
                      .arg(loaded.errorMessage().isEmpty() ? QStringLiteral("refused")
                                                           : loaded.errorMessage());
        return false;
    }
    m_loaded = true;
    const QDBusMessage run =
        kwinCall(QStringLiteral("/%1").arg(id), QStringLiteral("org.kde.kwin.Script"),
                 QStringLiteral("run"), {});
    if (run.type() != QDBusMessage::ReplyMessage) {
        m_error = QStringLiteral("KWin did not run Tavrik's script: %1").arg(run.errorMessage());
        return false;
    }
    // A busy KWin may take a while to start the script; a report asked for meanwhile waits in
    // the queue for it.
    return true;
}

void KWinScript::unload() {
    if (m_loaded) {
        m_service->request(QStringLiteral("quit"));
        kwinCall(QStringLiteral("/Scripting"), scriptingInterface, QStringLiteral("unloadScript"),
                 {m_pluginName});
        m_loaded = false;
    }
    if (m_thread) {
        QDBusConnection(m_connectionName).unregisterObject(KWinScriptService::objectPath);
        m_thread->quit();
        m_thread->wait();
        delete m_thread;
        m_thread = nullptr;
        m_service = nullptr;
        QDBusConnection::disconnectFromBus(m_connectionName);
    }
}

std::optional<QByteArray> KWinScript::report(int timeoutMs) {
    if (!m_loaded)
        return std::nullopt;
    int serial = 0;
    {
        const std::lock_guard lock(m_mutex);
        serial = ++m_serial;
    }
    m_service->request(QStringLiteral("report %1").arg(serial));
    std::optional<QByteArray> report = m_service->waitForReport(serial, timeoutMs);
    if (!report)
        qWarning("KWin: Tavrik's script did not report within %d ms", timeoutMs);
    return report;
}

void KWinScript::activate(const QString& kwinID) {
    if (m_loaded)
        m_service->request(QStringLiteral("activate ") + kwinID);
}

qint64 KWinScript::numberFor(const QString& kwinID) {
    const std::lock_guard lock(m_mutex);
    auto it = m_numbers.constFind(kwinID);
    if (it == m_numbers.constEnd())
        it = m_numbers.insert(kwinID, m_numbers.size() + 1);
    return *it;
}

QString KWinScript::kwinIDFor(qint64 number) {
    const std::lock_guard lock(m_mutex);
    return m_numbers.key(number);
}

} // namespace tavrik::wayland
